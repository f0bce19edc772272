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
    NetworkAddress appended{};
    if (address && address->sa_family == AF_INET) {
        appended.family = NetworkAddress::V4;
        std::memcpy(appended.bytes.data(), &reinterpret_cast<const SOCKADDR_IN*>(address)->sin_addr, 4);
    } else if (address && address->sa_family == AF_INET6) {
        appended.family = NetworkAddress::V6;
        std::memcpy(appended.bytes.data(), &reinterpret_cast<const SOCKADDR_IN6*>(address)->sin6_addr, 16);
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
    DWORD size = 16; // 15 characters are the limit of a NetBIOS name
    name.resize(size);
    BOOL done = GetComputerNameExW(ComputerNameNetBIOS, name.data(), &size);
    if (!done && GetLastError() == ERROR_MORE_DATA) {
        name.resize(++size);
        done = GetComputerNameExW(ComputerNameNetBIOS, name.data(), &size);
    }
    const HRESULT hr = ResultOf(done);
    name.resize(size);
    return hr;
}

} // namespace Platform
