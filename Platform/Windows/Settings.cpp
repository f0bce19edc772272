#include "Platform/Settings.h"

#include "Platform/Windows/LastError.h"

#include <memory>
#include <type_traits>
#include <vector>

namespace Platform
{

namespace
{

using UniqueKey = std::unique_ptr<std::remove_pointer_t<HKEY>, decltype(&RegCloseKey)>;

// Whether there is a value at the index.
bool EnumerateValue(HKEY key, DWORD index, std::wstring& name, DWORD& type)
{
    name.resize(MAX_PATH);
    for (;;) {
        auto length = static_cast<DWORD>(name.size());
        const LSTATUS status = RegEnumValueW(key, index, name.data(), &length, nullptr, &type, nullptr, nullptr);
        if (status != ERROR_MORE_DATA) {
            name.resize(status == ERROR_SUCCESS ? length : 0);
            return status == ERROR_SUCCESS;
        }
        name.resize(2 * name.size());
    }
}

bool ReadText(HKEY key, const std::wstring& name, std::wstring& text)
{
    DWORD size = 0;
    LSTATUS status = RegQueryValueExW(key, name.c_str(), nullptr, nullptr, nullptr, &size);
    std::vector<wchar_t> buffer;
    while (status == ERROR_SUCCESS || status == ERROR_MORE_DATA) {
        // One character more: stored texts need not be terminated.
        buffer.assign(size / sizeof(wchar_t) + 1, L'\0');
        status = RegQueryValueExW(key, name.c_str(), nullptr, nullptr, reinterpret_cast<BYTE*>(buffer.data()), &size);
        if (status == ERROR_SUCCESS) {
            text = buffer.data();
            return true;
        }
    }
    return false;
}

} // namespace

std::optional<std::wstring> EnvironmentVariable(const std::wstring& name)
{
    std::wstring value;
    for (;;) {
        // An empty value and an undefined variable both give 0: only the last error tells them apart.
        SetLastError(ERROR_SUCCESS);
        const DWORD size = GetEnvironmentVariableW(name.c_str(), value.data(), static_cast<DWORD>(value.size()));
        if (size == 0 && GetLastError() == ERROR_ENVVAR_NOT_FOUND)
            return std::nullopt;
        if (size == 0)
            CheckMemory();
        const bool fits = size < value.size() || size == 0;
        value.resize(size);
        if (fits)
            return value;
    }
}

HRESULT SetVariable(const std::wstring& name, const wchar_t* value)
{
    return ResultOf(SetEnvironmentVariableW(name.c_str(), value));
}

std::wstring ExpandEnvironment(const std::wstring& text)
{
    std::wstring expanded(MAX_PATH, L'\0');
    for (;;) {
        const DWORD size =
            ExpandEnvironmentStringsW(text.c_str(), expanded.data(), static_cast<DWORD>(expanded.size()));
        if (size == 0)
            return text;
        const bool fits = size <= expanded.size();
        expanded.resize(fits ? size - 1 : size);
        if (fits)
            return expanded;
    }
}

std::wstring IniValue(const std::wstring& file, const std::wstring& section, const std::wstring& key)
{
    std::wstring value(MAX_PATH, L'\0');
    for (;;) {
        const auto size = static_cast<DWORD>(value.size());
        SetLastError(ERROR_SUCCESS);
        const DWORD length =
            GetPrivateProfileStringW(section.c_str(), key.c_str(), L"", value.data(), size, file.c_str());
        if (length == 0)
            CheckMemory();
        if (length != size - 1) {
            value.resize(length);
            return value;
        }
        value.resize(2 * value.size());
    }
}

std::map<std::wstring, std::wstring> RegistryTexts(RegistryRoot root, const std::wstring& key)
{
    std::map<std::wstring, std::wstring> texts;
    HKEY opened = nullptr;
    const HKEY rootKey = root == RegistryRoot::LocalMachine ? HKEY_LOCAL_MACHINE : HKEY_CURRENT_USER;
    if (RegOpenKeyExW(rootKey, key.c_str(), 0, KEY_READ, &opened) != ERROR_SUCCESS)
        return texts;
    const UniqueKey owner(opened, &RegCloseKey);
    std::wstring name;
    DWORD type = 0;
    for (DWORD index = 0; EnumerateValue(opened, index, name, type); ++index) {
        std::wstring text;
        if ((type == REG_SZ || type == REG_EXPAND_SZ) && ReadText(opened, name, text))
            texts[name] = text;
    }
    return texts;
}

} // namespace Platform
