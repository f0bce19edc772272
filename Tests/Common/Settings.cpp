#include "Common/Diagnostics/DataDirectory.h"
#include "Common/Diagnostics/EnvironmentSettingsSource.h"
#include "Common/Diagnostics/IniSettingsSource.h"
#include "Common/Diagnostics/SettingsSection.h"
#include "Platform/Testing/TemporaryFolder.h"
#include "Platform/Testing/TestRegistry.h"
#include "Tests/Support/ManualClock.h"
#include "Tests/Support/TestEnvironment.h"

#include <algorithm>
#include <fstream>
#include <gtest/gtest.h>

namespace
{

constexpr HRESULT NotFound = HResultFromWin32(ERROR_NOT_FOUND);

void WriteFile(const std::filesystem::path& path, const char* text)
{
    std::ofstream(path, std::ios::binary) << text;
}

std::wstring Wide(const std::filesystem::path& path)
{
    return path.wstring();
}

std::wstring Backslashes(std::wstring path)
{
    std::replace(path.begin(), path.end(), L'/', L'\\');
    return path;
}

struct AbortingSource : MapSource
{
    HRESULT GetString(const wchar_t*, const wchar_t*, std::wstring&) override { return E_ABORT; }
};

} // namespace

TEST(SettingsStore, AsksTheLastSourceFirstAndStopsAtAnAbort)
{
    const auto first = std::make_shared<MapSource>();
    const auto last = std::make_shared<MapSource>();
    first->values = {{L"S/a", L"first"}, {L"S/b", L"first"}, {L"General/c", L"general"}};
    last->values = {{L"S/a", L"last"}};
    SettingsStore store({first, last});

    std::wstring value;
    EXPECT_EQ(store.GetString(L"S", L"a", value), S_OK);
    EXPECT_EQ(value, L"last");
    EXPECT_EQ(store.GetString(L"S", L"b", value), S_OK);
    EXPECT_EQ(value, L"first");
    EXPECT_EQ(store.GetString(nullptr, L"c", value), S_OK);
    EXPECT_EQ(value, L"general");
    EXPECT_EQ(store.GetString(L"S", L"missing", value), NotFound);

    store.AddSource(std::make_shared<AbortingSource>());
    EXPECT_EQ(store.GetString(L"S", L"a", value), E_ABORT);
}

TEST(SettingsStore, ReadsNumbersInThreeBasesAndRefusesEverythingElse)
{
    TestSettings settings;
    const auto read = [&](const wchar_t* text) {
        settings[L"S/n"] = text;
        std::uint32_t value = 0xBAD;
        const HRESULT hr = settings.store.GetDword(L"S", L"n", value);
        return std::pair(hr, value);
    };
    using Answer = std::pair<HRESULT, std::uint32_t>;
    EXPECT_EQ(read(L"1024"), Answer(S_OK, 1024));
    EXPECT_EQ(read(L"0x10"), Answer(S_OK, 16));
    EXPECT_EQ(read(L"010"), Answer(S_OK, 8));
    EXPECT_EQ(read(L"0"), Answer(S_OK, 0));
    EXPECT_EQ(read(L"4294967295"), Answer(S_OK, 0xFFFFFFFF));
    for (const wchar_t* text : {L"", L"12abc", L"abc", L"-1", L"4294967296", L"0x", L"1 2"})
        EXPECT_EQ(read(text).first, E_INVALIDARG) << testing::PrintToString(text);
}

TEST(IniSettings, CandidateFilesStandBesideProcessAndModule)
{
    const IniSettingsSource both(L"C:\\host\\service.exe", L"D:/mod/Kestrine.dll");
    EXPECT_EQ(both.CandidateFiles(), (std::vector<std::wstring>{L"C:\\host\\service.ini", L"C:\\host\\Kestrine.ini",
                                                                L"C:\\host\\GlobalSettings.ini", L"D:/mod/Kestrine.ini",
                                                                L"D:/mod/GlobalSettings.ini"}));
    const IniSettingsSource sameFolder(L"C:\\host\\service.exe", L"C:\\host\\Kestrine.dll");
    EXPECT_EQ(sameFolder.CandidateFiles().size(), 3U);
    const IniSettingsSource noModule(L"C:\\host\\service.exe", L"");
    EXPECT_EQ(noModule.CandidateFiles(),
              (std::vector<std::wstring>{L"C:\\host\\service.ini", L"C:\\host\\GlobalSettings.ini"}));
}

TEST(IniSettings, EmptyValuesLetTheNextFileAnswerAndTheNamedFileComesFirst)
{
    const TemporaryFolder folder;
    WriteFile(folder.Path() / "service.ini", "[Logger]\r\nPath=\r\nLong=service  \r\n");
    WriteFile(folder.Path() / "GlobalSettings.ini", "[Logger]\r\nPath=global\r\n[General]\r\nKey=general\r\n");
    WriteFile(folder.Path() / "named.ini", "[Logger]\r\nLong=named\r\n");
    IniSettingsSource source(Backslashes(Wide(folder.Path() / "service.exe")), L"");

    std::wstring value;
    EXPECT_EQ(source.GetString(L"logger", L"PATH", value), S_OK);
    EXPECT_EQ(value, L"global");
    EXPECT_EQ(source.GetString(L"Logger", L"Long", value), S_OK);
    EXPECT_EQ(value, L"service");
    EXPECT_EQ(source.GetString(nullptr, L"Key", value), S_OK);
    EXPECT_EQ(value, L"general");
    EXPECT_EQ(source.GetString(L"Logger", L"Missing", value), NotFound);

    const ScopedVariable named(L"GLOBAL_SETTINGS_INI", Wide(folder.Path() / "named.ini"));
    EXPECT_EQ(source.GetString(L"Logger", L"Long", value), S_OK);
    EXPECT_EQ(value, L"named");
    EXPECT_EQ(source.GetString(L"Logger", L"Path", value), S_OK) << "the named file lacks the key";
    EXPECT_EQ(value, L"global");

    // Longer than the first two buffers.
    const std::string longText(700, 'x');
    WriteFile(folder.Path() / "service.ini", ("[Logger]\r\nLong=" + longText + "\r\n").c_str());
    WriteFile(folder.Path() / "named.ini", "");
    EXPECT_EQ(source.GetString(L"Logger", L"Long", value), S_OK) << "files are read anew";
    EXPECT_EQ(value, std::wstring(700, L'x'));
}

TEST(EnvironmentSettings, DefinedVariablesAnswerEvenWhenEmpty)
{
    const ScopedVariable set(L"GS_Logger_MaxSeverity", L"WARN \t");
    const ScopedVariable general(L"GS_General_Empty", L" ");
    EnvironmentSettingsSource source;
    std::wstring value = L"before";
    EXPECT_EQ(source.GetString(L"Logger", L"MaxSeverity", value), S_OK);
    EXPECT_EQ(value, L"WARN");
    EXPECT_EQ(source.GetString(nullptr, L"Empty", value), S_OK);
    EXPECT_EQ(value, L"");
    EXPECT_EQ(source.GetString(L"Logger", L"Undefined", value), NotFound);
}

TEST(SettingsStore, EnvironmentBeatsIniFiles)
{
    const TemporaryFolder folder;
    WriteFile(folder.Path() / "g.ini", "[General]\nDataDirectoryPath=fromini\nOther=fromini\n");
    const ScopedVariable named(L"GLOBAL_SETTINGS_INI", Wide(folder.Path() / "g.ini"));
    const ScopedVariable variable(L"GS_General_DataDirectoryPath", L"fromenvironment");
    SettingsStore store;
    std::wstring value;
    EXPECT_TRUE(ReadGeneralSetting(store, L"DataDirectoryPath", value));
    EXPECT_EQ(value, L"fromenvironment");
    EXPECT_TRUE(ReadGeneralSetting(store, L"Other", value));
    EXPECT_EQ(value, L"fromini");
}

TEST(SettingsSection, RemembersFoundAndMissingKeysUntilReload)
{
    TestSettings settings;
    settings[L"Logger/Text"] = L"one";
    settings[L"Logger/Number"] = L"12abc";
    SettingsSection section(settings.store, L"Logger");
    std::wstring value;
    for (int i = 0; i < 3; ++i) {
        EXPECT_EQ(section.GetString(L"Text", value), S_OK);
        EXPECT_EQ(section.GetString(L"Missing", value), NotFound);
        EXPECT_EQ(section.GetUInt32(L"Number", 77), 77U) << "unreadable numbers count as missing";
    }
    EXPECT_EQ(settings.source->questions, 3);

    settings[L"Logger/Text"] = L"two";
    settings[L"Logger/Number"] = L"12";
    EXPECT_EQ(section.GetString(L"Text", value), S_OK);
    EXPECT_EQ(value, L"one");
    section.Reload();
    EXPECT_EQ(section.GetString(L"Text", value), S_OK);
    EXPECT_EQ(value, L"two");
    EXPECT_EQ(section.GetUInt32(L"Number", 77), 12U);
}

TEST(SettingsSection, ReloadsByItselfAfterItsInterval)
{
    ManualClock clock;
    TestSettings settings;
    settings[L"S/Text"] = L"one";
    SettingsSection section(settings.store, L"S", 1000);
    std::wstring value;
    section.GetString(L"Text", value);
    settings[L"S/Text"] = L"two";
    clock.Advance(std::chrono::milliseconds(1000));
    section.GetString(L"Text", value);
    EXPECT_EQ(value, L"one") << "exactly the interval is not more than it";
    clock.Advance(std::chrono::milliseconds(1));
    section.GetString(L"Text", value);
    EXPECT_EQ(value, L"two");
}

TEST(DataDirectory, TakesItsBaseFromTheSettingsOrTheModule)
{
    const std::wstring moduleDirectory = L"C:\\module\\";
    const auto base = [&](const wchar_t* configured) {
        TestSettings settings;
        if (configured)
            settings[L"General/DataDirectoryPath"] = configured;
        return DataDirectory(settings.store, moduleDirectory).Base();
    };
    const ScopedVariable variable(L"KESTRINE_TEST_DIRECTORY", L"C:\\expanded");
    EXPECT_EQ(base(nullptr), L"C:\\module\\");
    EXPECT_EQ(base(L""), L"C:\\module\\");
    EXPECT_EQ(base(L"data"), L"C:\\module\\data\\");
    EXPECT_EQ(base(L"C:\\data"), L"C:\\data\\");
    EXPECT_EQ(base(L"/srv/data/"), L"/srv/data/");
    EXPECT_EQ(base(L"%KESTRINE_TEST_DIRECTORY%\\x"), L"C:\\expanded\\x\\");
}

TEST(DataDirectory, RegistryValuesRedirectPathPrefixes)
{
    TestRegistryKey key;
    key.Add(L"Logs", L"D:\\logs");
    key.Add(L"reports\\OLD", L"E:\\archive", REG_EXPAND_SZ);
    key.Add(L"number", L"7", REG_DWORD);
    TestSettings settings;
    settings[L"General/DataDirectoryPath"] = L"C:\\data";
    settings[L"General/DataDirectoryPathOverrideRegKey"] = std::wstring(L"HKCU\\") + TestRegistryKey::SubKey();
    const DataDirectory directory(settings.store, L"C:\\module\\");
    EXPECT_EQ(directory.ResolvePath(L"logs\\"), L"D:\\logs\\");
    EXPECT_EQ(directory.ResolvePath(L"LOGS/sub\\file.log"), L"D:\\logs\\sub\\file.log");
    EXPECT_EQ(directory.ResolvePath(L"Reports\\old\\x"), L"E:\\archive\\x");
    EXPECT_EQ(directory.ResolvePath(L"Reports\\new"), L"C:\\data\\Reports\\new");
    EXPECT_EQ(directory.ResolvePath(L"\\Logs"), L"\\Logs") << "absolute paths are not redirected";
    EXPECT_EQ(directory.ResolvePath(L"number"), L"C:\\data\\number") << "only texts count";
}

TEST(DataDirectory, AValueWithoutNameMovesTheWholeDirectory)
{
    TestRegistryKey key;
    key.Add(L"", L"F:\\moved");
    TestSettings settings;
    settings[L"General/DataDirectoryPathOverrideRegKey"] =
        std::wstring(L"HKEY_CURRENT_USER/") + TestRegistryKey::SubKey();
    EXPECT_EQ(DataDirectory(settings.store, L"C:\\module\\").Base(), L"F:\\moved\\");
    EXPECT_EQ(DataDirectory(settings.store, L"C:\\module\\").ResolvePath(L"x"), L"F:\\moved\\x");

    settings[L"General/DataDirectoryPathOverrideRegKey"] = L"HKCU\\Software\\KestrineTests\\Absent";
    EXPECT_EQ(DataDirectory(settings.store, L"C:\\module\\").Base(), L"C:\\module\\");
}
