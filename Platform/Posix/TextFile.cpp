#include "Platform/Posix/TextFile.h"

#include "Platform/LetterCase.h"
#include "Platform/Posix/NativePath.h"
#include "Platform/Process.h"

#include <fstream>
#include <sstream>

std::optional<std::wstring> ReadTextFile(const std::wstring& path)
{
    std::ifstream file(ToNativePath(path), std::ios::binary);
    if (!file)
        return std::nullopt;
    std::ostringstream content;
    content << file.rdbuf();
    const std::string bytes = content.str();
    if (bytes.starts_with("\xFF\xFE"))
        return Text::FromUtf16Le(std::string_view(bytes).substr(2));
    return Text::FromUtf8(std::string_view(bytes).substr(bytes.starts_with("\xEF\xBB\xBF") ? 3 : 0));
}

bool ReadEntries(const std::wstring& path, const std::function<const wchar_t*(std::wstring_view entry)>& read)
{
    const std::optional<std::wstring> content = ReadTextFile(path);
    std::wstring_view rest = content ? std::wstring_view(*content) : std::wstring_view();
    for (unsigned number = 1; !rest.empty(); ++number) {
        const std::wstring_view line = TakeLine(rest);
        const wchar_t* const expected = Trim(line).empty() || line.starts_with(L'#') ? nullptr : read(line);
        if (expected) {
            const std::wstring place = path + L'(' + std::to_wstring(number) + L"): expected ";
            Platform::WriteDebugOutput((place + expected + L'\n').c_str());
            return false;
        }
    }
    return content.has_value();
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
    constexpr std::wstring_view blanks = L" \t\n\v\f\r\x1A";
    text.remove_prefix(std::min(text.find_first_not_of(blanks), text.size()));
    return text.substr(0, text.find_last_not_of(blanks) + 1);
}

bool EqualIgnoringCase(std::wstring_view a, std::wstring_view b)
{
    return a.size() == b.size() && ToLowerCase(std::wstring(a)) == ToLowerCase(std::wstring(b));
}
