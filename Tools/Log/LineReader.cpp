#include "Tools/Log/LineReader.h"

#include "Platform/Text.h"

#include <algorithm>
#include <cwchar>

namespace LogTool
{

namespace
{

constexpr std::size_t MaxLineBytes = 1 << 20;
constexpr std::size_t TimeWidth = 27;
constexpr std::wstring_view EntryHead = L"0000-00-00 00:00:00.0000000 | ???? |##### ##### | ";
const std::wstring BannerFrame(100, L'*');

// The place behind the line that begins at `begin`; npos: the line is not complete. CR LF ends a line that an odd byte
// has shifted: no text has U+0A00 in it, which CR LF would be in the middle of two characters.
std::size_t FindLineEnd(std::string_view bytes, std::size_t begin)
{
    for (std::size_t at = bytes.find('\n', begin); at < bytes.size() - 1; at = bytes.find('\n', at + 1)) {
        const bool aligned = (at - begin) % 2 == 0;
        if (bytes[at + 1] == '\0' && (aligned || (at >= begin + 2 && bytes[at - 2] == '\r' && bytes[at - 1] == '\0')))
            return at + 2;
    }
    return bytes.size() - begin > MaxLineBytes ? begin + MaxLineBytes : std::string_view::npos;
}

bool IsDigit(wchar_t c)
{
    return c >= L'0' && c <= L'9';
}

bool BeginsEntry(std::wstring_view text)
{
    return text.size() >= EntryHead.size() &&
           std::equal(EntryHead.begin(), EntryHead.end(), text.begin(), [](wchar_t form, wchar_t c) {
               return form == L'0' ? IsDigit(c) : form == L'#' ? IsDigit(c) || c == L' ' : form == L'?' || form == c;
           });
}

// Where an entry or a banner begins in a line, at `from` or behind it.
std::size_t FindBeginning(std::wstring_view text, std::size_t from)
{
    const std::size_t banner = text.find(BannerFrame, from);
    for (std::size_t at = from; (at = text.find(L" | ", at + TimeWidth)) != text.npos; at -= TimeWidth - 1) {
        if (BeginsEntry(text.substr(at - TimeWidth)))
            return std::min(banner, at - TimeWidth);
    }
    return banner;
}

void ReplaceControlCharacters(std::wstring& text)
{
    std::replace_if(
        text.begin(), text.end(), [](wchar_t c) { return (c < L' ' && c != L'\t') || (c >= 0x7F && c < 0xA0); },
        static_cast<wchar_t>(Text::ReplacementCharacter));
}

unsigned ToNumber(std::wstring_view column)
{
    return static_cast<unsigned>(std::wcstoul(std::wstring(column).c_str(), nullptr, 10));
}

std::size_t ToSeverity(std::wstring_view column)
{
    const std::string name = Text::ToUtf8(column.substr(0, column.find_last_not_of(L' ') + 1));
    return static_cast<std::size_t>(std::find(Severities.begin(), Severities.end(), name) - Severities.begin());
}

} // namespace

void LineReader::Add(std::string_view bytes)
{
    m_bytes += bytes;
    std::size_t begin = 0;
    for (std::size_t end; begin < m_bytes.size() && (end = FindLineEnd(m_bytes, begin)) != m_bytes.npos; begin = end)
        Split(std::string_view(m_bytes).substr(begin, end - begin));
    m_bytes.erase(0, begin);
}

void LineReader::Finish()
{
    if (!m_bytes.empty())
        Split(m_bytes);
    m_bytes.clear();
}

// Parts a torn line from what was written behind it.
void LineReader::Split(std::string_view bytes)
{
    const std::size_t shift = bytes.size() % 2;
    const std::wstring text = Text::FromUtf16Le(bytes.substr(shift));
    const std::size_t beginning = FindBeginning(text, 1 - shift);
    if (beginning == text.npos) {
        PassOn(shift == 0 ? text : Text::FromUtf16Le(bytes));
        return;
    }
    std::string behind;
    Text::AppendUtf16Le(std::wstring_view(text).substr(beginning), behind);
    const std::size_t torn = bytes.size() - behind.size();
    PassOn(Text::FromUtf16Le(bytes.substr(0, torn)));
    Split(bytes.substr(torn));
}

void LineReader::PassOn(std::wstring text)
{
    text.resize(text.find_last_not_of(L"\r\n") + 1);
    ReplaceControlCharacters(text);
    const std::size_t columnsEnd = BeginsEntry(text) ? text.find(L"| ", EntryHead.size()) : text.npos;
    const bool isFrame = text == BannerFrame;
    if (m_inBanner || isFrame)
        m_line = {};
    m_line.kind = m_inBanner || isFrame ? LineKind::Banner : LineKind::Further;
    m_line.text = Text::ToUtf8(text);
    m_line.message.clear();
    if (isFrame)
        m_inBanner = !m_inBanner;
    if (columnsEnd != text.npos) {
        const std::wstring_view message = std::wstring_view(text).substr(columnsEnd + 2);
        m_inBanner = false;
        m_line.kind = LineKind::Entry;
        m_line.time = m_line.text.substr(0, TimeWidth);
        m_line.severity = ToSeverity(std::wstring_view(text).substr(30, 4));
        m_line.process = ToNumber(std::wstring_view(text).substr(36, 5));
        m_line.thread = ToNumber(std::wstring_view(text).substr(42, 5));
        m_line.indentation = std::min(message.find_first_not_of(L' '), message.size());
        m_line.message = Text::ToUtf8(message.substr(m_line.indentation));
    }
    m_isLog = m_isLog || m_line.kind != LineKind::Further;
    m_take(m_line);
}

} // namespace LogTool
