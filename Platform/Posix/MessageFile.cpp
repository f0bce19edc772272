#include "Platform/Posix/MessageFile.h"

#include "Platform/Posix/TextFile.h"

#include <cwchar>

namespace
{

// Takes a number like 0x1F off the front of `text`.
bool TakeNumber(std::wstring_view& text, std::uint32_t& number)
{
    if (!text.starts_with(L"0x"))
        return false;
    const std::size_t end = std::min(text.find_first_not_of(L"0123456789abcdefABCDEF", 2), text.size());
    if (end == 2 || end > 10)
        return false;
    number = static_cast<std::uint32_t>(std::wcstoul(std::wstring(text.substr(2, end - 2)).c_str(), nullptr, 16));
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

bool ParseMessage(std::wstring_view line, std::uint32_t& id, std::uint32_t& language, std::wstring& text)
{
    language = 0;
    if (!TakeNumber(line, id) || !TakePrefix(line, L" "))
        return false;
    if (TakePrefix(line, L"[") && (!TakeNumber(line, language) || !TakePrefix(line, L"] ")))
        return false;
    return Unescape(line, text);
}

// Line breaks become carriage return and line feed; of the sequences with a percent sign, %n, %r and %t stand for a
// character and %0 ends the text, while all others stay. Nothing for a percent sign at the end, and for an empty text.
std::optional<std::wstring> Format(const std::wstring& message)
{
    std::wstring text;
    for (std::size_t i = 0; i < message.size(); ++i) {
        const wchar_t c = message[i];
        const wchar_t next = i + 1 < message.size() ? message[i + 1] : L'\0';
        if (c == L'\r' || c == L'\n') {
            text += L"\r\n";
            i += c == L'\r' && next == L'\n' ? 1 : 0;
        } else if (c != L'%') {
            text += c;
        } else if (next == L'0') {
            break;
        } else if (next == L'\0') {
            return std::nullopt;
        } else {
            text += next == L'n' ? L"\r\n" : next == L'r' ? L"\r" : next == L't' ? L"\t" : message.substr(i, 2);
            ++i;
        }
    }
    return text.empty() ? std::nullopt : std::optional(text);
}

DWORD Malformed(const std::string& path, unsigned line)
{
    ReportMalformed(path, line, L"a message like \"0x80040201 [0x0409] Text\"");
    return ERROR_BAD_EXE_FORMAT;
}

} // namespace

DWORD MessageFile::Load(const std::string& path)
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
        std::uint32_t id = 0;
        std::uint32_t language = 0;
        std::wstring text;
        if (!ParseMessage(line, id, language, text))
            return Malformed(path, number);
        m_languages[language][id] = std::move(text);
    }
    return m_languages.empty() ? Malformed(path, number) : DWORD{ERROR_SUCCESS};
}

const MessageFile::Messages* MessageFile::FirstOf(std::initializer_list<std::uint32_t> languages) const
{
    for (const std::uint32_t language : languages) {
        if (const auto found = m_languages.find(language); found != m_languages.end())
            return &found->second;
    }
    return nullptr;
}

std::optional<std::wstring> MessageFile::Find(std::uint32_t id) const
{
    constexpr std::uint32_t user = 0x0409;
    constexpr std::uint32_t primary = 0x0009;
    constexpr std::uint32_t neutral = 0;
    const Messages* const systemChoice = FirstOf({neutral, user, primary});
    // One language is chosen for all identifiers, and only then the identifier is looked for.
    for (const Messages* const messages :
         {FirstOf({user, primary, neutral}), systemChoice ? systemChoice : &m_languages.begin()->second}) {
        const auto message = messages ? messages->find(id) : Messages::const_iterator();
        if (messages && message != messages->end()) {
            if (std::optional<std::wstring> text = Format(message->second))
                return text;
        }
    }
    return std::nullopt;
}
