#include "Common/Settings/DataDirectory.h"

#include "Common/ErrorHandling/HResult.h"
#include "Common/Foundation/ModuleFile.h"
#include "Common/Foundation/Singleton.h"
#include "Common/Foundation/Strings.h"
#include "Platform/Files.h"
#include "Platform/Settings.h"

#include <algorithm>

namespace
{

constexpr std::wstring_view Separators = L"\\/";

bool IsSeparator(wchar_t c)
{
    return Separators.find(c) != std::wstring_view::npos;
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
    std::wstring joined;
    CheckHResult(Platform::JoinPath(directory, file, joined));
    return joined;
}

// The path may start with the name of a root and a separator; otherwise it lies below HKEY_LOCAL_MACHINE.
std::map<std::wstring, std::wstring> ReadRegistryTexts(const std::wstring& keyPath)
{
    const std::size_t end = std::min(keyPath.find_first_of(Separators), keyPath.size());
    const std::wstring rootName = keyPath.substr(0, end);
    const std::wstring below = keyPath.substr(std::min(end + 1, keyPath.size()));
    if (end < keyPath.size() && (rootName == L"HKCU" || rootName == L"HKEY_CURRENT_USER"))
        return Platform::RegistryTexts(Platform::RegistryRoot::CurrentUser, below);
    const bool named = end < keyPath.size() && (rootName == L"HKLM" || rootName == L"HKEY_LOCAL_MACHINE");
    return Platform::RegistryTexts(Platform::RegistryRoot::LocalMachine, named ? below : keyPath);
}

} // namespace

bool DataDirectory::ComponentsNoCaseLess::operator()(const Components& a, const Components& b) const
{
    return std::lexicographical_compare(
        a.begin(), a.end(), b.begin(), b.end(),
        [](const std::wstring& x, const std::wstring& y) { return Strings::ToLower(x) < Strings::ToLower(y); });
}

DataDirectory::DataDirectory()
    : DataDirectory(SettingsStore::Instance(), std::wstring(ModuleFile::DirectoryOf(ModuleFile::Path())))
{}

DataDirectory::DataDirectory(SettingsStore& store, const std::wstring& moduleDirectory)
{
    std::wstring configured;
    ReadGeneralSetting(store, L"DataDirectoryPath", configured);
    configured = Platform::ExpandEnvironment(configured);
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
        std::wstring directory = Platform::ExpandEnvironment(text);
        EndInSeparator(directory);
        m_overrides[Strings::Split(Platform::ExpandEnvironment(name), Separators)] = std::move(directory);
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
    std::wstring resolved = Platform::ExpandEnvironment(std::wstring(path));
    if (IsRelative(resolved))
        Redirect(resolved);
    if (IsRelative(resolved))
        resolved = Combine(m_base, resolved);
    return resolved;
}
