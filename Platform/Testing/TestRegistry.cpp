#include "Platform/Testing/TestRegistry.h"

#include "Platform/Text.h"

#include <fstream>
#include <stdexcept>
#ifdef _WIN32
#include <windows.h>
#endif

namespace
{

void Require(bool done)
{
    if (!done)
        throw std::runtime_error("cannot write the test's registry key");
}

} // namespace

#ifdef _WIN32

static HKEY RootKey(Platform::RegistryRoot root)
{
    return root == Platform::RegistryRoot::LocalMachine ? HKEY_LOCAL_MACHINE : HKEY_CURRENT_USER;
}

TestRegistryKey::TestRegistryKey(Platform::RegistryRoot root) : m_root(root) {}

TestRegistryKey::~TestRegistryKey()
{
    RegDeleteTreeW(RootKey(m_root), SubKey().c_str());
}

void TestRegistryKey::Add(const std::wstring& name, const std::wstring& text, Type type)
{
    const DWORD number = type == Number ? std::stoul(text) : 0;
    const void* const data = type == Number ? static_cast<const void*>(&number) : text.c_str();
    const std::size_t size = type == Number ? sizeof(number) : (text.size() + 1) * sizeof(wchar_t);
    Require(RegSetKeyValueW(RootKey(m_root), SubKey().c_str(), name.c_str(), static_cast<DWORD>(type), data,
                            static_cast<DWORD>(size)) == ERROR_SUCCESS);
}

#else

TestRegistryKey::TestRegistryKey(Platform::RegistryRoot root) : m_root(root)
{
    const std::filesystem::path file = m_folder.Path() / "registry";
    const char* const rootName = m_root == Platform::RegistryRoot::LocalMachine ? "HKLM" : "HKCU";
    std::ofstream(file) << std::string("[") + rootName + '\\' + Text::ToUtf8(SubKey()) + "]\n";
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
