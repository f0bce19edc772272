// The registry file, named by the environment variable KESTRINE_REGISTRY_FILE, is UTF-8 text (UTF-16LE with its
// byte-order mark will do, too). Every line is blank, a comment, the head of a key or a value of the key above it:
//
//     # comment
//     [HKLM\Software\Example]
//     @ = REG_SZ:text of the default value
//     Logs = REG_EXPAND_SZ:%TEMP%\logs
//     Count = REG_DWORD:0x10
//
// Roots are HKLM (HKEY_LOCAL_MACHINE) and HKCU (HKEY_CURRENT_USER). A value's name ends at the first "=", blanks around
// it do not count; its text is what stands behind the colon, as it is, and its number is decimal or hexadecimal.
// Names of keys and values are matched without regard to case. A key may come several times; the last value of a name
// counts. The file is read anew when a key is opened, and an open key keeps the values of that moment. A malformed file
// has no keys; the debugger output says why.
#include "Platform/Posix/Environment.h"
#include "Platform/Posix/Failure.h"
#include "Platform/Posix/NativePath.h"
#include "Platform/Posix/TextFile.h"
#include "Platform/Posix/Win32Registry.h"

#include <algorithm>
#include <memory>
#include <vector>

namespace
{

struct RegistryValue
{
    std::wstring name;
    DWORD type;
    std::wstring text;
    DWORD number;

    const void* Data() const { return type == REG_DWORD ? static_cast<const void*>(&number) : text.c_str(); }
    std::size_t Size() const { return type == REG_DWORD ? sizeof(number) : (text.size() + 1) * sizeof(wchar_t); }
};

} // namespace

struct HKEY__
{
    std::vector<RegistryValue> values;
};

namespace
{

bool SplitRoot(std::wstring_view path, HKEY& root, std::wstring_view& subKey)
{
    const std::wstring_view name = path.substr(0, path.find(L'\\'));
    subKey = path.substr(std::min(name.size() + 1, path.size()));
    const bool machine = EqualIgnoringCase(name, L"HKLM") || EqualIgnoringCase(name, L"HKEY_LOCAL_MACHINE");
    root = machine ? HKEY_LOCAL_MACHINE : HKEY_CURRENT_USER;
    return machine || EqualIgnoringCase(name, L"HKCU") || EqualIgnoringCase(name, L"HKEY_CURRENT_USER");
}

bool ParseNumber(const std::wstring& text, DWORD& number)
{
    const bool hexadecimal = text.starts_with(L"0x");
    const std::wstring digits = text.substr(hexadecimal ? 2 : 0);
    const wchar_t* const allowed = hexadecimal ? L"0123456789abcdefABCDEF" : L"0123456789";
    if (digits.empty() || digits.size() > 10 || digits.find_first_not_of(allowed) != digits.npos)
        return false;
    const unsigned long value = std::stoul(digits, nullptr, hexadecimal ? 16 : 10);
    number = static_cast<DWORD>(value);
    return value == number;
}

bool ParseValue(std::wstring_view line, RegistryValue& value)
{
    const std::size_t separator = line.find(L'=');
    const std::size_t colon = line.find(L':', std::min(separator, line.size()));
    if (colon == line.npos)
        return false;
    const std::wstring_view name = Trim(line.substr(0, separator));
    const std::wstring_view type = Trim(line.substr(separator + 1, colon - separator - 1));
    value = {std::wstring(name == L"@" ? L"" : name), REG_SZ, std::wstring(line.substr(colon + 1)), 0};
    if (type == L"REG_EXPAND_SZ")
        value.type = REG_EXPAND_SZ;
    else if (type == L"REG_DWORD")
        value.type = REG_DWORD;
    else if (type != L"REG_SZ")
        return false;
    return !name.empty() && (value.type != REG_DWORD || ParseNumber(value.text, value.number));
}

std::vector<RegistryValue>::const_iterator FindValue(const std::vector<RegistryValue>& values, std::wstring_view name)
{
    return std::find_if(values.begin(), values.end(),
                        [name](const RegistryValue& value) { return EqualIgnoringCase(value.name, name); });
}

// Reads the registry file and picks one key out of it.
class KeyReader
{
public:
    KeyReader(HKEY root, std::wstring_view subKey) : m_root(root), m_subKey(subKey)
    {
        while (m_subKey.ends_with(L'\\'))
            m_subKey.remove_suffix(1);
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

    bool Exists() const { return m_exists; }
    std::vector<RegistryValue>& Values() { return m_values; }

private:
    // A key's parents exist, too.
    bool ReadHead(std::wstring_view line)
    {
        HKEY root = nullptr;
        std::wstring_view subKey;
        if (!line.ends_with(L']') || !SplitRoot(line.substr(1, line.size() - 2), root, subKey))
            return false;
        const bool below = root == m_root && EqualIgnoringCase(subKey.substr(0, m_subKey.size()), m_subKey);
        m_anyHead = true;
        m_inside = below && subKey.size() == m_subKey.size();
        m_exists |= m_inside || (below && (m_subKey.empty() || subKey[m_subKey.size()] == L'\\'));
        return true;
    }

    bool ReadValue(std::wstring_view line)
    {
        RegistryValue value;
        if (!m_anyHead || !ParseValue(line, value))
            return false;
        if (!m_inside)
            return true;
        if (const auto old = FindValue(m_values, value.name); old != m_values.end())
            m_values.erase(old);
        m_values.push_back(std::move(value));
        return true;
    }

    HKEY m_root;
    std::wstring_view m_subKey;
    bool m_anyHead = false;
    bool m_inside = false;
    bool m_exists = false;
    std::vector<RegistryValue> m_values;
};

bool IsRoot(HKEY key)
{
    return key == HKEY_LOCAL_MACHINE || key == HKEY_CURRENT_USER;
}

// Null, or one of the roots, of which the values are nobody's business here.
bool IsNotOpen(HKEY key)
{
    return !key || IsRoot(key);
}

LSTATUS CopyData(const RegistryValue& value, DWORD* type, BYTE* data, DWORD* dataSize)
{
    if (data && !dataSize)
        return ERROR_INVALID_PARAMETER;
    const DWORD room = dataSize ? *dataSize : 0;
    const auto size = static_cast<DWORD>(value.Size());
    if (type)
        *type = value.type;
    if (dataSize)
        *dataSize = size;
    if (data && room < size)
        return ERROR_MORE_DATA;
    if (data)
        std::copy_n(static_cast<const BYTE*>(value.Data()), size, data);
    return ERROR_SUCCESS;
}

} // namespace

LSTATUS RegOpenKeyExW(HKEY root, LPCWSTR subKey, DWORD options, REGSAM access, HKEY* key)
try {
    if (!key)
        return ERROR_INVALID_PARAMETER;
    if (!root)
        return ERROR_INVALID_HANDLE;
    if (!IsRoot(root) || options != 0 || access != KEY_READ)
        return ERROR_NOT_SUPPORTED;
    const std::string path = ToNativePath(EnvironmentValue(L"KESTRINE_REGISTRY_FILE").value_or(L""));
    std::wstring content;
    KeyReader reader(root, subKey ? subKey : L"");
    if (ReadTextFile(path, content) != ERROR_SUCCESS || !reader.Read(path, content) || !reader.Exists())
        return ERROR_FILE_NOT_FOUND;
    *key = std::make_unique<HKEY__>(HKEY__{std::move(reader.Values())}).release();
    return ERROR_SUCCESS;
} catch (...) {
    return static_cast<LSTATUS>(ExceptionCode());
}

LSTATUS RegCloseKey(HKEY key)
{
    if (!key)
        return ERROR_INVALID_HANDLE;
    const std::unique_ptr<HKEY__> owner(IsRoot(key) ? nullptr : key);
    return ERROR_SUCCESS;
}

LSTATUS RegEnumValueW(HKEY key, DWORD index, LPWSTR name, DWORD* nameLength, DWORD* reserved, DWORD* type, BYTE* data,
                      DWORD* dataSize)
{
    if (IsNotOpen(key))
        return ERROR_INVALID_HANDLE;
    if (!name || !nameLength || reserved)
        return ERROR_INVALID_PARAMETER;
    if (index >= key->values.size())
        return ERROR_NO_MORE_ITEMS;
    const RegistryValue& value = key->values[index];
    if (value.name.size() >= *nameLength)
        return ERROR_MORE_DATA;
    const LSTATUS status = CopyData(value, type, data, dataSize);
    if (status != ERROR_INVALID_PARAMETER) {
        std::copy_n(value.name.c_str(), value.name.size() + 1, name);
        *nameLength = static_cast<DWORD>(value.name.size());
    }
    return status;
}

LSTATUS RegQueryValueExW(HKEY key, LPCWSTR name, DWORD* reserved, DWORD* type, BYTE* data, DWORD* dataSize)
{
    if (IsNotOpen(key))
        return ERROR_INVALID_HANDLE;
    if (reserved)
        return ERROR_INVALID_PARAMETER;
    const auto value = FindValue(key->values, name ? name : L"");
    return value == key->values.end() ? LSTATUS{ERROR_FILE_NOT_FOUND} : CopyData(*value, type, data, dataSize);
}
