// The registry file, named by the environment variable KESTRINE_REGISTRY_FILE, is UTF-8 text (or UTF-16LE with its
// byte-order mark). Every line is blank, a comment, the head of a key or a value of the key above it:
//
//     # comment
//     [HKLM\Software\Example]
//     @ = REG_SZ:text of the default value
//     Logs = REG_EXPAND_SZ:%TEMP%\logs
//     Count = REG_DWORD:16
//
// Roots are HKLM (HKEY_LOCAL_MACHINE) and HKCU (HKEY_CURRENT_USER). A value's name ends at the first "=", blanks around
// it do not count; its text is what stands behind the colon, as it is. Names of keys and values are matched without
// regard to case. A key may come several times; the last value of a name counts. The file is read anew on every call. A
// malformed file has no keys; the debugger output says why.
#include "Platform/Posix/NativePath.h"
#include "Platform/Posix/TextFile.h"
#include "Platform/Settings.h"

#include <algorithm>
#include <vector>

namespace Platform
{

namespace
{

struct Value
{
    std::wstring name;
    std::wstring text;
    bool isText;
};

bool SplitRoot(std::wstring_view path, RegistryRoot& root, std::wstring_view& key)
{
    const std::wstring_view name = path.substr(0, path.find(L'\\'));
    key = path.substr(std::min(name.size() + 1, path.size()));
    const bool machine = EqualIgnoringCase(name, L"HKLM") || EqualIgnoringCase(name, L"HKEY_LOCAL_MACHINE");
    root = machine ? RegistryRoot::LocalMachine : RegistryRoot::CurrentUser;
    return machine || EqualIgnoringCase(name, L"HKCU") || EqualIgnoringCase(name, L"HKEY_CURRENT_USER");
}

bool ParseValue(std::wstring_view line, Value& value)
{
    const std::size_t separator = line.find(L'=');
    const std::size_t colon = line.find(L':', std::min(separator, line.size()));
    if (colon == line.npos)
        return false;
    const std::wstring_view name = Trim(line.substr(0, separator));
    const std::wstring_view type = Trim(line.substr(separator + 1, colon - separator - 1));
    value = {std::wstring(name == L"@" ? L"" : name), std::wstring(line.substr(colon + 1)), type != L"REG_DWORD"};
    return !name.empty() && (type == L"REG_SZ" || type == L"REG_EXPAND_SZ" || type == L"REG_DWORD");
}

// Picks the values of one key out of the registry file.
class KeyReader
{
public:
    KeyReader(RegistryRoot root, std::wstring_view key) : m_root(root), m_key(key)
    {
        while (m_key.ends_with(L'\\'))
            m_key.remove_suffix(1);
    }

    // False when the file is malformed.
    bool Read(const std::string& path, std::wstring_view content)
    {
        for (unsigned number = 1; !content.empty(); ++number) {
            const std::wstring_view line = TakeLine(content);
            if (Trim(line).empty() || line.starts_with(L'#'))
                continue;
            if (!(line.starts_with(L'[') ? ReadHead(Trim(line)) : ReadValue(line))) {
                ReportMalformed(path, number,
                                L"a key like \"[HKLM\\Software\\X]\" or, in one, a value like \"name = REG_SZ:text\"");
                return false;
            }
        }
        return true;
    }

    const std::vector<Value>& Values() const { return m_values; }

private:
    bool ReadHead(std::wstring_view line)
    {
        RegistryRoot root{};
        std::wstring_view key;
        if (!line.ends_with(L']') || !SplitRoot(line.substr(1, line.size() - 2), root, key))
            return false;
        m_anyHead = true;
        m_inside = root == m_root && EqualIgnoringCase(key, m_key);
        return true;
    }

    bool ReadValue(std::wstring_view line)
    {
        Value value;
        if (!m_anyHead || !ParseValue(line, value))
            return false;
        if (!m_inside)
            return true;
        std::erase_if(m_values, [&](const Value& old) { return EqualIgnoringCase(old.name, value.name); });
        m_values.push_back(std::move(value));
        return true;
    }

    RegistryRoot m_root;
    std::wstring_view m_key;
    bool m_anyHead = false;
    bool m_inside = false;
    std::vector<Value> m_values;
};

} // namespace

std::map<std::wstring, std::wstring> RegistryTexts(RegistryRoot root, const std::wstring& key)
{
    std::map<std::wstring, std::wstring> texts;
    const std::string path = ToNativePath(EnvironmentVariable(L"KESTRINE_REGISTRY_FILE").value_or(L""));
    std::wstring content;
    KeyReader reader(root, key);
    if (ReadTextFile(path, content) != ERROR_SUCCESS || !reader.Read(path, content))
        return texts;
    for (const Value& value : reader.Values()) {
        if (value.isText)
            texts[value.name] = value.text;
    }
    return texts;
}

} // namespace Platform
