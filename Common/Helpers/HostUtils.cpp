#include "Common/Helpers/HostUtils.h"

#include "Common/ErrorHandling/HResult.h"

#include <algorithm>

using Platform::NetworkAddress;

namespace HostUtils
{

AddressList GetAddrInfoListForHost(const std::wstring& host, bool throwOnError)
{
    const Platform::NetworkSession session;
    CheckHResult(session.Result());
    std::vector<NetworkAddress> addresses;
    const HRESULT hr = Platform::ResolveHost(host, addresses);
    if (throwOnError)
        CheckHResult(hr);
    return hr < 0 ? nullptr : std::make_shared<const std::vector<NetworkAddress>>(std::move(addresses));
}

bool IsLocalHost(const std::wstring& host)
{
    const Platform::NetworkSession session;
    CheckHResult(session.Result());
    AddressList localCache;
    const AddressList list = GetAddrInfoListForHost(host, false);
    return list && std::any_of(list->begin(), list->end(),
                               [&](const NetworkAddress& address) { return IsLocalAddress(address, localCache); });
}

bool IsLocalAddress(const NetworkAddress& address, AddressList& localCache)
{
    if (IsLoopbackAddress(address) || IsUnspecifiedAddress(address))
        return true;
    if (!localCache)
        localCache = GetAddrInfoListForHost(GetLocalComputerName(), false);
    return localCache && std::any_of(localCache->begin(), localCache->end(),
                                     [&](const NetworkAddress& own) { return IsSameAddress(address, own, true); });
}

bool IsSameAddress(const NetworkAddress& a, const NetworkAddress& b, bool ignorePort)
{
    return a.family == b.family && a.bytes == b.bytes && (ignorePort || a.port == b.port);
}

bool IsLoopbackAddress(const NetworkAddress& address)
{
    constexpr std::array<std::uint8_t, 16> loopbackV6{0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 1};
    return address.family == NetworkAddress::V4 ? address.bytes[0] == 127 : address.bytes == loopbackV6;
}

bool IsUnspecifiedAddress(const NetworkAddress& address)
{
    return address.bytes == decltype(address.bytes){};
}

} // namespace HostUtils

std::wstring GetLocalComputerName()
{
    std::wstring name;
    CheckHResult(Platform::GetLocalComputerName(name));
    return name;
}
