// The base directory for relative paths, and the redirections of path prefixes.
#pragma once

#include "Common/Settings/SettingsStore.h"

#include <map>
#include <string>
#include <vector>

// Immutable after construction. Changes of its settings take effect with the next start.
class DataDirectory
{
public:
    DataDirectory();
    // `moduleDirectory`: what an empty or relative base path is taken relative to; ends in a separator.
    DataDirectory(SettingsStore& store, const std::wstring& moduleDirectory);
    static DataDirectory& Instance();

    // An absolute path for `path`: environment variables expanded, a redirected prefix replaced, relative paths joined
    // to the base. Throws HRX when the paths cannot be joined.
    std::wstring ResolvePath(std::wstring_view path) const;

    // Ends in a separator.
    const std::wstring& Base() const { return m_base; }

private:
    using Components = std::vector<std::wstring>;
    struct ComponentsNoCaseLess
    {
        bool operator()(const Components& a, const Components& b) const;
    };

    void ReadOverrides(const std::wstring& registryKey);
    void Redirect(std::wstring& path) const;

    std::wstring m_base;
    // Leading components of a relative path -> directory, ending in a separator.
    std::map<Components, std::wstring, ComponentsNoCaseLess> m_overrides;
};
