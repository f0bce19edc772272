#include "Platform/Testing/TestRegistry.h"

#include "Platform/Settings.h"
#include "Platform/Text.h"

#include <fstream>
#include <memory>
#include <stdexcept>

namespace
{

void Require(bool done)
{
    if (!done)
        throw std::runtime_error("cannot write the test's registry key");
}

} // namespace

#ifdef _WIN32

#include <windows.h>

namespace
{

using UniqueKey = std::unique_ptr<HKEY__, decltype(&RegCloseKey)>;

UniqueKey Create(const std::wstring& name)
{
    HKEY key = nullptr;
    Require(RegCreateKeyExW(HKEY_CURRENT_USER, name.c_str(), 0, nullptr, REG_OPTION_VOLATILE, KEY_ALL_ACCESS, nullptr,
                            &key, nullptr) == ERROR_SUCCESS);
    return {key, &RegCloseKey};
}

// Other test programs run at the same time.
std::wstring ProcessKey()
{
    return L"Software\\KestrineTests-" + std::to_wstring(GetCurrentProcessId());
}

} // namespace

TestRegistryKey::TestRegistryKey()
{
    RegDeleteTreeW(HKEY_CURRENT_USER, ProcessKey().c_str());
    Require(RegOverridePredefKey(HKEY_CURRENT_USER, Create(ProcessKey()).get()) == ERROR_SUCCESS);
    Create(SubKey());
}

TestRegistryKey::~TestRegistryKey()
{
    RegOverridePredefKey(HKEY_CURRENT_USER, nullptr);
    RegDeleteTreeW(HKEY_CURRENT_USER, ProcessKey().c_str());
}

void TestRegistryKey::Add(const std::wstring& name, const std::wstring& text, Type type)
{
    const UniqueKey key = Create(SubKey());
    const DWORD number = type == Number ? std::stoul(text) : 0;
    const std::size_t size = type == Number ? sizeof(number) : (text.size() + 1) * sizeof(wchar_t);
    const void* const data = type == Number ? static_cast<const void*>(&number) : text.c_str();
    Require(RegSetValueExW(key.get(), name.c_str(), 0, static_cast<DWORD>(type), static_cast<const BYTE*>(data),
                           static_cast<DWORD>(size)) == ERROR_SUCCESS);
}

#else

TestRegistryKey::TestRegistryKey()
{
    const std::filesystem::path file = m_folder.Path() / "registry";
    std::ofstream(file) << "[HKCU\\" + Text::ToUtf8(SubKey()) + "]\n";
    Require(Platform::SetVariable(L"KESTRINE_REGISTRY_FILE", file.wstring().c_str()) >= 0);
}

TestRegistryKey::~TestRegistryKey()
{
    Platform::SetVariable(L"KESTRINE_REGISTRY_FILE", nullptr);
}

void TestRegistryKey::Add(const std::wstring& name, const std::wstring& text, Type type)
{
    const char* const typeName = type == Number           ? " = REG_DWORD:"
                                 : type == ExpandableText ? " = REG_EXPAND_SZ:"
                                                          : " = REG_SZ:";
    std::ofstream file(m_folder.Path() / "registry", std::ios::app);
    file << (name.empty() ? "@" : Text::ToUtf8(name)) << typeName << Text::ToUtf8(text) << '\n';
    Require(static_cast<bool>(file.flush()));
}

#endif
