#include "Common/Diagnostics/RegistryValues.h"

#include "Common/Foundation/Handles.h"

#include <vector>

namespace
{

UniqueRegistryKey OpenKey(const std::wstring& keyPath)
{
    HKEY root = HKEY_LOCAL_MACHINE;
    std::wstring subKey = keyPath;
    if (const std::size_t end = keyPath.find_first_of(L"\\/"); end != std::wstring::npos) {
        const std::wstring rootName = keyPath.substr(0, end);
        const bool machine = rootName == L"HKLM" || rootName == L"HKEY_LOCAL_MACHINE";
        const bool user = rootName == L"HKCU" || rootName == L"HKEY_CURRENT_USER";
        if (machine || user)
            subKey = keyPath.substr(end + 1);
        if (user)
            root = HKEY_CURRENT_USER;
    }
    HKEY key = nullptr;
    return RegOpenKeyExW(root, subKey.c_str(), 0, KEY_READ, &key) == LSTATUS(ERROR_SUCCESS) ? UniqueRegistryKey(key)
                                                                                            : nullptr;
}

// Fails with ERROR_NO_MORE_ITEMS behind the last value.
LSTATUS EnumerateValue(HKEY key, DWORD index, std::wstring& name, DWORD& type)
{
    name.resize(MAX_PATH);
    for (;;) {
        auto length = static_cast<DWORD>(name.size());
        const LSTATUS status = RegEnumValueW(key, index, name.data(), &length, nullptr, &type, nullptr, nullptr);
        if (status != LSTATUS(ERROR_MORE_DATA)) {
            name.resize(status == LSTATUS(ERROR_SUCCESS) ? length : 0);
            return status;
        }
        name.resize(2 * name.size());
    }
}

bool ReadText(HKEY key, const std::wstring& name, std::wstring& text)
{
    DWORD size = 0;
    LSTATUS status = RegQueryValueExW(key, name.c_str(), nullptr, nullptr, nullptr, &size);
    std::vector<wchar_t> buffer;
    while (status == LSTATUS(ERROR_SUCCESS) || status == LSTATUS(ERROR_MORE_DATA)) {
        // One character more: stored texts need not be terminated.
        buffer.assign(size / sizeof(wchar_t) + 1, L'\0');
        status = RegQueryValueExW(key, name.c_str(), nullptr, nullptr, reinterpret_cast<BYTE*>(buffer.data()), &size);
        if (status == LSTATUS(ERROR_SUCCESS)) {
            text = buffer.data();
            return true;
        }
    }
    return false;
}

} // namespace

std::map<std::wstring, std::wstring> ReadRegistryTexts(const std::wstring& keyPath)
{
    std::map<std::wstring, std::wstring> texts;
    const UniqueRegistryKey key = OpenKey(keyPath);
    if (!key)
        return texts;
    std::wstring name;
    DWORD type = 0;
    for (DWORD index = 0; EnumerateValue(key.get(), index, name, type) == LSTATUS(ERROR_SUCCESS); ++index) {
        std::wstring text;
        if ((type == REG_SZ || type == REG_EXPAND_SZ) && ReadText(key.get(), name, text))
            texts[name] = text;
    }
    return texts;
}
