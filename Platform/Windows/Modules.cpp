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
    return ReadText(
        [module](wchar_t* buffer, DWORD size) { return GetModuleFileNameW(AsModule(module), buffer, size); });
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
    const HMODULE content = LoadLibraryExW(path.c_str(), nullptr, asData);
    if (!content)
        return LastErrorResult();
    module.m_content.reset(content, &FreeLibrary);
    return S_OK;
}

std::optional<std::wstring> MessageModule::Find(std::uint32_t id) const
{
    return FindMessage(FORMAT_MESSAGE_FROM_HMODULE, m_content.get(), id);
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
