#include "Common/Settings/SettingsStore.h"

#include "Common/Foundation/Singleton.h"
#include "Common/Foundation/Strings.h"
#include "Common/Settings/SettingsSources.h"

#include <cerrno>
#include <cwchar>
#include <limits>

namespace
{

// C's unsigned conversion with base 0 would also take a sign and wrap what is too large.
bool ToDword(const std::wstring& text, std::uint32_t& value)
{
    const std::size_t start = text.find_first_not_of(Strings::WhiteSpace);
    if (start == std::wstring::npos || text[start] < L'0' || text[start] > L'9')
        return false;
    errno = 0;
    wchar_t* end = nullptr;
    const unsigned long long number = std::wcstoull(text.c_str() + start, &end, 0);
    if (errno != 0 || *end != L'\0' || number > std::numeric_limits<std::uint32_t>::max())
        return false;
    value = static_cast<std::uint32_t>(number);
    return true;
}

} // namespace

HRESULT ISettingsSource::GetDword(const wchar_t* section, const wchar_t* key, std::uint32_t& value)
{
    std::wstring text;
    const HRESULT hr = GetString(section, key, text);
    if (hr != S_OK)
        return hr;
    return ToDword(text, value) ? S_OK : E_INVALIDARG;
}

SettingsStore::SettingsStore()
    : SettingsStore({std::make_shared<IniSettingsSource>(), std::make_shared<EnvironmentSettingsSource>()})
{}

SettingsStore::SettingsStore(std::vector<std::shared_ptr<ISettingsSource>> sources) : m_sources(std::move(sources)) {}

SettingsStore& SettingsStore::Instance()
{
    return Singleton<SettingsStore>::Instance();
}

void SettingsStore::AddSource(std::shared_ptr<ISettingsSource> source)
{
    const MutexLock lock(m_lock);
    m_sources.push_back(std::move(source));
}

template <class Question>
HRESULT SettingsStore::Ask(Question question)
{
    std::vector<std::shared_ptr<ISettingsSource>> sources;
    {
        const MutexLock lock(m_lock);
        sources = m_sources;
    }
    HRESULT answer = HResultFromWin32(ERROR_NOT_FOUND);
    for (auto source = sources.rbegin(); source != sources.rend(); ++source) {
        const HRESULT hr = question(**source);
        if (hr == S_OK || hr == E_ABORT)
            return hr;
        if (hr == E_INVALIDARG)
            answer = hr;
    }
    return answer;
}

HRESULT SettingsStore::GetString(const wchar_t* section, const wchar_t* key, std::wstring& value)
{
    return Ask([&](ISettingsSource& source) { return source.GetString(section, key, value); });
}

HRESULT SettingsStore::GetDword(const wchar_t* section, const wchar_t* key, std::uint32_t& value)
{
    return Ask([&](ISettingsSource& source) { return source.GetDword(section, key, value); });
}

bool ReadGeneralSetting(SettingsStore& store, const wchar_t* key, std::wstring& value)
{
    return store.GetString(GeneralSection, key, value) == S_OK;
}
