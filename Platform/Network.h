// This computer's name, and the addresses of hosts.
#pragma once

#include "Platform/Types.h"

#include <array>
#include <cstdint>
#include <string>
#include <vector>

namespace Platform
{

struct NetworkAddress
{
    enum Family
    {
        V4,
        V6
    };

    Family family;
    std::array<std::uint8_t, 16> bytes; // in network order; of a V4 address the first 4, the others are 0
    std::uint16_t port;                 // 0 in what a host's name was resolved to
};

// Keeps the system's name resolution ready; sessions may nest. Any thread.
class NetworkSession
{
public:
    NetworkSession();
    ~NetworkSession();
    NetworkSession(const NetworkSession&) = delete;
    NetworkSession& operator=(const NetworkSession&) = delete;

    // S_OK, or why name resolution is not available.
    HRESULT Result() const { return m_result; }

private:
    const HRESULT m_result;
};

// Stores the IPv4 and IPv6 addresses of a host in the system's order; the empty name gives the computer's own. Works
// inside a NetworkSession only. May block for a long time. Any thread.
HRESULT ResolveHost(const std::wstring& host, std::vector<NetworkAddress>& addresses);

// Stores this computer's NetBIOS name. Any thread.
HRESULT GetLocalComputerName(std::wstring& name);

} // namespace Platform
