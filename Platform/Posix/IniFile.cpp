#include "Platform/Posix/Failure.h"
#include "Platform/Posix/NativePath.h"
#include "Platform/Posix/TextFile.h"
#include "Platform/Posix/Win32Settings.h"

namespace
{

std::wstring_view WithoutQuotes(std::wstring_view text)
{
    const bool quoted =
        text.size() > 1 && text.front() == text.back() && (text.front() == L'"' || text.front() == L'\'');
    return quoted ? text.substr(1, text.size() - 2) : text;
}

// The section that a line opens: what stands before its last closing bracket.
bool IsSection(std::wstring_view line, std::wstring_view& name)
{
    const std::size_t end = line.rfind(L']');
    if (!line.starts_with(L'[') || end == line.npos)
        return false;
    name = Trim(line.substr(1, end - 1));
    return true;
}

// Only the first section of the name is looked at. Comments need no care: they are keys that nobody asks for.
bool FindValue(std::wstring_view content, std::wstring_view section, std::wstring_view key, std::wstring_view& value)
{
    bool inside = false;
    while (!content.empty()) {
        const std::wstring_view line = Trim(TakeLine(content));
        std::wstring_view name;
        if (IsSection(line, name)) {
            if (inside)
                return false;
            inside = EqualIgnoringCase(name, section);
        } else if (const std::size_t separator = line.find(L'='); inside && separator != line.npos) {
            value = WithoutQuotes(Trim(line.substr(separator + 1)));
            if (EqualIgnoringCase(Trim(line.substr(0, separator)), key))
                return true;
        }
    }
    return false;
}

// Windows looks for a name without folder in its own folder; here nothing is there.
DWORD Read(std::wstring_view path, std::wstring& content)
{
    if (path.find_first_of(L"\\/") == path.npos)
        return ERROR_FILE_NOT_FOUND;
    return ReadTextFile(ToNativePath(path), content);
}

} // namespace

DWORD GetPrivateProfileStringW(LPCWSTR section, LPCWSTR key, LPCWSTR defaultValue, LPWSTR buffer, DWORD size,
                               LPCWSTR path)
try {
    if (!section || !key || !path)
        return Fail(ERROR_NOT_SUPPORTED, DWORD{0});
    if (!buffer || size == 0)
        return 0;
    std::wstring content;
    if (const DWORD error = Read(path, content); error != ERROR_SUCCESS)
        SetLastError(error);
    std::wstring_view value;
    if (!FindValue(content, Trim(section), Trim(key), value)) {
        value = defaultValue ? defaultValue : L"";
        value = WithoutQuotes(value.substr(0, value.find_last_not_of(L' ') + 1));
    }
    const std::size_t length = std::min<std::size_t>(value.size(), size - 1);
    value.copy(buffer, length);
    buffer[length] = L'\0';
    return static_cast<DWORD>(length);
} catch (...) {
    return Fail(ExceptionCode(), DWORD{0});
}
