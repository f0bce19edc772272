// Files of this module and of the process.
#pragma once

#include <string>
#include <string_view>

namespace ModuleFile
{

// This module's load address, found from an address inside it.
const void* Base();

// Whether this module is the process's main program, as it is in tests.
bool IsMainProgram();

// The full path of this module, and of the process's main program. Empty when the platform does not know it.
std::wstring Path();
std::wstring ProcessPath();

// Up to and including the last backslash or slash; empty when there is none.
std::wstring_view DirectoryOf(std::wstring_view path);

// The file name without directory and extension.
std::wstring_view StemOf(std::wstring_view path);

} // namespace ModuleFile
