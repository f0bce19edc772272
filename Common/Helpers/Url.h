// Parts of a URL.
#pragma once

#include <string>

struct UrlParts
{
    std::wstring scheme; // "http" or "https"; "http" when the URL names neither
    std::wstring host;   // without the brackets of an IPv6 literal; empty for "."
    std::wstring port;   // empty when there is none
    std::wstring path;   // from the first "/" behind the authority on
};

UrlParts ParseUrl(const std::wstring& url);
