// Host names and addresses: which of them are this computer's.
#pragma once

#include "Platform/Network.h"

#include <memory>
#include <string>
#include <vector>

namespace HostUtils
{

using AddressList = std::shared_ptr<const std::vector<Platform::NetworkAddress>>; // empty for an empty list

// Resolves a host name; the empty name gives the computer's own addresses. May block for a long time. A failure is
// thrown as HRX, or gives the empty list when `throwOnError` is false. Throws HRX when the socket library does not
// start.
AddressList GetAddrInfoListForHost(const std::wstring& host, bool throwOnError);

// Whether any address of the host is this computer's. False when the name cannot be resolved. Throws HRX when the
// socket library does not start or the computer's name cannot be read. May block for a long time.
bool IsLocalHost(const std::wstring& host);

// Loopback, unspecified, or among the addresses of this computer's name. `localCache` holds the latter, filled on first
// need.
bool IsLocalAddress(const Platform::NetworkAddress& address, AddressList& localCache);

bool IsSameAddress(const Platform::NetworkAddress& a, const Platform::NetworkAddress& b, bool ignorePort);
bool IsLoopbackAddress(const Platform::NetworkAddress& address);    // 127.0.0.0/8, ::1
bool IsUnspecifiedAddress(const Platform::NetworkAddress& address); // 0.0.0.0, ::

} // namespace HostUtils

// This computer's NetBIOS name. Throws HRX when the system does not tell it.
std::wstring GetLocalComputerName();
