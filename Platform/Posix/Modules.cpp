#include "Platform/Posix/Failure.h"
#include "Platform/Posix/Handles.h"
#include "Platform/Posix/MessageModule.h"
#include "Platform/Posix/NativePath.h"
#include "Platform/Posix/TextFile.h"
#include "Platform/Posix/Win32Modules.h"
#include "Platform/Posix/Win32Process.h"

#include <dlfcn.h>
#include <fcntl.h>
#include <filesystem>
#include <link.h>
#include <sys/auxv.h>
#include <unistd.h>

namespace
{

// A native module as the loader knows it now. Nothing is kept between calls, so that nothing outlives a module.
struct Module
{
    HMODULE base = nullptr;
    std::string name; // as it was loaded; empty for the main program
};

bool FindModule(const void* address, Module& module)
{
    Dl_info info;
    void* map = nullptr;
    if (dladdr1(address, &info, &map, RTLD_DL_LINKMAP) == 0 || !map)
        return false;
    module = {info.dli_fbase, static_cast<const link_map*>(map)->l_name};
    return true;
}

bool FindMainModule(Module& module)
{
    return FindModule(reinterpret_cast<const void*>(getauxval(AT_PHDR)), module);
}

struct CloseLibrary
{
    void operator()(void* library) const { dlclose(library); }
};
using Library = std::unique_ptr<void, CloseLibrary>;

// A reference to a module that is loaded already.
Library OpenLoaded(const Module& module)
{
    return Library(dlopen(module.name.empty() ? nullptr : module.name.c_str(), RTLD_NOLOAD | RTLD_LAZY));
}

bool FindModuleByHandle(HMODULE handle, Module& module)
{
    return FindModule(handle, module) && module.base == handle;
}

// The folder's true name with the file's own: a link to a module stays one.
std::filesystem::path FullPath(const Module& module)
{
    if (module.name.empty())
        return std::filesystem::read_symlink("/proc/self/exe");
    const std::filesystem::path path = std::filesystem::absolute(module.name);
    return std::filesystem::canonical(path.parent_path()) / path.filename();
}

// Why the loader refused: no such file, no library for this kind of machine, or something that the library needs.
DWORD LoadError(const std::string& path)
{
    Module own;
    ElfW(Ehdr) header{};
    const FileDescriptor file(open(path.c_str(), O_RDONLY | O_CLOEXEC));
    if (!file || !FindModule(reinterpret_cast<const void*>(&GetModuleHandleW), own))
        return ERROR_MOD_NOT_FOUND;
    const auto* const ownHeader = static_cast<const ElfW(Ehdr)*>(own.base);
    const bool loadable = read(file.Get(), &header, sizeof(header)) == sizeof(header) &&
                          std::equal(header.e_ident, header.e_ident + EI_VERSION, ownHeader->e_ident) &&
                          header.e_machine == ownHeader->e_machine && header.e_type == ET_DYN;
    return loadable ? ERROR_MOD_NOT_FOUND : ERROR_BAD_EXE_FORMAT;
}

HMODULE LoadMessageModule(LPCWSTR path)
{
    auto module = std::make_unique<MessageModule>();
    const DWORD error = MessageModule::Load(ToNativePath(path), *module);
    if (error != ERROR_SUCCESS)
        return Fail(error == ERROR_PATH_NOT_FOUND ? ERROR_FILE_NOT_FOUND : error, nullptr);
    return MakeModuleHandle(std::move(module));
}

HMODULE LoadNativeModule(LPCWSTR name)
{
    std::string path = ToNativePath(name);
    if (path.find('/') != path.npos)
        path = std::filesystem::absolute(path);
    Library library(dlopen(path.c_str(), RTLD_NOW | RTLD_LOCAL));
    if (!library) {
        OutputDebugStringW((Text::FromUtf8(dlerror()) + L'\n').c_str());
        return Fail(LoadError(path), nullptr);
    }
    Module module;
    link_map* map = nullptr;
    if (dlinfo(library.get(), RTLD_DI_LINKMAP, &map) != 0 || !FindModule(map->l_ld, module))
        return Fail(ERROR_MOD_NOT_FOUND, nullptr);
    library.release();
    return module.base;
}

} // namespace

HMODULE GetModuleHandleW(LPCWSTR name)
try {
    Module module;
    if (!name)
        return FindMainModule(module) ? module.base : Fail(ERROR_MOD_NOT_FOUND, nullptr);
    const bool own = EqualIgnoringCase(name, L"kernel32.dll") || EqualIgnoringCase(name, L"kernel32");
    if (!own || !FindModule(reinterpret_cast<const void*>(&GetModuleHandleW), module))
        return Fail(ERROR_MOD_NOT_FOUND, nullptr);
    return module.base;
} catch (...) {
    return Fail(ExceptionCode(), nullptr);
}

BOOL GetModuleHandleExW(DWORD flags, LPCWSTR address, HMODULE* handle)
try {
    if (!handle)
        return Fail(ERROR_INVALID_PARAMETER);
    *handle = nullptr;
    if (flags != (GET_MODULE_HANDLE_EX_FLAG_FROM_ADDRESS | GET_MODULE_HANDLE_EX_FLAG_UNCHANGED_REFCOUNT))
        return Fail(ERROR_NOT_SUPPORTED);
    Module module;
    if (!FindModule(address, module))
        return Fail(ERROR_MOD_NOT_FOUND);
    *handle = module.base;
    return TRUE;
} catch (...) {
    return Fail(ExceptionCode());
}

DWORD GetModuleFileNameW(HMODULE handle, LPWSTR buffer, DWORD size)
try {
    Module module;
    if (!(handle ? FindModuleByHandle(handle, module) : FindMainModule(module)))
        return Fail(ERROR_MOD_NOT_FOUND, DWORD{0});
    const std::wstring path = FromNativePath(FullPath(module).native());
    if (!buffer || size == 0)
        return Fail(ERROR_INSUFFICIENT_BUFFER, DWORD{0});
    const auto length = static_cast<DWORD>(path.copy(buffer, size - 1));
    buffer[length] = L'\0';
    if (length < path.size())
        return Fail(ERROR_INSUFFICIENT_BUFFER, size);
    return Fail(ERROR_SUCCESS, length);
} catch (...) {
    return Fail(ExceptionCode(), DWORD{0});
}

HMODULE LoadLibraryExW(LPCWSTR path, HANDLE reserved, DWORD flags)
try {
    if (!path || !*path || reserved)
        return Fail(ERROR_INVALID_PARAMETER, nullptr);
    if (flags == (LOAD_LIBRARY_AS_DATAFILE | LOAD_LIBRARY_AS_IMAGE_RESOURCE))
        return LoadMessageModule(path);
    return flags == 0 ? LoadNativeModule(path) : Fail(ERROR_NOT_SUPPORTED, nullptr);
} catch (...) {
    return Fail(ExceptionCode(), nullptr);
}

BOOL FreeLibrary(HMODULE handle)
try {
    if (!handle)
        return Fail(ERROR_INVALID_HANDLE);
    if (const std::unique_ptr<MessageModule> messages{MessageModuleFromHandle(handle)})
        return TRUE;
    Module module;
    if (!FindModuleByHandle(handle, module))
        return Fail(ERROR_MOD_NOT_FOUND);
    const Library library = OpenLoaded(module);
    return library && dlclose(library.get()) == 0 ? TRUE : Fail(ERROR_MOD_NOT_FOUND);
} catch (...) {
    return Fail(ExceptionCode());
}

FARPROC GetProcAddress(HMODULE handle, LPCSTR name)
try {
    Module module;
    if (!name || !FindModuleByHandle(handle, module))
        return Fail(name ? ERROR_MOD_NOT_FOUND : ERROR_INVALID_PARAMETER, nullptr);
    const Library library = OpenLoaded(module);
    void* const address = library ? dlsym(library.get(), name) : nullptr;
    Module owner;
    // The loader also looks into the libraries that the module needs; those symbols are not the module's.
    if (!address || !FindModule(address, owner) || owner.base != module.base)
        return Fail(ERROR_PROC_NOT_FOUND, nullptr);
    return reinterpret_cast<FARPROC>(address);
} catch (...) {
    return Fail(ExceptionCode(), nullptr);
}
