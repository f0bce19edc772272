// Registry values for tests.
#pragma once

#include "Platform/Process.h"
#include "Platform/Settings.h"
#ifdef _WIN32
#include <stdexcept>
#include <windows.h>
#else
#include "Platform/Testing/TemporaryFolder.h"
#include "Platform/Text.h"

#include <fstream>
#endif

// While it lives, the key SubKey() of a root has the values that were added. One at a time; natively it is the whole
// registry.
class TestRegistryKey
{
public:
    explicit TestRegistryKey(Platform::RegistryRoot root = Platform::RegistryRoot::CurrentUser)
#ifdef _WIN32
        : m_root(root == Platform::RegistryRoot::LocalMachine ? HKEY_LOCAL_MACHINE : HKEY_CURRENT_USER)
    {}
    ~TestRegistryKey()
    {
        RegDeleteTreeW(m_root, SubKey().c_str());
    }
#else
    {
        Platform::SetVariable(L"KESTRINE_REGISTRY_FILE", (m_folder.Path() / "registry").wstring().c_str());
        m_file << (root == Platform::RegistryRoot::LocalMachine ? "[HKLM\\" : "[HKCU\\") << Text::ToUtf8(SubKey())
               << "]\n";
    }
    ~TestRegistryKey()
    {
        Platform::SetVariable(L"KESTRINE_REGISTRY_FILE", nullptr);
    }
#endif
    TestRegistryKey(const TestRegistryKey&) = delete;
    TestRegistryKey& operator=(const TestRegistryKey&) = delete;

    // Of this process: other test programs run at the same time.
    static std::wstring SubKey()
    {
        return L"Software\\KestrineTests-" + std::to_wstring(Platform::ProcessId());
    }

    enum Type // the system's numbers
    {
        PlainText = 1,
        ExpandableText = 2,
        Binary = 3
    };

    // Adds a value; an empty name is the key's default value. Natively there are texts only, and no others are added.
    void Add(const std::wstring& name, const std::wstring& text, Type type = PlainText)
    {
#ifdef _WIN32
        const auto size = static_cast<DWORD>((text.size() + 1) * sizeof(wchar_t));
        if (RegSetKeyValueW(m_root, SubKey().c_str(), name.c_str(), type, text.c_str(), size) != ERROR_SUCCESS)
            throw std::runtime_error("cannot write the test's registry key");
#else
        if (type != Binary)
            m_file << Text::ToUtf8(name) << '=' << Text::ToUtf8(text) << std::endl;
#endif
    }

private:
#ifdef _WIN32
    const HKEY m_root;
#else
    TemporaryFolder m_folder;
    std::ofstream m_file{m_folder.Path() / "registry"};
#endif
};
