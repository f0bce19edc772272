// Text of the log in a page.
#pragma once

#include <string>
#include <string_view>

namespace LogTool
{

// `text` as it may stand in elements and in attributes between double quotes.
inline std::string Escaped(std::string_view text)
{
    std::string escaped;
    for (const char c : text) {
        if (c == '&')
            escaped += "&amp;";
        else if (c == '<')
            escaped += "&lt;";
        else if (c == '>')
            escaped += "&gt;";
        else if (c == '"')
            escaped += "&quot;";
        else
            escaped += c;
    }
    return escaped;
}

} // namespace LogTool
