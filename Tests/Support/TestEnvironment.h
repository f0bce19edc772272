// Settings of the process for a test: environment variables that are put back, and settings stores of its own.
#pragma once

#include "Common/Settings/SettingsStore.h"
#include "Platform/Settings.h"

#include <atomic>
#include <functional>
#include <map>
#include <string>

class ScopedVariable
{
public:
    ScopedVariable(const wchar_t* name, const std::wstring& value) : m_name(name)
    {
        Platform::SetVariable(name, value.c_str());
    }
    ~ScopedVariable() { Platform::SetVariable(m_name, nullptr); }
    ScopedVariable(const ScopedVariable&) = delete;
    ScopedVariable& operator=(const ScopedVariable&) = delete;

private:
    const wchar_t* const m_name;
};

// Answers from a map "Section/Key" -> text and counts the questions. The map must not change while others ask.
class MapSource : public ISettingsSource
{
public:
    HRESULT GetString(const wchar_t* section, const wchar_t* key, std::wstring& value) override
    {
        ++questions;
        if (hook)
            hook();
        const auto found = values.find(std::wstring(section ? section : GeneralSection) + L"/" + key);
        if (found == values.end())
            return HResultFromWin32(ERROR_NOT_FOUND);
        value = found->second;
        return S_OK;
    }

    std::map<std::wstring, std::wstring> values;
    std::atomic<int> questions{0};
    std::function<void()> hook;
};

struct TestSettings
{
    std::wstring& operator[](const std::wstring& sectionAndKey) { return source->values[sectionAndKey]; }

    std::shared_ptr<MapSource> source = std::make_shared<MapSource>();
    SettingsStore store{{source}};
};
