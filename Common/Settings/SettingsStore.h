// Process-wide settings: questions of the form section plus key, answered from environment variables and INI files.
#pragma once

#include "Common/Foundation/Mutex.h"
#include "Platform/Types.h"

#include <memory>
#include <string>
#include <vector>

// One place where settings come from. A missing (null) section means "General".
class ISettingsSource
{
public:
    virtual ~ISettingsSource() = default;

    // S_OK and the value without trailing white space, 0x80070490 when the source does not have the key.
    virtual HRESULT GetString(const wchar_t* section, const wchar_t* key, std::wstring& value) = 0;

    // The value as a number: decimal, hexadecimal after 0x, octal after 0. E_INVALIDARG when it is not one as a whole.
    HRESULT GetDword(const wchar_t* section, const wchar_t* key, std::uint32_t& value);
};

// Asks its sources from the last added to the first. Thread-safe.
class SettingsStore
{
public:
    // With the two sources of the process: INI files, and environment variables before them.
    SettingsStore();
    // With the given sources only.
    explicit SettingsStore(std::vector<std::shared_ptr<ISettingsSource>> sources);
    static SettingsStore& Instance();

    void AddSource(std::shared_ptr<ISettingsSource> source);

    // The first success; E_ABORT from the first source that answers it; else E_INVALIDARG when a source had the key but
    // no usable value, and 0x80070490 when none had it.
    HRESULT GetString(const wchar_t* section, const wchar_t* key, std::wstring& value);
    HRESULT GetDword(const wchar_t* section, const wchar_t* key, std::uint32_t& value);

private:
    template <class Question>
    HRESULT Ask(Question question);

    Mutex m_lock;
    std::vector<std::shared_ptr<ISettingsSource>> m_sources GUARDED_BY(m_lock);
};

inline constexpr const wchar_t* GeneralSection = L"General";

// A value of the section "General". False, and `value` unchanged, when there is none.
bool ReadGeneralSetting(SettingsStore& store, const wchar_t* key, std::wstring& value);
