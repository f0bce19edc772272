#include "Platform/Settings.h"

#include "Platform/Posix/TextFile.h"
#include "Platform/Text.h"

#include <cstdlib>
#include <cstring>
#include <mutex>
#include <unistd.h>

namespace Platform
{

namespace
{

std::mutex environmentLock; // guards `environ` among these functions

// The variable's name as it stands in the environment: exactly `name` if there is such a one (names are told apart by
// case here), else the first that differs in case only. Empty when there is none.
std::string FindName(std::wstring_view name)
{
    std::string exact = Text::ToUtf8(name);
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

std::wstring_view WithoutQuotes(std::wstring_view text)
{
    const bool quoted =
        text.size() > 1 && text.front() == text.back() && (text.front() == L'"' || text.front() == L'\'');
    return quoted ? text.substr(1, text.size() - 2) : text;
}

// Hands the names and texts in an INI file's section to `take`, names without the blanks around them. Only the first
// section of the name is looked at, whose head is what stands before the line's last closing bracket. Comments need no
// care: they are names that nobody asks for.
void ReadSection(const std::wstring& file, std::wstring_view section,
                 const std::function<void(std::wstring_view name, std::wstring_view text)>& take)
{
    const std::optional<std::wstring> content = ReadTextFile(file);
    std::wstring_view rest = content ? std::wstring_view(*content) : std::wstring_view();
    bool inside = false;
    while (!rest.empty()) {
        const std::wstring_view line = TakeLine(rest);
        const std::wstring_view head = Trim(line);
        const std::size_t separator = line.find(L'=');
        if (const std::size_t end = head.rfind(L']'); head.starts_with(L'[') && end != head.npos) {
            if (inside)
                break;
            inside = EqualIgnoringCase(Trim(head.substr(1, end - 1)), section);
        } else if (inside && separator != line.npos) {
            take(Trim(line.substr(0, separator)), line.substr(separator + 1));
        }
    }
}

} // namespace

std::optional<std::wstring> EnvironmentVariable(const std::wstring& name)
{
    const std::lock_guard guard(environmentLock);
    const std::string found = FindName(name);
    const char* const value = found.empty() ? nullptr : getenv(found.c_str());
    return value ? std::optional(Text::FromUtf8(value)) : std::nullopt;
}

HRESULT SetVariable(const std::wstring& name, const wchar_t* value)
{
    const std::lock_guard guard(environmentLock);
    const std::string old = FindName(name);
    const std::string key = old.empty() ? Text::ToUtf8(name) : old;
    const int result = value ? setenv(key.c_str(), Text::ToUtf8(value).c_str(), 1) : unsetenv(key.c_str());
    return result == 0 ? S_OK : E_INVALIDARG;
}

std::wstring ExpandEnvironment(const std::wstring& source)
{
    std::wstring text;
    std::wstring_view rest = source;
    while (!rest.empty()) {
        const std::size_t first = rest.find(L'%');
        const std::size_t second = first == rest.npos ? first : rest.find(L'%', first + 1);
        if (second == rest.npos)
            break;
        text += rest.substr(0, first);
        const auto value = EnvironmentVariable(std::wstring(rest.substr(first + 1, second - first - 1)));
        text += value ? *value : rest.substr(first, second - first + 1);
        rest.remove_prefix(second + 1);
    }
    return text += rest;
}

std::wstring IniValue(const std::wstring& file, const std::wstring& section, const std::wstring& key)
{
    // Windows looks for a name without folder in its own folder; here nothing is there.
    if (file.find_first_of(L"\\/") == file.npos)
        return {};
    std::optional<std::wstring> value;
    ReadSection(file, Trim(section), [&](std::wstring_view name, std::wstring_view text) {
        if (!value && EqualIgnoringCase(name, Trim(key)))
            value = WithoutQuotes(Trim(text));
    });
    return value.value_or(L"");
}

// The registry is an INI file. A section is a key: [HKLM\Software\Example]; a text without name is its default value.
std::map<std::wstring, std::wstring> RegistryTexts(RegistryRoot root, const std::wstring& key)
{
    std::map<std::wstring, std::wstring> texts;
    ReadSection(EnvironmentVariable(L"KESTRINE_REGISTRY_FILE").value_or(L""),
                (root == RegistryRoot::LocalMachine ? L"HKLM\\" : L"HKCU\\") +
                    key.substr(0, key.find_last_not_of(L'\\') + 1),
                [&texts](std::wstring_view name, std::wstring_view text) { texts[std::wstring(name)] = text; });
    return texts;
}

} // namespace Platform
