#include "Common/Diagnostics/DataDirectory.h"

#include "Common/Diagnostics/RegistryValues.h"
#include "Common/ErrorHandling/HResult.h"
#include "Common/Foundation/ModuleFile.h"
#include "Common/Foundation/Singleton.h"
#include "Common/Foundation/Strings.h"

#include <algorithm>

namespace
{

constexpr std::wstring_view Separators = L"\\/";

bool IsSeparator(wchar_t c)
{
    return Separators.find(c) != std::wstring_view::npos;
}

std::wstring ExpandEnvironment(const std::wstring& text)
{
    std::wstring expanded(MAX_PATH, L'\0');
    for (;;) {
        const DWORD size =
            ExpandEnvironmentStringsW(text.c_str(), expanded.data(), static_cast<DWORD>(expanded.size()));
        if (size == 0)
            return text;
        const bool fits = size <= expanded.size();
        expanded.resize(fits ? size - 1 : size);
        if (fits)
            return expanded;
    }
}

bool IsRelative(const std::wstring& path)
{
    return path.empty() || (!IsSeparator(path[0]) && (path.size() < 2 || path[1] != L':'));
}

void EndInSeparator(std::wstring& path)
{
    if (path.empty() || !IsSeparator(path.back()))
        path += L'\\';
}

std::wstring Combine(const std::wstring& directory, const std::wstring& file)
{
    wchar_t joined[MAX_PATH];
    if (!PathCombineW(joined, directory.c_str(), file.c_str()))
        ThrowHResult(HResultFromWin32(ERROR_FILENAME_EXCED_RANGE));
    return joined;
}

} // namespace

bool DataDirectory::ComponentsNoCaseLess::operator()(const Components& a, const Components& b) const
{
    return std::lexicographical_compare(
        a.begin(), a.end(), b.begin(), b.end(),
        [](const std::wstring& x, const std::wstring& y) { return Strings::ToLower(x) < Strings::ToLower(y); });
}

DataDirectory::DataDirectory()
    : DataDirectory(SettingsStore::Instance(),
                    std::wstring(ModuleFile::DirectoryOf(ModuleFile::Path(ModuleFile::Handle()))))
{}

DataDirectory::DataDirectory(SettingsStore& store, const std::wstring& moduleDirectory)
{
    std::wstring configured;
    ReadGeneralSetting(store, L"DataDirectoryPath", configured);
    configured = ExpandEnvironment(configured);
    if (configured.empty())
        m_base = moduleDirectory;
    else
        m_base = IsRelative(configured) ? Combine(moduleDirectory, configured) : configured;

    std::wstring overrideKey;
    if (ReadGeneralSetting(store, L"DataDirectoryPathOverrideRegKey", overrideKey) && !overrideKey.empty())
        ReadOverrides(overrideKey);
    if (const auto whole = m_overrides.find({}); whole != m_overrides.end())
        m_base = ResolvePath(whole->second);
    EndInSeparator(m_base);
}

DataDirectory& DataDirectory::Instance()
{
    return Singleton<DataDirectory>::Instance();
}

void DataDirectory::ReadOverrides(const std::wstring& registryKey)
{
    for (const auto& [name, text] : ReadRegistryTexts(registryKey)) {
        std::wstring directory = ExpandEnvironment(text);
        EndInSeparator(directory);
        m_overrides[Strings::Split(ExpandEnvironment(name), Separators)] = std::move(directory);
    }
}

void DataDirectory::Redirect(std::wstring& path) const
{
    std::wstring dropped;
    // The entry without components moves the base itself, not the paths below it.
    for (Components leading = Strings::Split(path, Separators); !leading.empty(); leading.pop_back()) {
        if (const auto found = m_overrides.find(leading); found != m_overrides.end()) {
            path = Combine(found->second, dropped);
            return;
        }
        dropped = dropped.empty() ? leading.back() : leading.back() + L"\\" + dropped;
    }
}

std::wstring DataDirectory::ResolvePath(std::wstring_view path) const
{
    std::wstring resolved = ExpandEnvironment(std::wstring(path));
    if (IsRelative(resolved))
        Redirect(resolved);
    if (IsRelative(resolved))
        resolved = Combine(m_base, resolved);
    return resolved;
}
