#include "Platform/Posix/TextFile.h"

#include "Platform/Posix/Failure.h"
#include "Platform/Posix/Handles.h"
#include "Platform/Posix/NativePath.h"
#include "Platform/Posix/Win32Process.h"

#include <algorithm>
#include <cerrno>
#include <cwctype>
#include <fcntl.h>
#include <unistd.h>

namespace
{

constexpr std::wstring_view blanks = L" \t\n\v\f\r\x1A";

DWORD ReadFileBytes(const std::string& path, std::string& bytes)
{
    const FileDescriptor file(open(path.c_str(), O_RDONLY | O_CLOEXEC));
    if (!file)
        return ErrorFromErrno(errno, path);
    char chunk[4096];
    for (ssize_t count; (count = read(file.Get(), chunk, sizeof(chunk))) != 0;) {
        if (count > 0)
            bytes.append(chunk, static_cast<std::size_t>(count));
        else if (errno != EINTR)
            return ErrorFromErrno(errno, path);
    }
    return ERROR_SUCCESS;
}

} // namespace

DWORD ReadTextFile(const std::string& path, std::wstring& text)
{
    std::string bytes;
    if (const DWORD error = ReadFileBytes(path, bytes); error != ERROR_SUCCESS)
        return error;
    const std::string_view view = bytes;
    if (view.starts_with("\xFF\xFE"))
        text = Text::FromUtf16Le(view.substr(2));
    else
        text = Text::FromUtf8(view.substr(view.starts_with("\xEF\xBB\xBF") ? 3 : 0));
    return ERROR_SUCCESS;
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

wchar_t ToUpper(wchar_t c)
{
    static const locale_t unicode = newlocale(LC_CTYPE_MASK, "C.UTF-8", nullptr);
    const auto wide = static_cast<wint_t>(c);
    return static_cast<wchar_t>(unicode ? towupper_l(wide, unicode) : towupper(wide));
}

bool EqualIgnoringCase(std::wstring_view a, std::wstring_view b)
{
    return std::equal(a.begin(), a.end(), b.begin(), b.end(),
                      [](wchar_t x, wchar_t y) { return x == y || ToUpper(x) == ToUpper(y); });
}

void ReportMalformed(const std::string& path, unsigned line, std::wstring_view expected)
{
    const std::wstring place = FromNativePath(path) + L'(' + std::to_wstring(line) + L"): expected ";
    OutputDebugStringW((place + std::wstring(expected) + L'\n').c_str());
}
