// Host names and addresses: which of them are this computer's.
#pragma once

#include "Platform/Win32.h"

#include <memory>
#include <string>

namespace HostUtils
{

using AddressList = std::shared_ptr<ADDRINFOW>; // empty for an empty list

// Resolves a host name; the empty name gives the computer's own addresses. May block for a long time. A failure is
// thrown as HRX, or gives the empty list when `throwOnError` is false. Throws HRX when the socket library does not
// start.
AddressList GetAddrInfoListForHost(const std::wstring& host, bool throwOnError);

// Whether any address of the host is this computer's. False when the name cannot be resolved. Throws HRX when the
// socket library does not start or the computer's name cannot be read. May block for a long time.
bool IsLocalHost(const std::wstring& host);

// An address of family AF_INET or AF_INET6: loopback, unspecified, or among the addresses of this computer's name.
// `localCache` holds the latter, filled on first need.
bool IsLocalAddress(const SOCKADDR& address, AddressList& localCache);

// Flow information and scope are not compared.
bool IsSameAddress(const SOCKADDR& a, const SOCKADDR& b, bool ignorePort);
bool IsLoopbackAddress(const SOCKADDR& address);    // 127.0.0.0/8, ::1
bool IsUnspecifiedAddress(const SOCKADDR& address); // 0.0.0.0, ::

} // namespace HostUtils
