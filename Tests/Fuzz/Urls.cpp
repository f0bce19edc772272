#include "Common/Helpers/HostUtils.h"
#include "Common/Helpers/Url.h"
#include "Tests/Fuzz/Fuzz.h"

void Try(std::string_view input)
{
    const std::wstring url = Text::FromUtf8(input);
    const UrlParts parts = ParseUrl(url);
    Require(parts.scheme == L"http" || parts.scheme == L"https", "the scheme is one of two");
    Require(url.ends_with(parts.path) && (parts.path.empty() || parts.path.front() == L'/'), "the path is the end");
    Require(parts.port.find(L':') == std::wstring::npos, "a port has no colon");
    Require(url.find(parts.host) != std::wstring::npos, "the host stands in the URL");
    // Names would be asked of the network.
    if (!parts.host.empty() && parts.host.find_first_not_of(L"0123456789.:") == std::wstring::npos) {
        const Platform::NetworkSession network;
        HostUtils::GetAddrInfoListForHost(parts.host, false);
    }
}
