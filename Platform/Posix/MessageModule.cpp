#include "Platform/Posix/MessageModule.h"

#include "Platform/Posix/TextFile.h"
#include "Platform/Posix/Win32ErrorCodes.h"
#include "Platform/Posix/Win32Messages.h"

#include <cwchar>

namespace
{

constexpr std::uintptr_t messageModuleTag = 2;

// Takes a number like 0x1F off the front of `text`.
bool TakeNumber(std::wstring_view& text, DWORD& number)
{
    if (!text.starts_with(L"0x"))
        return false;
    const std::size_t end = std::min(text.find_first_not_of(L"0123456789abcdefABCDEF", 2), text.size());
    if (end == 2 || end > 10)
        return false;
    number = static_cast<DWORD>(std::wcstoul(std::wstring(text.substr(2, end - 2)).c_str(), nullptr, 16));
    text.remove_prefix(end);
    return true;
}

bool TakePrefix(std::wstring_view& text, std::wstring_view prefix)
{
    const bool there = text.starts_with(prefix);
    text.remove_prefix(there ? prefix.size() : 0);
    return there;
}

bool Unescape(std::wstring_view escaped, std::wstring& text)
{
    static constexpr std::wstring_view codes = L"rnt\\";
    for (std::size_t i = 0; i < escaped.size(); ++i) {
        if (escaped[i] != L'\\') {
            text += escaped[i];
            continue;
        }
        const std::size_t code = ++i < escaped.size() ? codes.find(escaped[i]) : codes.npos;
        if (code == codes.npos)
            return false;
        text += L"\r\n\t\\"[code];
    }
    return true;
}

bool ParseMessage(std::wstring_view line, DWORD& id, DWORD& language, std::wstring& text)
{
    language = 0;
    if (!TakeNumber(line, id) || !TakePrefix(line, L" "))
        return false;
    if (TakePrefix(line, L"[") && (!TakeNumber(line, language) || !TakePrefix(line, L"] ")))
        return false;
    return Unescape(line, text);
}

DWORD Malformed(const std::string& path, unsigned line)
{
    ReportMalformed(path, line, L"a message like \"0x80040201 [0x0409] Text\"");
    return ERROR_BAD_EXE_FORMAT;
}

} // namespace

DWORD MessageModule::Load(const std::string& path, MessageModule& module)
{
    std::wstring content;
    if (const DWORD error = ReadTextFile(path, content); error != ERROR_SUCCESS)
        return error;
    std::wstring_view rest = content;
    unsigned number = 1;
    for (; !rest.empty(); ++number) {
        const std::wstring_view line = TakeLine(rest);
        if (Trim(line).empty() || line.starts_with(L'#'))
            continue;
        DWORD id = 0;
        DWORD language = 0;
        std::wstring text;
        if (!ParseMessage(line, id, language, text))
            return Malformed(path, number);
        module.m_languages[language][id] = std::move(text);
    }
    return module.m_languages.empty() ? Malformed(path, number) : DWORD{ERROR_SUCCESS};
}

DWORD MessageModule::Find(DWORD id, DWORD language, const std::wstring*& text) const
{
    constexpr DWORD primaryLanguage = 0x03FF;
    const DWORD user = GetUserDefaultLangID();
    auto messages = m_languages.end();
    const auto choose = [this, &messages](DWORD candidate) {
        if (messages == m_languages.end())
            messages = m_languages.find(candidate);
    };
    choose(language);
    choose(language & primaryLanguage);
    choose(0);
    if ((language & primaryLanguage) == 0) {
        choose(user);
        choose(user & primaryLanguage);
        if (messages == m_languages.end())
            messages = m_languages.begin();
    }
    if (messages == m_languages.end())
        return ERROR_RESOURCE_LANG_NOT_FOUND;
    const auto message = messages->second.find(id);
    if (message == messages->second.end())
        return ERROR_MR_MID_NOT_FOUND;
    text = &message->second;
    return ERROR_SUCCESS;
}

HMODULE MakeModuleHandle(std::unique_ptr<MessageModule> module)
{
    return reinterpret_cast<HMODULE>(reinterpret_cast<std::uintptr_t>(module.release()) | messageModuleTag);
}

MessageModule* MessageModuleFromHandle(HMODULE handle)
{
    const auto value = reinterpret_cast<std::uintptr_t>(handle);
    return (value & messageModuleTag) ? reinterpret_cast<MessageModule*>(value - messageModuleTag) : nullptr;
}
