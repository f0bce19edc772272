#include "Platform/Modules.h"

#include "Platform/Posix/NativePath.h"
#include "Platform/Process.h"

#include <dlfcn.h>
#include <link.h>
#include <sys/auxv.h>

namespace Platform
{

const void* FindModule(const void* address)
{
    Dl_info info; // the base alone: another thread may unload the module, and with it its name
    return dladdr(address, &info) != 0 ? info.dli_fbase : nullptr;
}

const void* MainModule()
{
    return FindModule(reinterpret_cast<const void*>(getauxval(AT_PHDR)));
}

// The folder's true name with the file's own: a link to a module stays one.
std::wstring ModulePath(const void* module)
{
    Dl_info info;
    void* map = nullptr;
    if (dladdr1(module, &info, &map, RTLD_DL_LINKMAP) == 0 || !map)
        return {};
    std::error_code error;
    std::filesystem::path path = static_cast<const link_map*>(map)->l_name; // empty for the main program
    if (path.empty())
        path = std::filesystem::read_symlink("/proc/self/exe", error);
    path = std::filesystem::absolute(path, error);
    path = std::filesystem::canonical(path.parent_path(), error) / path.filename();
    return error ? std::wstring() : FromNativePath(path.native());
}

HRESULT NativeModule::Load(const std::wstring& name, NativeModule& module)
{
    const std::filesystem::path path = ToNativePath(name);
    module.m_handle.reset(dlopen(path.c_str(), RTLD_NOW | RTLD_LOCAL));
    if (module)
        return S_OK;
    WriteDebugOutput((Text::FromUtf8(dlerror()) + L'\n').c_str());
    return HResultFromWin32(std::filesystem::exists(path) ? ERROR_BAD_EXE_FORMAT : ERROR_MOD_NOT_FOUND);
}

void* NativeModule::Find(const char* name) const
{
    return dlsym(m_handle.get(), name);
}

void NativeModule::Unload::operator()(void* handle) const
{
    dlclose(handle);
}

bool IsSystemVersionOrLater(unsigned, unsigned)
{
    return true;
}

} // namespace Platform
