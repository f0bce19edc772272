#include "Common/Foundation/ModuleFile.h"

namespace ModuleFile
{

HMODULE Handle()
{
    static const char anchor = 0;
    HMODULE module = nullptr;
    GetModuleHandleExW(GET_MODULE_HANDLE_EX_FLAG_FROM_ADDRESS | GET_MODULE_HANDLE_EX_FLAG_UNCHANGED_REFCOUNT,
                       reinterpret_cast<LPCWSTR>(&anchor), &module);
    return module;
}

std::wstring Path(HMODULE module)
{
    std::wstring path(MAX_PATH, L'\0');
    for (;;) {
        const DWORD length = GetModuleFileNameW(module, path.data(), static_cast<DWORD>(path.size()));
        if (length < path.size()) {
            path.resize(length);
            return path;
        }
        path.resize(2 * path.size());
    }
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
