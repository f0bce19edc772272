#include "Common/Settings/SettingsSources.h"

#include "Common/Foundation/ModuleFile.h"
#include "Common/Foundation/Strings.h"
#include "Platform/Settings.h"

namespace
{

const wchar_t SharedFile[] = L"GlobalSettings.ini";

std::wstring OwnModulePath()
{
    return ModuleFile::IsMainProgram() ? std::wstring() : ModuleFile::Path();
}

} // namespace

HRESULT EnvironmentSettingsSource::GetString(const wchar_t* section, const wchar_t* key, std::wstring& value)
{
    const std::wstring name = std::wstring(L"GS_") + (section ? section : GeneralSection) + L"_" + key;
    const std::optional<std::wstring> found = Platform::EnvironmentVariable(name.c_str());
    if (!found)
        return HResultFromWin32(ERROR_NOT_FOUND);
    value = Strings::TrimRight(*found);
    return S_OK;
}

IniSettingsSource::IniSettingsSource() : IniSettingsSource(ModuleFile::ProcessPath(), OwnModulePath()) {}

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
    if (const auto first = Platform::EnvironmentVariable(L"GLOBAL_SETTINGS_INI"))
        found = Platform::IniValue(*first, sectionName, key);
    for (auto file = m_files.begin(); found.empty() && file != m_files.end(); ++file)
        found = Platform::IniValue(*file, sectionName, key);
    if (found.empty())
        return HResultFromWin32(ERROR_NOT_FOUND);
    value = Strings::TrimRight(found);
    return S_OK;
}
