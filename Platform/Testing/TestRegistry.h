// Registry values for tests.
#pragma once

#include "Platform/Testing/TemporaryFolder.h"
#include "Platform/Win32.h"

#include <string>

// While it lives, this process's HKEY_CURRENT_USER has nothing but the key SubKey(), with the values that were added.
// One at a time; natively it is the whole registry. Operations throw std::runtime_error when the key cannot be written.
class TestRegistryKey
{
public:
    TestRegistryKey();
    ~TestRegistryKey();
    TestRegistryKey(const TestRegistryKey&) = delete;
    TestRegistryKey& operator=(const TestRegistryKey&) = delete;

    static const wchar_t* SubKey() { return L"Software\\KestrineTests"; }

    // Adds a value; an empty name is the key's default value. `type`: REG_SZ, REG_EXPAND_SZ, or REG_DWORD with a
    // decimal number as text. Keys that were opened before need not see it.
    void Add(const std::wstring& name, const std::wstring& text, DWORD type = REG_SZ);

private:
    TemporaryFolder m_folder;
};
