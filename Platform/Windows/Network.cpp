#include "Platform/Network.h"

#include "Platform/Windows/LastError.h"

#include <cstring>
#include <memory>
#include <winsock2.h>
#include <ws2tcpip.h>

namespace Platform
{

namespace
{

HRESULT StartSockets()
{
    WSADATA data{};
    return HResultFromWin32(static_cast<DWORD>(WSAStartup(MAKEWORD(2, 2), &data)));
}

void Append(const SOCKADDR* address, std::vector<NetworkAddress>& addresses)
{
    if (!address)
        return;
    NetworkAddress appended{};
    if (address->sa_family == AF_INET) {
        const auto& v4 = *reinterpret_cast<const SOCKADDR_IN*>(address);
        appended.family = NetworkAddress::V4;
        appended.port = ntohs(v4.sin_port);
        std::memcpy(appended.bytes.data(), &v4.sin_addr, sizeof(v4.sin_addr));
    } else if (address->sa_family == AF_INET6) {
        const auto& v6 = *reinterpret_cast<const SOCKADDR_IN6*>(address);
        appended.family = NetworkAddress::V6;
        appended.port = ntohs(v6.sin6_port);
        std::memcpy(appended.bytes.data(), &v6.sin6_addr, sizeof(v6.sin6_addr));
    } else {
        return;
    }
    addresses.push_back(appended);
}

} // namespace

NetworkSession::NetworkSession() : m_result(StartSockets()) {}

NetworkSession::~NetworkSession()
{
    if (m_result >= 0)
        WSACleanup();
}

HRESULT ResolveHost(const std::wstring& host, std::vector<NetworkAddress>& addresses)
{
    addresses.clear();
    ADDRINFOW* list = nullptr;
    if (GetAddrInfoW(host.c_str(), nullptr, nullptr, &list) != 0)
        return HResultFromWin32(static_cast<DWORD>(WSAGetLastError()));
    const std::unique_ptr<ADDRINFOW, decltype(&FreeAddrInfoW)> owner(list, &FreeAddrInfoW);
    for (const ADDRINFOW* entry = list; entry; entry = entry->ai_next)
        Append(entry->ai_addr, addresses);
    return S_OK;
}

HRESULT GetLocalComputerName(std::wstring& name)
{
    constexpr DWORD usualSize = 16; // 15 characters are the limit of a NetBIOS name
    DWORD size = usualSize;
    name.resize(size);
    if (!GetComputerNameExW(ComputerNameNetBIOS, name.data(), &size)) {
        if (GetLastError() != ERROR_MORE_DATA)
            return LastErrorResult();
        name.resize(++size);
        if (!GetComputerNameExW(ComputerNameNetBIOS, name.data(), &size))
            return LastErrorResult();
    }
    name.resize(size);
    return S_OK;
}

} // namespace Platform
