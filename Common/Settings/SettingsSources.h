// Where settings come from besides the registry. All sources are read anew on every question.
#pragma once

#include "Common/Settings/SettingsStore.h"

// Environment variables: "GS_" + section + "_" + key.
class EnvironmentSettingsSource : public ISettingsSource
{
public:
    // A variable that is defined answers even when it is empty.
    HRESULT GetString(const wchar_t* section, const wchar_t* key, std::wstring& value) override;
};

// INI files beside the process and the module.
class IniSettingsSource : public ISettingsSource
{
public:
    // The files of this process and this module.
    IniSettingsSource();
    // `processPath`, `modulePath`: full paths of the main program and of the module; an empty module path when the
    // module is the main program.
    IniSettingsSource(const std::wstring& processPath, const std::wstring& modulePath);

    // The file that the environment variable GLOBAL_SETTINGS_INI names is asked first, then the candidates in order. A
    // key that is present but empty lets the next file answer.
    HRESULT GetString(const wchar_t* section, const wchar_t* key, std::wstring& value) override;

    const std::vector<std::wstring>& CandidateFiles() const { return m_files; }

private:
    std::vector<std::wstring> m_files;
};
