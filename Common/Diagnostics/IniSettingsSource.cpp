#include "Common/Diagnostics/IniSettingsSource.h"

#include "Common/Diagnostics/EnvironmentSettingsSource.h"
#include "Common/Foundation/ModuleFile.h"
#include "Common/Foundation/Strings.h"

namespace
{

const wchar_t SharedFile[] = L"GlobalSettings.ini";

std::wstring ReadIniValue(const std::wstring& file, const wchar_t* section, const wchar_t* key)
{
    std::wstring value(MAX_PATH, L'\0');
    for (;;) {
        const auto size = static_cast<DWORD>(value.size());
        const DWORD length = GetPrivateProfileStringW(section, key, L"", value.data(), size, file.c_str());
        if (length != size - 1) {
            value.resize(length);
            return value;
        }
        value.resize(2 * value.size());
    }
}

std::wstring OwnModulePath()
{
    const HMODULE module = ModuleFile::Handle();
    return module == GetModuleHandleW(nullptr) ? std::wstring() : ModuleFile::Path(module);
}

} // namespace

IniSettingsSource::IniSettingsSource() : IniSettingsSource(ModuleFile::Path(nullptr), OwnModulePath()) {}

IniSettingsSource::IniSettingsSource(const std::wstring& processPath, const std::wstring& modulePath)
{
    const std::wstring processDirectory(ModuleFile::DirectoryOf(processPath));
    const std::wstring processName(ModuleFile::StemOf(processPath));
    const std::wstring moduleDirectory(ModuleFile::DirectoryOf(modulePath));
    const std::wstring moduleName(ModuleFile::StemOf(modulePath));

    m_files.push_back(processDirectory + processName + L".ini");
    if (!moduleName.empty())
        m_files.push_back(processDirectory + moduleName + L".ini");
    m_files.push_back(processDirectory + SharedFile);
    if (!moduleName.empty() && moduleDirectory != processDirectory) {
        m_files.push_back(moduleDirectory + moduleName + L".ini");
        m_files.push_back(moduleDirectory + SharedFile);
    }
}

HRESULT IniSettingsSource::GetString(const wchar_t* section, const wchar_t* key, std::wstring& value)
{
    const wchar_t* const sectionName = section ? section : GeneralSection;
    std::wstring found;
    if (const auto first = ReadEnvironmentVariable(L"GLOBAL_SETTINGS_INI"))
        found = ReadIniValue(*first, sectionName, key);
    for (auto file = m_files.begin(); found.empty() && file != m_files.end(); ++file)
        found = ReadIniValue(*file, sectionName, key);
    if (found.empty())
        return HResultFromWin32(ERROR_NOT_FOUND);
    value = Strings::TrimRight(found);
    return S_OK;
}
