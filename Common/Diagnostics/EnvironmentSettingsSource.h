// Settings from environment variables: "GS_" + section + "_" + key. Read anew on every question.
#pragma once

#include "Common/Diagnostics/SettingsStore.h"

#include <optional>

class EnvironmentSettingsSource : public ISettingsSource
{
public:
    // A variable that is defined answers even when it is empty.
    HRESULT GetString(const wchar_t* section, const wchar_t* key, std::wstring& value) override;
};

// The value of an environment variable; nothing when it is not defined.
std::optional<std::wstring> ReadEnvironmentVariable(const wchar_t* name);
