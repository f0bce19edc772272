// The system's headers come first: the layer's gives the two families other numbers.
#include <ifaddrs.h>
#include <net/if.h>
#include <netdb.h>
#include <netinet/in.h>
#include <sys/socket.h>

namespace
{

constexpr int systemInet = AF_INET;
constexpr int systemInet6 = AF_INET6;

} // namespace

#include "Platform/Posix/Failure.h"
#include "Platform/Posix/TextFile.h"
#include "Platform/Posix/Win32Sockets.h"
#include "Platform/Text.h"

#include <algorithm>
#include <atomic>
#include <climits>
#include <memory>
#include <unistd.h>
#include <utility>

namespace
{

std::atomic<int> startups{0};

// A list's entry with the address that it points to.
struct Entry : ADDRINFOW
{
    union
    {
        SOCKADDR generic;
        SOCKADDR_IN inet;
        SOCKADDR_IN6 inet6;
    } address;
};

class AddressList
{
public:
    AddressList() = default;
    AddressList(const AddressList&) = delete;
    AddressList& operator=(const AddressList&) = delete;
    ~AddressList() { FreeAddrInfoW(m_first); }

    // Appends the address; other families than the two are passed over.
    void Add(const sockaddr* address)
    {
        if (!address || (address->sa_family != systemInet && address->sa_family != systemInet6))
            return;
        auto entry = std::make_unique<Entry>();
        if (address->sa_family == systemInet) {
            const auto& from = *reinterpret_cast<const sockaddr_in*>(address);
            entry->address.inet = {AF_INET, from.sin_port, {}, {}};
            std::copy_n(reinterpret_cast<const BYTE*>(&from.sin_addr), 4, entry->address.inet.sin_addr.bytes);
            entry->ai_addrlen = sizeof(SOCKADDR_IN);
        } else {
            const auto& from = *reinterpret_cast<const sockaddr_in6*>(address);
            entry->address.inet6 = {AF_INET6, from.sin6_port, from.sin6_flowinfo, {}, from.sin6_scope_id};
            std::copy_n(reinterpret_cast<const BYTE*>(&from.sin6_addr), 16, entry->address.inet6.sin6_addr.bytes);
            entry->ai_addrlen = sizeof(SOCKADDR_IN6);
        }
        entry->ai_family = entry->address.generic.sa_family;
        entry->ai_addr = &entry->address.generic;
        *m_end = entry.release();
        m_end = &(*m_end)->ai_next;
    }

    bool IsEmpty() const { return !m_first; }

    ADDRINFOW* Release() { return std::exchange(m_first, nullptr); }

private:
    ADDRINFOW* m_first = nullptr;
    ADDRINFOW** m_end = &m_first;
};

int ErrorFromResolver(int error)
{
    switch (error) {
    case 0:
        return NO_ERROR;
    case EAI_NONAME:
    case EAI_NODATA:
    case EAI_ADDRFAMILY:
        return WSAHOST_NOT_FOUND;
    case EAI_AGAIN:
        return WSATRY_AGAIN;
    case EAI_MEMORY:
        return ERROR_NOT_ENOUGH_MEMORY;
    default:
        return WSANO_RECOVERY;
    }
}

int Resolve(const std::string& name, AddressList& list)
{
    // One entry for each address: without a type of socket the system answers with one for each type.
    addrinfo hints{};
    hints.ai_socktype = SOCK_STREAM;
    addrinfo* answer = nullptr;
    const int error = getaddrinfo(name.c_str(), nullptr, &hints, &answer);
    const std::unique_ptr<addrinfo, decltype(&freeaddrinfo)> owner(error == 0 ? answer : nullptr, &freeaddrinfo);
    for (const addrinfo* entry = owner.get(); entry; entry = entry->ai_next)
        list.Add(entry->ai_addr);
    return ErrorFromResolver(error);
}

void AddInterfaces(const ifaddrs* interfaces, bool loopback, AddressList& list)
{
    for (const ifaddrs* entry = interfaces; entry; entry = entry->ifa_next) {
        if ((entry->ifa_flags & IFF_UP) && ((entry->ifa_flags & IFF_LOOPBACK) != 0) == loopback)
            list.Add(entry->ifa_addr);
    }
}

// The addresses of the interfaces, whatever the name resolution has for the computer's name; the loopback's where
// there is no other.
int ResolveOwn(AddressList& list)
{
    ifaddrs* interfaces = nullptr;
    if (getifaddrs(&interfaces) != 0)
        return WSANO_RECOVERY;
    const std::unique_ptr<ifaddrs, decltype(&freeifaddrs)> owner(interfaces, &freeifaddrs);
    AddInterfaces(interfaces, false, list);
    if (list.IsEmpty())
        AddInterfaces(interfaces, true, list);
    return list.IsEmpty() ? WSAHOST_NOT_FOUND : static_cast<int>(NO_ERROR);
}

// The empty name, the host name and its first label.
bool IsOwnName(std::wstring_view name)
{
    char buffer[HOST_NAME_MAX + 1] = "";
    gethostname(buffer, sizeof(buffer) - 1);
    const std::wstring host = Text::FromUtf8(buffer);
    return name.empty() || EqualIgnoringCase(name, host) || EqualIgnoringCase(name, host.substr(0, host.find(L'.')));
}

// Socket errors are last errors.
int FailSocket(int error)
{
    return Fail(static_cast<DWORD>(error), error);
}

} // namespace

int WSAStartup(WORD version, WSADATA* data)
{
    constexpr WORD supported = MAKEWORD(2, 2);
    if (version != supported)
        return WSAVERNOTSUPPORTED;
    if (!data)
        return ERROR_INVALID_PARAMETER;
    data->wVersion = supported;
    data->wHighVersion = supported;
    ++startups;
    return NO_ERROR;
}

int WSACleanup()
{
    int count = startups;
    while (count > 0 && !startups.compare_exchange_weak(count, count - 1)) {
    }
    return count > 0 ? static_cast<int>(NO_ERROR) : Fail(WSANOTINITIALISED, -1);
}

int WSAGetLastError()
{
    return static_cast<int>(GetLastError());
}

int GetAddrInfoW(LPCWSTR node, LPCWSTR service, const ADDRINFOW* hints, ADDRINFOW** result)
try {
    if (!result)
        return FailSocket(WSANO_RECOVERY);
    *result = nullptr;
    if (startups == 0)
        return FailSocket(WSANOTINITIALISED);
    if (service || hints)
        return FailSocket(WSANO_RECOVERY);
    if (!node)
        return FailSocket(WSAHOST_NOT_FOUND);
    AddressList list;
    const int error = IsOwnName(node) ? ResolveOwn(list) : Resolve(Text::ToUtf8(node), list);
    if (error == NO_ERROR)
        *result = list.Release();
    return FailSocket(error);
} catch (...) {
    return FailSocket(static_cast<int>(ExceptionCode()));
}

void FreeAddrInfoW(ADDRINFOW* list)
{
    while (list) {
        const std::unique_ptr<Entry> owner(static_cast<Entry*>(list));
        list = list->ai_next;
    }
}
