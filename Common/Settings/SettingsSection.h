// A named view on one section of the settings that remembers the answers until it is reloaded.
#pragma once

#include "Common/Settings/SettingsStore.h"

#include <unordered_map>
#include <unordered_set>

// Thread-safe. The store is asked with no lock held.
class SettingsSection
{
public:
    // `refreshInterval` in milliseconds: answers older than this are dropped; 0: only Reload drops them.
    SettingsSection(SettingsStore& store, std::wstring name, std::uint32_t refreshInterval = 0);

    // S_OK and the value, or 0x80070490.
    HRESULT GetString(const wchar_t* key, std::wstring& value);

    // The default when the key is missing or no number.
    std::uint32_t GetUInt32(const wchar_t* key, std::uint32_t defaultValue);

    void Reload();

private:
    template <class Value>
    using Cache = std::unordered_map<std::wstring, Value>;

    template <class Value, class Question>
    HRESULT Read(Cache<Value> SettingsSection::*cache, const wchar_t* key, Value& value, Question question);
    void DropCaches() REQUIRES(m_lock);

    SettingsStore& m_store;
    const std::wstring m_name;
    const std::uint32_t m_refreshInterval;

    Mutex m_lock;
    std::uint32_t m_generation GUARDED_BY(m_lock) = 0; // counts reloads: an answer asked for before one is not kept
    std::uint32_t m_lastReload GUARDED_BY(m_lock) = 0;
    Cache<std::wstring> m_strings GUARDED_BY(m_lock);
    Cache<std::uint32_t> m_integers GUARDED_BY(m_lock);
    std::unordered_set<std::wstring> m_missing GUARDED_BY(m_lock);
};
