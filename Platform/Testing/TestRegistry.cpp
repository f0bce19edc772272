#include "Platform/Testing/TestRegistry.h"

#include "Platform/Settings.h"
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

TestRegistryKey::TestRegistryKey() = default;

TestRegistryKey::~TestRegistryKey()
{
    RegDeleteTreeW(HKEY_CURRENT_USER, SubKey().c_str());
}

void TestRegistryKey::Add(const std::wstring& name, const std::wstring& text, Type type)
{
    const DWORD number = type == Number ? std::stoul(text) : 0;
    const void* const data = type == Number ? static_cast<const void*>(&number) : text.c_str();
    const std::size_t size = type == Number ? sizeof(number) : (text.size() + 1) * sizeof(wchar_t);
    Require(RegSetKeyValueW(HKEY_CURRENT_USER, SubKey().c_str(), name.c_str(), static_cast<DWORD>(type), data,
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
