#include "Platform/Testing/TestRegistry.h"

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

TestRegistryKey::TestRegistryKey()
{
    HKEY key = nullptr;
    RegDeleteTreeW(HKEY_CURRENT_USER, SubKey());
    Require(RegCreateKeyExW(HKEY_CURRENT_USER, SubKey(), 0, nullptr, REG_OPTION_VOLATILE, KEY_WRITE, nullptr, &key,
                            nullptr) == ERROR_SUCCESS);
    RegCloseKey(key);
}

TestRegistryKey::~TestRegistryKey()
{
    RegDeleteTreeW(HKEY_CURRENT_USER, SubKey());
}

void TestRegistryKey::Add(const std::wstring& name, const std::wstring& text, DWORD type)
{
    HKEY key = nullptr;
    Require(RegOpenKeyExW(HKEY_CURRENT_USER, SubKey(), 0, KEY_WRITE, &key) == ERROR_SUCCESS);
    const std::unique_ptr<HKEY__, decltype(&RegCloseKey)> owner(key, &RegCloseKey);
    const DWORD number = type == REG_DWORD ? std::stoul(text) : 0;
    const std::size_t size = type == REG_DWORD ? sizeof(number) : (text.size() + 1) * sizeof(wchar_t);
    const void* const data = type == REG_DWORD ? static_cast<const void*>(&number) : text.c_str();
    Require(RegSetValueExW(key, name.c_str(), 0, type, static_cast<const BYTE*>(data), static_cast<DWORD>(size)) ==
            ERROR_SUCCESS);
}

#else

TestRegistryKey::TestRegistryKey()
{
    const std::filesystem::path file = m_folder.Path() / "registry";
    std::ofstream(file) << "[HKCU\\" + Text::ToUtf8(SubKey()) + "]\n";
    Require(SetEnvironmentVariableW(L"KESTRINE_REGISTRY_FILE", file.wstring().c_str()));
}

TestRegistryKey::~TestRegistryKey()
{
    SetEnvironmentVariableW(L"KESTRINE_REGISTRY_FILE", nullptr);
}

void TestRegistryKey::Add(const std::wstring& name, const std::wstring& text, DWORD type)
{
    const char* const typeName = type == REG_DWORD       ? " = REG_DWORD:"
                                 : type == REG_EXPAND_SZ ? " = REG_EXPAND_SZ:"
                                                         : " = REG_SZ:";
    std::ofstream file(m_folder.Path() / "registry", std::ios::app);
    file << (name.empty() ? "@" : Text::ToUtf8(name)) << typeName << Text::ToUtf8(text) << '\n';
    Require(static_cast<bool>(file.flush()));
}

#endif
