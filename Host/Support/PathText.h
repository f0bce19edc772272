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

} // namespace Host
