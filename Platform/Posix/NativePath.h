// Windows paths and the system's own. Internal to the platform.
#pragma once

#include "Platform/Text.h"

#include <algorithm>
#include <filesystem>

// Takes both slashes.
inline std::filesystem::path ToNativePath(std::wstring_view path)
{
    std::string native = Text::ToUtf8(path);
    std::replace(native.begin(), native.end(), '\\', '/');
    return std::u8string(native.begin(), native.end());
}

inline std::wstring FromNativePath(std::string_view native)
{
    std::wstring path = Text::FromUtf8(native);
    std::replace(path.begin(), path.end(), L'/', L'\\');
    return path;
}
