// Requests that clients send to the module.
#pragma once

#include "Host/Program/SiteHost.h"

namespace Host
{

struct SiteRequest
{
    std::wstring shown;                // who sends it, and by way of whom
    std::wstring sid;                  // of the client; empty: a request without token
    std::vector<std::wstring> through; // SIDs of forwarding services, the client's own one first
    bool waitForSync = false;
};

// Sends them all at once, each on a thread of its own that serves it, to the service that is registered as `service`;
// returns, in their order, what came of each. Throws Failure when there is no such service.
std::vector<Finding> SendRequests(SiteHost& host, const std::wstring& service,
                                  const std::vector<SiteRequest>& requests);

} // namespace Host
