// Paths in messages.
#pragma once

#include "Platform/Text.h"

#include <filesystem>
#include <string>

namespace Host
{

// Bytes of a file name that are no UTF-8 become U+FFFD.
inline std::wstring PathText(const std::filesystem::path& path)
{
    const std::u8string name = path.u8string();
    return Text::FromUtf8({reinterpret_cast<const char*>(name.data()), name.size()});
}

inline std::string Utf8PathText(const std::filesystem::path& path)
{
    return Text::ToUtf8(PathText(path));
}

// The other way round.
inline std::filesystem::path PathOf(std::string_view utf8)
{
    return std::filesystem::path(std::u8string(utf8.begin(), utf8.end()));
}
inline std::filesystem::path PathOf(std::wstring_view text)
{
    return PathOf(Text::ToUtf8(text));
}

} // namespace Host
