// The layer speaks Windows paths: it hands out backslashes and takes both slashes. Internal to the layer.
#pragma once

#include "Platform/Text.h"

#include <algorithm>

inline std::string ToNativePath(std::wstring_view path)
{
    std::string native = Text::ToUtf8(path);
    std::replace(native.begin(), native.end(), '\\', '/');
    return native;
}

inline std::wstring FromNativePath(std::string_view native)
{
    std::wstring path = Text::FromUtf8(native);
    std::replace(path.begin(), path.end(), L'/', L'\\');
    return path;
}
