#include "Platform/Settings.h"

#include "Platform/Windows/LastError.h"

#include <memory>

namespace Platform
{

namespace
{

// Nullopt for what is no text.
std::optional<std::wstring> ReadValue(HKEY key, const wchar_t* name)
{
    constexpr DWORD texts = RRF_RT_REG_SZ | RRF_RT_REG_EXPAND_SZ | RRF_NOEXPAND;
    std::wstring text;
    LSTATUS status = ERROR_MORE_DATA;
    for (DWORD size = 0; status == ERROR_MORE_DATA;) {
        text.resize(size / sizeof(wchar_t));
        status = RegGetValueW(key, nullptr, name, texts, nullptr, text.data(), &size);
    }
    return status == ERROR_SUCCESS ? std::optional<std::wstring>(text.c_str()) : std::nullopt;
}

} // namespace

std::optional<std::wstring> EnvironmentVariable(const std::wstring& name)
{
    const std::wstring value =
        ReadText([&name](wchar_t* buffer, DWORD size) { return GetEnvironmentVariableW(name.c_str(), buffer, size); });
    // An empty value and an undefined variable both give 0: only the last error tells them apart.
    if (value.empty() && GetLastError() == ERROR_ENVVAR_NOT_FOUND)
        return std::nullopt;
    return value;
}

HRESULT SetVariable(const std::wstring& name, const wchar_t* value)
{
    return ResultOf(SetEnvironmentVariableW(name.c_str(), value));
}

std::wstring ExpandEnvironment(const std::wstring& text)
{
    return ReadText([&text](wchar_t* buffer, DWORD size) {
        const DWORD terminated = ExpandEnvironmentStringsW(text.c_str(), buffer, size);
        return terminated == 0 ? 0 : terminated - 1;
    });
}

std::wstring IniValue(const std::wstring& file, const std::wstring& section, const std::wstring& key)
{
    return ReadText([&](wchar_t* buffer, DWORD size) {
        return GetPrivateProfileStringW(section.c_str(), key.c_str(), L"", buffer, size, file.c_str());
    });
}

std::map<std::wstring, std::wstring> RegistryTexts(RegistryRoot root, const std::wstring& key)
{
    constexpr DWORD longestName = 16383;
    std::map<std::wstring, std::wstring> texts;
    HKEY opened = nullptr;
    const HKEY rootKey = root == RegistryRoot::LocalMachine ? HKEY_LOCAL_MACHINE : HKEY_CURRENT_USER;
    if (RegOpenKeyExW(rootKey, key.c_str(), 0, KEY_READ, &opened) != ERROR_SUCCESS)
        return texts;
    const std::unique_ptr<HKEY__, decltype(&RegCloseKey)> owner(opened, &RegCloseKey);
    std::wstring name(longestName + 1, L'\0');
    for (DWORD index = 0;; ++index) {
        auto length = static_cast<DWORD>(name.size());
        if (RegEnumValueW(opened, index, name.data(), &length, nullptr, nullptr, nullptr, nullptr) != ERROR_SUCCESS)
            return texts;
        if (const std::optional<std::wstring> text = ReadValue(opened, name.c_str()))
            texts[name.substr(0, length)] = *text;
    }
}

} // namespace Platform
