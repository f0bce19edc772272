#include "Platform/Modules.h"

#include "Platform/Windows/LastError.h"

namespace Platform
{

namespace
{

HMODULE AsModule(const void* address)
{
    return static_cast<HMODULE>(const_cast<void*>(address));
}

std::optional<std::wstring> FindMessage(DWORD sourceFlag, const void* source, DWORD id)
{
    for (const LANGID language : {GetUserDefaultLangID(), LANGID{0}}) {
        wchar_t* text = nullptr;
        const DWORD length = FormatMessageW(FORMAT_MESSAGE_ALLOCATE_BUFFER | FORMAT_MESSAGE_IGNORE_INSERTS | sourceFlag,
                                            source, id, language, reinterpret_cast<wchar_t*>(&text), 0, nullptr);
        const std::unique_ptr<wchar_t, decltype(&LocalFree)> owner(text, &LocalFree);
        if (length != 0)
            return std::wstring(text, length);
    }
    return std::nullopt;
}

} // namespace

const void* FindModule(const void* address)
{
    HMODULE module = nullptr;
    GetModuleHandleExW(GET_MODULE_HANDLE_EX_FLAG_FROM_ADDRESS | GET_MODULE_HANDLE_EX_FLAG_UNCHANGED_REFCOUNT,
                       static_cast<const wchar_t*>(address), &module);
    return module;
}

const void* MainModule()
{
    return GetModuleHandleW(nullptr);
}

std::wstring ModulePath(const void* module)
{
    std::wstring path(MAX_PATH, L'\0');
    for (;;) {
        const DWORD length = GetModuleFileNameW(AsModule(module), path.data(), static_cast<DWORD>(path.size()));
        if (length == 0)
            CheckMemory();
        if (length < path.size()) {
            path.resize(length);
            return path;
        }
        path.resize(2 * path.size());
    }
}

HRESULT NativeModule::Load(const std::wstring& path, NativeModule& module)
{
    module.m_handle.reset(LoadLibraryExW(path.c_str(), nullptr, 0));
    return module ? S_OK : LastErrorResult();
}

void* NativeModule::Find(const char* name) const
{
    return reinterpret_cast<void*>(GetProcAddress(AsModule(m_handle.get()), name));
}

void NativeModule::Unload::operator()(void* handle) const
{
    FreeLibrary(AsModule(handle));
}

HRESULT MessageModule::Load(const std::wstring& path, MessageModule& module)
{
    constexpr DWORD asData = LOAD_LIBRARY_AS_DATAFILE | LOAD_LIBRARY_AS_IMAGE_RESOURCE;
    module.m_content.reset(LoadLibraryExW(path.c_str(), nullptr, asData));
    return module ? S_OK : LastErrorResult();
}

std::optional<std::wstring> MessageModule::Find(std::uint32_t id) const
{
    return FindMessage(FORMAT_MESSAGE_FROM_HMODULE, m_content.get(), id);
}

void MessageModule::Unload::operator()(void* content) const
{
    FreeLibrary(AsModule(content));
}

std::optional<std::wstring> FindSystemMessage(std::uint32_t id)
{
    return FindMessage(FORMAT_MESSAGE_FROM_SYSTEM, nullptr, id);
}

bool IsSystemVersionOrLater(unsigned major, unsigned minor)
{
    OSVERSIONINFOEXW version{};
    version.dwOSVersionInfoSize = sizeof(version);
    version.dwMajorVersion = major;
    version.dwMinorVersion = minor;
    ULONGLONG mask = VerSetConditionMask(0, VER_MAJORVERSION, VER_GREATER_EQUAL);
    mask = VerSetConditionMask(mask, VER_MINORVERSION, VER_GREATER_EQUAL);
    mask = VerSetConditionMask(mask, VER_SERVICEPACKMAJOR, VER_GREATER_EQUAL);
    return VerifyVersionInfoW(&version, VER_MAJORVERSION | VER_MINORVERSION | VER_SERVICEPACKMAJOR, mask) != FALSE;
}

} // namespace Platform
