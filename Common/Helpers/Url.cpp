#include "Common/Helpers/Url.h"

#include "Common/Foundation/Strings.h"

#include <algorithm>

namespace
{

// Position of the ":" in front of the port; npos when there is no port. An IPv6 literal without brackets has none,
// unless it is written out in full with the port behind it.
std::size_t FindPortSeparator(std::wstring_view authority)
{
    const std::size_t last = authority.rfind(L':');
    if (last == std::wstring_view::npos)
        return last;
    const auto colons = std::count(authority.begin(), authority.end(), L':');
    const bool afterBracket = last > 0 && authority[last - 1] == L']';
    return colons == 1 || colons >= 8 || afterBracket ? last : std::wstring_view::npos;
}

std::wstring_view NormalizeHost(std::wstring_view host)
{
    if (host.size() >= 2 && host.front() == L'[' && host.back() == L']')
        host = host.substr(1, host.size() - 2);
    return host == L"." ? std::wstring_view() : host;
}

} // namespace

UrlParts ParseUrl(const std::wstring& url)
{
    UrlParts parts{L"http", {}, {}, {}};
    std::wstring_view rest = url;
    const std::wstring lower = Strings::ToLower(url);
    for (const std::wstring scheme : {L"https", L"http"}) {
        if (lower.starts_with(scheme + L"://")) {
            parts.scheme = scheme;
            rest.remove_prefix(scheme.size() + 3);
            break;
        }
    }
    const std::wstring_view authority = rest.substr(0, rest.find(L'/'));
    parts.path = rest.substr(authority.size());
    const std::size_t separator = FindPortSeparator(authority);
    if (separator != std::wstring_view::npos)
        parts.port = authority.substr(separator + 1);
    parts.host = NormalizeHost(authority.substr(0, separator));
    return parts;
}
