#include "Common/Foundation/ModuleFile.h"

#include "Platform/Modules.h"

namespace ModuleFile
{

const void* Base()
{
    static const char anchor = 0;
    return Platform::FindModule(&anchor);
}

bool IsMainProgram()
{
    return Base() == Platform::MainModule();
}

std::wstring Path()
{
    return Platform::ModulePath(Base());
}

std::wstring ProcessPath()
{
    return Platform::ModulePath(Platform::MainModule());
}

std::wstring_view DirectoryOf(std::wstring_view path)
{
    return path.substr(0, path.find_last_of(L"\\/") + 1);
}

std::wstring_view StemOf(std::wstring_view path)
{
    path.remove_prefix(DirectoryOf(path).size());
    return path.substr(0, path.rfind(L'.'));
}

} // namespace ModuleFile
