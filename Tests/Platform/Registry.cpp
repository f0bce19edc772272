#include "Common/Foundation/Handles.h"
#include "Platform/Testing/TestRegistry.h"

#include <gmock/gmock.h>
#include <map>

namespace
{

UniqueRegistryKey Open(const wchar_t* subKey, HKEY root, LSTATUS expected)
{
    HKEY key = nullptr;
    EXPECT_EQ(RegOpenKeyExW(root, subKey, 0, KEY_READ, &key), expected) << testing::PrintToString(subKey);
    return UniqueRegistryKey(key);
}

// The type and the text of a value, or "status: size" when it cannot be had.
std::wstring Query(const UniqueRegistryKey& key, const wchar_t* name, DWORD size = 100)
{
    wchar_t data[50] = L"";
    DWORD type = 0;
    const LSTATUS status = RegQueryValueExW(key.get(), name, nullptr, &type, reinterpret_cast<BYTE*>(data), &size);
    if (status != ERROR_SUCCESS)
        return std::to_wstring(status) + L": " + std::to_wstring(size / sizeof(wchar_t));
    EXPECT_EQ(size, type == REG_DWORD ? 4 : (std::wstring(data).size() + 1) * sizeof(wchar_t));
    return std::to_wstring(type) + L' ' + data;
}

} // namespace

TEST(Registry, ValuesAreFoundByNameAndListed)
{
    TestRegistryKey registry;
    registry.Add(L"", L"default");
    registry.Add(L"Logs\\Sub", L" D:\\logs = x ");
    registry.Add(L"Expand", L"%TEMP%\\x", REG_EXPAND_SZ);
    registry.Add(L"N", L"65", REG_DWORD);
    const auto key = Open(TestRegistryKey::SubKey(), HKEY_CURRENT_USER, ERROR_SUCCESS);
    EXPECT_EQ(Query(key, L"LOGS\\sub"), L"1  D:\\logs = x ") << "whatever the case";
    EXPECT_EQ(Query(key, nullptr), L"1 default");
    EXPECT_EQ(Query(key, L"", 3), L"234: 8") << "the size needed";
    EXPECT_EQ(Query(key, L"Log").substr(0, 3), L"2: ");

    std::map<std::wstring, std::wstring> values;
    wchar_t name[10];
    DWORD length = 10;
    const auto get = [&](DWORD i) {
        return RegEnumValueW(key.get(), i, name, &length, nullptr, nullptr, nullptr, nullptr);
    };
    for (DWORD i = 0; get(i) == ERROR_SUCCESS; ++i) {
        values[name] = Query(key, name);
        EXPECT_EQ(length, std::wstring(name).size());
        EXPECT_EQ(get(i), LSTATUS{ERROR_MORE_DATA}) << "no room for the terminator";
        length = 10;
    }
    EXPECT_EQ(get(4), LSTATUS{ERROR_NO_MORE_ITEMS});
    using testing::Pair;
    EXPECT_THAT(values, testing::ElementsAre(Pair(L"", L"1 default"), Pair(L"Expand", L"2 %TEMP%\\x"),
                                             Pair(L"Logs\\Sub", L"1  D:\\logs = x "), Pair(L"N", L"4 A")));
}

TEST(Registry, KeysAreFoundByPath)
{
    {
        const TestRegistryKey registry;
        Open(L"SOFTWARE\\kestrinetests\\", HKEY_CURRENT_USER, ERROR_SUCCESS);
        Open(L"Software", HKEY_CURRENT_USER, ERROR_SUCCESS);
        Open(L"Software/KestrineTests", HKEY_CURRENT_USER, ERROR_FILE_NOT_FOUND);
        Open(L"Software\\KestrineTest", HKEY_CURRENT_USER, ERROR_FILE_NOT_FOUND);
        Open(TestRegistryKey::SubKey(), HKEY_LOCAL_MACHINE, ERROR_FILE_NOT_FOUND);
        Open(L"x", nullptr, ERROR_INVALID_HANDLE);
    }
    Open(TestRegistryKey::SubKey(), HKEY_CURRENT_USER, ERROR_FILE_NOT_FOUND);
}
