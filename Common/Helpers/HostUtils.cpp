#include "Common/Helpers/HostUtils.h"

#include "Common/ErrorHandling/HResult.h"
#include "Common/Helpers/LocalComputer.h"

#include <algorithm>
#include <array>
#include <cstring>

namespace HostUtils
{

namespace
{

// The platform counts: sessions may nest.
class SocketLibrarySession
{
public:
    SocketLibrarySession()
    {
        WSADATA data{};
        if (const int error = WSAStartup(MAKEWORD(2, 2), &data))
            ThrowHResult(HResultFromWin32(static_cast<DWORD>(error)));
    }
    ~SocketLibrarySession() { WSACleanup(); }
    SocketLibrarySession(const SocketLibrarySession&) = delete;
    SocketLibrarySession& operator=(const SocketLibrarySession&) = delete;
};

using AddressV4 = std::array<BYTE, 4>;
using AddressV6 = std::array<BYTE, 16>;

constexpr AddressV6 LoopbackV6{0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 1};

AddressV4 BytesV4(const SOCKADDR& address)
{
    AddressV4 bytes;
    std::memcpy(bytes.data(), &reinterpret_cast<const SOCKADDR_IN&>(address).sin_addr, bytes.size());
    return bytes;
}

AddressV6 BytesV6(const SOCKADDR& address)
{
    AddressV6 bytes;
    std::memcpy(bytes.data(), &reinterpret_cast<const SOCKADDR_IN6&>(address).sin6_addr, bytes.size());
    return bytes;
}

USHORT Port(const SOCKADDR& address)
{
    return address.sa_family == AF_INET6 ? reinterpret_cast<const SOCKADDR_IN6&>(address).sin6_port
                                         : reinterpret_cast<const SOCKADDR_IN&>(address).sin_port;
}

} // namespace

AddressList GetAddrInfoListForHost(const std::wstring& host, bool throwOnError)
{
    const SocketLibrarySession session;
    ADDRINFOW* list = nullptr;
    if (GetAddrInfoW(host.c_str(), nullptr, nullptr, &list) != 0) {
        if (throwOnError)
            ThrowHResult(HResultFromWin32(static_cast<DWORD>(WSAGetLastError())));
        return nullptr;
    }
    return AddressList(list, &FreeAddrInfoW);
}

bool IsLocalHost(const std::wstring& host)
{
    const SocketLibrarySession session;
    AddressList localCache;
    const AddressList list = GetAddrInfoListForHost(host, false);
    for (const ADDRINFOW* entry = list.get(); entry; entry = entry->ai_next) {
        if (entry->ai_addr && IsLocalAddress(*entry->ai_addr, localCache))
            return true;
    }
    return false;
}

bool IsLocalAddress(const SOCKADDR& address, AddressList& localCache)
{
    if (address.sa_family != AF_INET && address.sa_family != AF_INET6)
        return false;
    if (IsLoopbackAddress(address) || IsUnspecifiedAddress(address))
        return true;
    if (!localCache)
        localCache = GetAddrInfoListForHost(GetLocalComputerName(), false);
    for (const ADDRINFOW* entry = localCache.get(); entry; entry = entry->ai_next) {
        if (entry->ai_addr && IsSameAddress(address, *entry->ai_addr, true))
            return true;
    }
    return false;
}

bool IsSameAddress(const SOCKADDR& a, const SOCKADDR& b, bool ignorePort)
{
    if (a.sa_family != b.sa_family)
        return false;
    if (a.sa_family != AF_INET && a.sa_family != AF_INET6)
        return false;
    if (!ignorePort && Port(a) != Port(b))
        return false;
    return a.sa_family == AF_INET ? BytesV4(a) == BytesV4(b) : BytesV6(a) == BytesV6(b);
}

bool IsLoopbackAddress(const SOCKADDR& address)
{
    return address.sa_family == AF_INET ? BytesV4(address)[0] == 127
                                        : address.sa_family == AF_INET6 && BytesV6(address) == LoopbackV6;
}

bool IsUnspecifiedAddress(const SOCKADDR& address)
{
    return address.sa_family == AF_INET ? BytesV4(address) == AddressV4{}
                                        : address.sa_family == AF_INET6 && BytesV6(address) == AddressV6{};
}

} // namespace HostUtils
