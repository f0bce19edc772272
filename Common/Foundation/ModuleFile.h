// Files of this module and of the process.
#pragma once

#include "Platform/Win32.h"

#include <string>
#include <string_view>

namespace ModuleFile
{

// This module, found from an address inside it. Its value is the load address.
HMODULE Handle();

// Full path of the module, or of the process's main program for null. Empty when the platform does not know it.
std::wstring Path(HMODULE module);

// Up to and including the last backslash or slash; empty when there is none.
std::wstring_view DirectoryOf(std::wstring_view path);

// The file name without directory and extension.
std::wstring_view StemOf(std::wstring_view path);

} // namespace ModuleFile
