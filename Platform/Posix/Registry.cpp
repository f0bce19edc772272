// The registry file, named by the environment variable KESTRINE_REGISTRY_FILE, is UTF-8 text (or UTF-16LE with its
// byte-order mark). Every line is blank, a comment, the head of a key or a value of the key above it:
//
//     # comment
//     [HKLM\Software\Example]
//     @ = REG_SZ:text of the default value
//     Logs = REG_EXPAND_SZ:%TEMP%\logs
//     Count = REG_DWORD:16
//
// Roots are HKLM and HKCU; the case of keys does not count. A value's name ends at the first "=", blanks around it do
// not count; its text is what stands behind the colon, as it is. The file is read anew on every call. A malformed file
// has no keys; the debugger output says why.
#include "Platform/Posix/NativePath.h"
#include "Platform/Posix/TextFile.h"
#include "Platform/Settings.h"

namespace Platform
{

std::map<std::wstring, std::wstring> RegistryTexts(RegistryRoot root, const std::wstring& key)
{
    static constexpr wchar_t expected[] =
        L"a key like \"[HKLM\\Software\\X]\" or, in one, a value like \"name = REG_SZ:text\"";
    const std::wstring head = (root == RegistryRoot::LocalMachine ? L"[HKLM\\" : L"[HKCU\\") +
                              key.substr(0, key.find_last_not_of(L'\\') + 1) + L']';
    std::map<std::wstring, std::wstring> texts;
    bool anyHead = false;
    bool inside = false;
    const auto read = [&](std::wstring_view line) {
        if (line.starts_with(L'[')) {
            anyHead = true;
            inside = EqualIgnoringCase(Trim(line), head);
            return Trim(line).ends_with(L']') ? nullptr : expected;
        }
        const std::size_t separator = line.find(L'=');
        const std::size_t colon = line.find(L':', std::min(separator, line.size()));
        if (!anyHead || colon == line.npos)
            return expected;
        const std::wstring_view name = Trim(line.substr(0, separator));
        const std::wstring_view type = Trim(line.substr(separator + 1, colon - separator - 1));
        if (inside && (type == L"REG_SZ" || type == L"REG_EXPAND_SZ"))
            texts[std::wstring(name == L"@" ? L"" : name)] = line.substr(colon + 1);
        return !name.empty() && type.starts_with(L"REG_") ? nullptr : expected;
    };
    if (!ReadEntries(ToNativePath(EnvironmentVariable(L"KESTRINE_REGISTRY_FILE").value_or(L"")), read))
        texts.clear();
    return texts;
}

} // namespace Platform
