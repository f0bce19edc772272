#include "Platform/LetterCase.h"
#include "Platform/Posix/NativePath.h"
#include "Platform/Posix/TextFile.h"
#include "Platform/Process.h"

namespace
{

constexpr std::wstring_view blanks = L" \t\n\v\f\r\x1A";

} // namespace

std::wstring DecodeText(std::string_view bytes)
{
    if (bytes.starts_with("\xFF\xFE"))
        return Text::FromUtf16Le(bytes.substr(2));
    return Text::FromUtf8(bytes.substr(bytes.starts_with("\xEF\xBB\xBF") ? 3 : 0));
}

std::wstring_view TakeLine(std::wstring_view& text)
{
    const std::wstring_view line = text.substr(0, text.find_first_of(L"\r\n"));
    const std::size_t end = text.substr(line.size()).starts_with(L"\r\n") ? 2 : 1;
    text.remove_prefix(std::min(line.size() + end, text.size()));
    return line;
}

std::wstring_view Trim(std::wstring_view text)
{
    text.remove_prefix(std::min(text.find_first_not_of(blanks), text.size()));
    return text.substr(0, text.find_last_not_of(blanks) + 1);
}

bool EqualIgnoringCase(std::wstring_view a, std::wstring_view b)
{
    return a.size() == b.size() && ToLowerCase(std::wstring(a)) == ToLowerCase(std::wstring(b));
}

void ReportMalformed(const std::string& path, unsigned line, std::wstring_view expected)
{
    const std::wstring place = FromNativePath(path) + L'(' + std::to_wstring(line) + L"): expected ";
    Platform::WriteDebugOutput((place + std::wstring(expected) + L'\n').c_str());
}
