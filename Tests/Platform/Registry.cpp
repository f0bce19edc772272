#include "Platform/Testing/TestRegistry.h"

#include <gtest/gtest.h>
#include <map>
#include <memory>

namespace
{

using Key = std::unique_ptr<HKEY__, decltype(&RegCloseKey)>;

Key Open(const wchar_t* subKey, LSTATUS expected = ERROR_SUCCESS, HKEY root = HKEY_CURRENT_USER)
{
    HKEY key = nullptr;
    EXPECT_EQ(RegOpenKeyExW(root, subKey, 0, KEY_READ, &key), expected);
    return {key, &RegCloseKey};
}

// The text of a value, or "status: size" when it cannot be had.
std::wstring Query(const Key& key, const wchar_t* name, DWORD type = REG_SZ, DWORD size = 100)
{
    wchar_t data[50] = L"";
    DWORD found = type;
    const LSTATUS status = RegQueryValueExW(key.get(), name, nullptr, &found, reinterpret_cast<BYTE*>(data), &size);
    EXPECT_EQ(found, type);
    if (status != ERROR_SUCCESS)
        return std::to_wstring(status) + L": " + std::to_wstring(size / sizeof(wchar_t));
    EXPECT_EQ(size, (std::wstring(data).size() + 1) * sizeof(wchar_t));
    return data;
}

constexpr LSTATUS moreData = ERROR_MORE_DATA;

} // namespace

TEST(Registry, ValuesAreFoundByNameWhateverItsCase)
{
    TestRegistryKey registry;
    registry.Add(L"", L"default");
    registry.Add(L"Logs\\Sub", L" D:\\logs = x ");
    registry.Add(L"Expand", L"%TEMP%\\x", REG_EXPAND_SZ);
    registry.Add(L"Empty", L"");
    const Key key = Open(TestRegistryKey::SubKey());
    EXPECT_EQ(Query(key, L"Logs\\Sub"), L" D:\\logs = x ");
    EXPECT_EQ(Query(key, L"LOGS\\sub"), L" D:\\logs = x ");
    EXPECT_EQ(Query(key, nullptr), L"default");
    EXPECT_EQ(Query(key, L""), L"default");
    EXPECT_EQ(Query(key, L"Expand", REG_EXPAND_SZ), L"%TEMP%\\x");
    EXPECT_EQ(Query(key, L"Empty"), L"");
    EXPECT_EQ(Query(key, L"Log").substr(0, 3), L"2: ");
    EXPECT_EQ(Query(key, L"", REG_SZ, 3), L"234: 8") << "too small: the size needed";
}

TEST(Registry, EnumerationGivesEveryValueOnce)
{
    TestRegistryKey registry;
    registry.Add(L"", L"d");
    registry.Add(L"Five5", L"text");
    registry.Add(L"N", L"70000", REG_DWORD);
    const Key key = Open(TestRegistryKey::SubKey());
    std::map<std::wstring, DWORD> types;
    wchar_t name[10];
    DWORD type = 0;
    DWORD length = 10;
    for (DWORD i = 0; RegEnumValueW(key.get(), i, name, &length, nullptr, &type, nullptr, nullptr) == ERROR_SUCCESS;
         ++i) {
        types[name] = type;
        EXPECT_EQ(length, std::wstring(name).size());
        EXPECT_EQ(RegEnumValueW(key.get(), i, name, &length, nullptr, nullptr, nullptr, nullptr), moreData)
            << "no room for the terminator";
        length = 10;
    }
    EXPECT_EQ(RegEnumValueW(key.get(), 3, name, &length, nullptr, nullptr, nullptr, nullptr),
              static_cast<LSTATUS>(ERROR_NO_MORE_ITEMS));
    EXPECT_EQ(types, (std::map<std::wstring, DWORD>{{L"", REG_SZ}, {L"Five5", REG_SZ}, {L"N", REG_DWORD}}));
    DWORD number = 0;
    DWORD size = sizeof(number);
    auto* const data = reinterpret_cast<BYTE*>(&number);
    EXPECT_EQ(RegQueryValueExW(key.get(), L"N", nullptr, nullptr, data, &size), ERROR_SUCCESS);
    EXPECT_EQ(number, 70000U);
}

TEST(Registry, KeysAreFoundByPath)
{
    constexpr LSTATUS notFound = ERROR_FILE_NOT_FOUND;
    {
        TestRegistryKey registry;
        registry.Add(L"Name", L"text");
        EXPECT_EQ(Query(Open(L"SOFTWARE\\kestrinetests\\"), L"Name"), L"text");
        Open(L"Software");
        Open(L"");
        Open(L"Software/KestrineTests", notFound);
        Open(L"Software\\KestrineTest", notFound);
        Open(TestRegistryKey::SubKey(), notFound, HKEY_LOCAL_MACHINE);
        Open(L"x", ERROR_INVALID_HANDLE, nullptr);
    }
    Open(TestRegistryKey::SubKey(), notFound);
    EXPECT_EQ(RegCloseKey(HKEY_CURRENT_USER), ERROR_SUCCESS);
    EXPECT_EQ(RegCloseKey(nullptr), static_cast<LSTATUS>(ERROR_INVALID_HANDLE));
}
