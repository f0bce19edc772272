#include "Common/Settings/SettingsSection.h"

#include "Common/Foundation/SteadyClock.h"

SettingsSection::SettingsSection(SettingsStore& store, std::wstring name, std::uint32_t refreshInterval)
    : m_store(store), m_name(std::move(name)), m_refreshInterval(refreshInterval)
{}

void SettingsSection::DropCaches()
{
    ++m_generation;
    m_lastReload = SteadyClock::Ticks();
    m_strings.clear();
    m_integers.clear();
    m_missing.clear();
}

void SettingsSection::Reload()
{
    const MutexLock lock(m_lock);
    DropCaches();
}

template <class Value, class Question>
HRESULT SettingsSection::Read(Cache<Value> SettingsSection::*cache, const wchar_t* key, Value& value, Question question)
{
    MutexLock lock(m_lock);
    const bool loaded = m_generation != 0;
    if (m_refreshInterval != 0 && (!loaded || SteadyClock::Ticks() - m_lastReload > m_refreshInterval))
        DropCaches();
    if (const auto hit = (this->*cache).find(key); hit != (this->*cache).end()) {
        value = hit->second;
        return S_OK;
    }
    if (m_missing.contains(key))
        return HResultFromWin32(ERROR_NOT_FOUND);

    const std::uint32_t generation = m_generation;
    lock.unlock();
    Value answer{};
    const HRESULT hr = question(answer);
    lock.lock();
    if (generation == m_generation) {
        if (hr == S_OK)
            (this->*cache).insert_or_assign(key, answer);
        else
            m_missing.insert(key);
    }
    if (hr == S_OK)
        value = std::move(answer);
    return hr == S_OK ? S_OK : HResultFromWin32(ERROR_NOT_FOUND);
}

HRESULT SettingsSection::GetString(const wchar_t* key, std::wstring& value)
{
    return Read(&SettingsSection::m_strings, key, value,
                [&](std::wstring& answer) { return m_store.GetString(m_name.c_str(), key, answer); });
}

std::uint32_t SettingsSection::GetUInt32(const wchar_t* key, std::uint32_t defaultValue)
{
    Read(&SettingsSection::m_integers, key, defaultValue,
         [&](std::uint32_t& answer) { return m_store.GetDword(m_name.c_str(), key, answer); });
    return defaultValue;
}
