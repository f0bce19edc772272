// Registry values for tests.
#pragma once

#include "Platform/Settings.h"
#include "Platform/Testing/TemporaryFolder.h"

#include <string>

// While it lives, the key SubKey() of a root has the values that were added. One at a time; natively it is the whole
// registry. Operations throw std::runtime_error when the key cannot be written.
class TestRegistryKey
{
public:
    explicit TestRegistryKey(Platform::RegistryRoot root = Platform::RegistryRoot::CurrentUser);
    ~TestRegistryKey();
    TestRegistryKey(const TestRegistryKey&) = delete;
    TestRegistryKey& operator=(const TestRegistryKey&) = delete;

    // Of this process: other test programs run at the same time.
    static std::wstring SubKey() { return L"Software\\KestrineTests-" + std::to_wstring(Platform::ProcessId()); }

    enum Type
    {
        PlainText = 1,
        ExpandableText = 2,
        Number = 4
    };

    // Adds a value; an empty name is the key's default value. A number is given as decimal text.
    void Add(const std::wstring& name, const std::wstring& text, Type type = PlainText);

private:
    const Platform::RegistryRoot m_root;
    TemporaryFolder m_folder;
};
