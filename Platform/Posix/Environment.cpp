#include "Platform/Posix/Environment.h"

#include "Platform/Posix/Failure.h"
#include "Platform/Posix/TextFile.h"
#include "Platform/Posix/Win32Settings.h"
#include "Platform/Text.h"

#include <algorithm>
#include <cerrno>
#include <cstdlib>
#include <cstring>
#include <mutex>
#include <unistd.h>

namespace
{

std::mutex environmentLock; // guards `environ` among the layer's functions

// The variable's name as it stands in the environment: exactly `name` if there is such a one (names are told apart by
// case here), else the first that differs in case only. Empty when there is none.
std::string FindName(std::wstring_view name)
{
    const std::string exact = Text::ToUtf8(name);
    if (exact.empty() || exact.find('=') != exact.npos)
        return {};
    if (getenv(exact.c_str()))
        return exact;
    for (char** entry = environ; entry && *entry; ++entry) {
        const std::string_view entryName = std::string_view(*entry).substr(0, std::strcspn(*entry, "="));
        if (EqualIgnoringCase(Text::FromUtf8(entryName), name))
            return std::string(entryName);
    }
    return {};
}

// What stands between two percent signs and names no variable stays, percent signs included.
std::wstring Expand(std::wstring_view source)
{
    std::wstring text;
    while (!source.empty()) {
        const std::size_t first = source.find(L'%');
        const std::size_t second = first == source.npos ? first : source.find(L'%', first + 1);
        if (second == source.npos)
            break;
        text += source.substr(0, first);
        const std::optional<std::wstring> value = EnvironmentValue(source.substr(first + 1, second - first - 1));
        text += value ? *value : source.substr(first, second - first + 1);
        source.remove_prefix(second + 1);
    }
    return text += source;
}

} // namespace

std::optional<std::wstring> EnvironmentValue(std::wstring_view name)
{
    const std::lock_guard guard(environmentLock);
    const std::string found = FindName(name);
    const char* const value = found.empty() ? nullptr : getenv(found.c_str());
    return value ? std::optional(Text::FromUtf8(value)) : std::nullopt;
}

DWORD GetEnvironmentVariableW(LPCWSTR name, LPWSTR buffer, DWORD size)
try {
    if (!buffer && size > 0)
        return Fail(ERROR_INVALID_PARAMETER, DWORD{0});
    const std::optional<std::wstring> value = name ? EnvironmentValue(name) : std::nullopt;
    if (!value)
        return Fail(ERROR_ENVVAR_NOT_FOUND, DWORD{0});
    const auto length = static_cast<DWORD>(value->size());
    if (size <= length)
        return length + 1;
    std::copy_n(value->c_str(), length + 1, buffer);
    return length;
} catch (...) {
    return Fail(ExceptionCode(), DWORD{0});
}

BOOL SetEnvironmentVariableW(LPCWSTR name, LPCWSTR value)
try {
    if (!name || !*name || std::wstring_view(name).find(L'=') != std::wstring_view::npos)
        return Fail(ERROR_INVALID_PARAMETER);
    const std::lock_guard guard(environmentLock);
    const std::string old = FindName(name);
    const std::string key = old.empty() ? Text::ToUtf8(name) : old;
    const int result = value ? setenv(key.c_str(), Text::ToUtf8(value).c_str(), 1) : unsetenv(key.c_str());
    return result == 0 ? TRUE : Fail(ErrorFromErrno(errno));
} catch (...) {
    return Fail(ExceptionCode());
}

DWORD ExpandEnvironmentStringsW(LPCWSTR source, LPWSTR buffer, DWORD size)
try {
    if (!source || (!buffer && size > 0))
        return Fail(ERROR_INVALID_PARAMETER, DWORD{0});
    const std::wstring text = Expand(source);
    const auto needed = static_cast<DWORD>(text.size()) + 1;
    if (size < needed)
        return Fail(ERROR_INSUFFICIENT_BUFFER, needed);
    std::copy_n(text.c_str(), needed, buffer);
    return needed;
} catch (...) {
    return Fail(ExceptionCode(), DWORD{0});
}
