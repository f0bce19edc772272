#include "Platform/Network.h"

#include "Platform/Posix/TextFile.h"
#include "Platform/Text.h"

#include <algorithm>
#include <arpa/inet.h>
#include <climits>
#include <cstring>
#include <ifaddrs.h>
#include <memory>
#include <net/if.h>
#include <netdb.h>
#include <netinet/in.h>
#include <unistd.h>

namespace Platform
{

namespace
{

void Append(const sockaddr* address, std::vector<NetworkAddress>& addresses)
{
    NetworkAddress appended{};
    if (address && address->sa_family == AF_INET) {
        appended.family = NetworkAddress::V4;
        std::memcpy(appended.bytes.data(), &reinterpret_cast<const sockaddr_in*>(address)->sin_addr, 4);
    } else if (address && address->sa_family == AF_INET6) {
        appended.family = NetworkAddress::V6;
        std::memcpy(appended.bytes.data(), &reinterpret_cast<const sockaddr_in6*>(address)->sin6_addr, 16);
    } else {
        return;
    }
    addresses.push_back(appended);
}

HRESULT Resolve(const std::string& name, std::vector<NetworkAddress>& addresses)
{
    // One entry for each address: without a type of socket the system answers with one for each type.
    addrinfo hints{};
    hints.ai_socktype = SOCK_STREAM;
    addrinfo* answer = nullptr;
    switch (getaddrinfo(name.c_str(), nullptr, &hints, &answer)) {
    case 0:
        break;
    case EAI_NONAME:
    case EAI_NODATA:
    case EAI_ADDRFAMILY:
        return HResultFromWin32(WSAHOST_NOT_FOUND);
    case EAI_AGAIN:
        return HResultFromWin32(WSATRY_AGAIN);
    default:
        return HResultFromWin32(WSANO_RECOVERY);
    }
    const std::unique_ptr<addrinfo, decltype(&freeaddrinfo)> owner(answer, &freeaddrinfo);
    for (const addrinfo* entry = answer; entry; entry = entry->ai_next)
        Append(entry->ai_addr, addresses);
    return S_OK;
}

// The addresses of the interfaces, whatever the name resolution has for the computer's name.
HRESULT ResolveOwn(std::vector<NetworkAddress>& addresses)
{
    ifaddrs* interfaces = nullptr;
    if (getifaddrs(&interfaces) != 0)
        return HResultFromWin32(WSANO_RECOVERY);
    const std::unique_ptr<ifaddrs, decltype(&freeifaddrs)> owner(interfaces, &freeifaddrs);
    for (const ifaddrs* entry = interfaces; entry; entry = entry->ifa_next) {
        if (entry->ifa_flags & IFF_UP)
            Append(entry->ifa_addr, addresses);
    }
    return S_OK;
}

std::wstring HostName()
{
    char host[HOST_NAME_MAX + 1] = "";
    gethostname(host, sizeof(host) - 1);
    return Text::FromUtf8(host);
}

std::wstring FirstLabel(const std::wstring& host)
{
    return host.substr(0, host.find(L'.'));
}

} // namespace

NetworkSession::NetworkSession() : m_result(S_OK) {}

NetworkSession::~NetworkSession() = default;

HRESULT ResolveHost(const std::wstring& host, std::vector<NetworkAddress>& addresses)
{
    addresses.clear();
    const std::wstring own = HostName();
    const bool isOwn = host.empty() || EqualIgnoringCase(host, own) || EqualIgnoringCase(host, FirstLabel(own));
    return isOwn ? ResolveOwn(addresses) : Resolve(Text::ToUtf8(host), addresses);
}

// The host name's first label in upper case, cut to what a NetBIOS name can hold.
HRESULT GetLocalComputerName(std::wstring& name)
{
    constexpr std::size_t longest = 15;
    name = FirstLabel(HostName()).substr(0, longest);
    std::transform(name.begin(), name.end(), name.begin(),
                   [](wchar_t c) { return c >= L'a' && c <= L'z' ? static_cast<wchar_t>(c - L'a' + L'A') : c; });
    return S_OK;
}

} // namespace Platform
