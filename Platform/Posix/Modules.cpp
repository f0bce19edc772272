#include "Platform/Modules.h"

#include "Platform/Posix/MessageFile.h"
#include "Platform/Posix/NativePath.h"
#include "Platform/Posix/SystemMessages.h"
#include "Platform/Process.h"

#include <dlfcn.h>
#include <filesystem>
#include <link.h>
#include <sys/auxv.h>

namespace Platform
{

namespace
{

// A native module as the loader knows it now. Nothing is kept between calls, so that nothing outlives a module.
struct LoadedModule
{
    const void* base = nullptr;
    std::string name; // as it was loaded; empty for the main program
};

bool Find(const void* address, LoadedModule& module)
{
    Dl_info info;
    void* map = nullptr;
    if (dladdr1(address, &info, &map, RTLD_DL_LINKMAP) == 0 || !map)
        return false;
    module = {info.dli_fbase, static_cast<const link_map*>(map)->l_name};
    return true;
}

// The folder's true name with the file's own: a link to a module stays one.
std::filesystem::path FullPath(const LoadedModule& module, std::error_code& error)
{
    if (module.name.empty())
        return std::filesystem::read_symlink("/proc/self/exe", error);
    const std::filesystem::path path = std::filesystem::absolute(module.name, error);
    return std::filesystem::canonical(path.parent_path(), error) / path.filename();
}

} // namespace

const void* FindModule(const void* address)
{
    Dl_info info; // the base alone: another thread may unload the module, and with it its name
    return dladdr(address, &info) != 0 ? info.dli_fbase : nullptr;
}

const void* MainModule()
{
    return FindModule(reinterpret_cast<const void*>(getauxval(AT_PHDR)));
}

std::wstring ModulePath(const void* base)
{
    LoadedModule module;
    std::error_code error;
    const std::filesystem::path path = Find(base, module) ? FullPath(module, error) : std::filesystem::path();
    return error ? std::wstring() : FromNativePath(path.native());
}

HRESULT NativeModule::Load(const std::wstring& name, NativeModule& module)
{
    std::string path = ToNativePath(name);
    if (path.find('/') != path.npos)
        path = std::filesystem::absolute(path);
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

HRESULT MessageModule::Load(const std::wstring& path, MessageModule& module)
{
    auto content = std::make_unique<MessageFile>();
    const DWORD error = content->Load(ToNativePath(path));
    if (error == ERROR_SUCCESS)
        module.m_content.reset(content.release());
    return HResultFromWin32(error == ERROR_PATH_NOT_FOUND ? ERROR_FILE_NOT_FOUND : error);
}

std::optional<std::wstring> MessageModule::Find(std::uint32_t id) const
{
    return static_cast<const MessageFile*>(m_content.get())->Find(id);
}

void MessageModule::Unload::operator()(void* content) const
{
    delete static_cast<MessageFile*>(content);
}

std::optional<std::wstring> FindSystemMessage(std::uint32_t id)
{
    const wchar_t* const message = SystemMessage(id);
    return message ? std::optional(std::wstring(message) + L".\r\n") : std::nullopt;
}

bool IsSystemVersionOrLater(unsigned major, unsigned minor)
{
    constexpr unsigned answeredMajor = 10;
    return major < answeredMajor || (major == answeredMajor && minor == 0);
}

} // namespace Platform
