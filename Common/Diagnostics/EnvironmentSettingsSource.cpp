#include "Common/Diagnostics/EnvironmentSettingsSource.h"

#include "Common/Foundation/Strings.h"

std::optional<std::wstring> ReadEnvironmentVariable(const wchar_t* name)
{
    std::wstring value;
    for (;;) {
        // An empty value and an undefined variable both give 0: only the last error tells them apart.
        SetLastError(ERROR_SUCCESS);
        const DWORD size = GetEnvironmentVariableW(name, value.data(), static_cast<DWORD>(value.size()));
        if (size == 0 && GetLastError() == ERROR_ENVVAR_NOT_FOUND)
            return std::nullopt;
        if (size < value.size() || size == 0) {
            value.resize(size);
            return value;
        }
        value.resize(size);
    }
}

HRESULT EnvironmentSettingsSource::GetString(const wchar_t* section, const wchar_t* key, std::wstring& value)
{
    const std::wstring name = std::wstring(L"GS_") + (section ? section : GeneralSection) + L"_" + key;
    const std::optional<std::wstring> found = ReadEnvironmentVariable(name.c_str());
    if (!found)
        return HResultFromWin32(ERROR_NOT_FOUND);
    value = Strings::TrimRight(*found);
    return S_OK;
}
