#include "Common/Foundation/Strings.h"
#include "Common/Settings/DataDirectory.h"
#include "Common/Settings/SettingsSection.h"
#include "Common/Settings/SettingsSources.h"
#include "Platform/Testing/Process.h"
#include "Platform/Testing/TemporaryFolder.h"
#include "Platform/Testing/TestRegistry.h"
#include "Tests/Support/CodeOf.h"
#include "Tests/Support/ManualClock.h"
#include "Tests/Support/TestEnvironment.h"

#include <fstream>
#include <gtest/gtest.h>
#include <regex>

namespace
{

// The file's path with the separators of Windows.
std::wstring Write(const TemporaryFolder& folder, const wchar_t* name, const std::string& text)
{
    std::ofstream(folder.Path() / name, std::ios::binary) << text;
    return std::regex_replace((folder.Path() / name).wstring(), std::wregex(L"/"), L"\\");
}

// What a source or a store answers; "<none>" for 0x80070490.
template <class Settings>
std::wstring Ask(Settings& settings, const wchar_t* section, const wchar_t* key)
{
    std::wstring value = L"before";
    const HRESULT hr = settings.GetString(section, key, value);
    EXPECT_TRUE(hr == S_OK || (hr == NotFound && value == L"before"));
    return hr == S_OK ? value : L"<none>";
}

using Pair = std::pair<const wchar_t*, const wchar_t*>;

} // namespace

TEST(SettingsStore, ReadsNumbersInThreeBasesAndRefusesEverythingElse)
{
    TestSettings settings;
    const auto read = [&](const wchar_t* text) {
        settings[L"S/n"] = text;
        std::uint32_t value = 0xBAD;
        const HRESULT hr = settings.store.GetDword(L"S", L"n", value);
        return hr == S_OK ? std::to_wstring(value) : Strings::Hex(static_cast<std::uint32_t>(hr));
    };
    const Pair numbers[] = {
        {L"1024", L"1024"}, {L"0x10", L"16"}, {L"010", L"8"}, {L"0", L"0"}, {L"4294967295", L"4294967295"}};
    for (const auto& [text, number] : numbers)
        EXPECT_EQ(read(text), number);
    for (const wchar_t* text : {L"", L"12abc", L"abc", L"-1", L"+1", L"4294967296", L"0x", L"1 2"})
        EXPECT_EQ(read(text), L"0x80070057") << testing::PrintToString(text);
}

TEST(IniSettings, CandidateFilesStandBesideProcessAndModule)
{
    using Files = std::vector<std::wstring>;
    const auto files = [](const wchar_t* module) {
        return IniSettingsSource(L"C:\\host\\service.exe", module).CandidateFiles();
    };
    EXPECT_EQ(files(L"D:/mod/Kestrine.dll"),
              (Files{L"C:\\host\\service.ini", L"C:\\host\\Kestrine.ini", L"C:\\host\\GlobalSettings.ini",
                     L"D:/mod/Kestrine.ini", L"D:/mod/GlobalSettings.ini"}));
    EXPECT_EQ(files(L"C:\\host\\Kestrine.dll").size(), 3U) << "in the same folder";
    EXPECT_EQ(files(L""), (Files{L"C:\\host\\service.ini", L"C:\\host\\GlobalSettings.ini"}));
}

TEST(IniSettings, EmptyValuesLetTheNextFileAnswerAndTheNamedFileComesFirst)
{
    const TemporaryFolder folder;
    IniSettingsSource source(Write(folder, L"service.ini", "[Logger]\r\nPath=\r\nLong=service  \r\n"), L"");
    Write(folder, L"GlobalSettings.ini", "[Logger]\r\nPath=global\r\n[General]\r\nKey=general\r\n");
    EXPECT_EQ(Ask(source, L"logger", L"PATH"), L"global");
    EXPECT_EQ(Ask(source, L"Logger", L"Long"), L"service");
    EXPECT_EQ(Ask(source, nullptr, L"Key"), L"general");
    const ScopedVariable named(L"GLOBAL_SETTINGS_INI", Write(folder, L"named.ini", "[Logger]\r\nLong=named\r\n"));
    EXPECT_EQ(Ask(source, L"Logger", L"Long"), L"named");
    EXPECT_EQ(Ask(source, L"Logger", L"Path"), L"global") << "the named file lacks the key";
    Write(folder, L"named.ini", "[Logger]\r\nLong=changed\r\n");
    EXPECT_EQ(Ask(source, L"Logger", L"Long"), L"changed");
}

TEST(EnvironmentSettings, DefinedVariablesAnswerEvenWhenEmptyAndBeforeIniFiles)
{
    const TemporaryFolder folder;
    const std::wstring file = Write(folder, L"g.ini", "[General]\nEmpty=fromini\nOther=fromini\n");
    const ScopedVariable named(L"GLOBAL_SETTINGS_INI", file);
    const ScopedVariable set(L"GS_Logger_MaxSeverity", L"WARN \t");
    const ScopedVariable general(L"GS_General_Empty", L"");
    SettingsStore store;
    EXPECT_EQ(Ask(store, L"Logger", L"MaxSeverity"), L"WARN");
    SetLastFailure(203); // of an earlier question
    EXPECT_EQ(Ask(store, nullptr, L"Empty"), L"");
    EXPECT_EQ(Ask(store, L"General", L"Other"), L"fromini");
    EXPECT_EQ(Ask(store, L"General", L"Missing"), L"<none>");
}

TEST(SettingsSection, RemembersFoundAndMissingKeysUntilReloadOrItsInterval)
{
    ManualClock clock;
    TestSettings settings;
    settings[L"Logger/Number"] = L"12abc";
    SettingsSection manual(settings.store, L"Logger");
    SettingsSection timed(settings.store, L"Logger", 1000);
    const auto expect = [&](SettingsSection& section, const wchar_t* text, std::uint32_t number) {
        for (int i = 0; i < 2; ++i) {
            EXPECT_EQ(section.GetUInt32(L"Number", 77), number);
            std::wstring value;
            EXPECT_EQ(section.GetString(L"Text", value), S_OK);
            EXPECT_EQ(value, text);
            EXPECT_EQ(section.GetString(L"Missing", value), NotFound);
        }
    };
    settings[L"Logger/Text"] = L"one";
    expect(manual, L"one", 77); // unreadable numbers count as missing
    EXPECT_EQ(settings.source->questions, 3) << "every key is asked for once";
    expect(timed, L"one", 77);
    settings[L"Logger/Text"] = L"two";
    settings[L"Logger/Number"] = L"12";
    clock.Advance(std::chrono::milliseconds(1000));
    expect(timed, L"one", 77); // exactly the interval is not more than it
    clock.Advance(std::chrono::milliseconds(1));
    expect(timed, L"two", 12);
    expect(manual, L"one", 77);
    manual.Reload();
    // An answer that a reload overtakes is not kept.
    settings.source->hook = [&] { manual.Reload(); };
    EXPECT_EQ(manual.GetUInt32(L"Number", 77), 12U);
    settings.source->hook = nullptr;
    settings[L"Logger/Number"] = L"13";
    EXPECT_EQ(manual.GetUInt32(L"Number", 77), 13U);
}

TEST(DataDirectory, TakesItsBaseFromTheSettingsOrTheModule)
{
    const ScopedVariable variable(L"KESTRINE_TEST_DIRECTORY", L"C:\\expanded");
    const Pair cases[] = {
        {L"data", L"C:\\module\\data\\"}, {L"C:\\data", L"C:\\data\\"},
        {L"/srv/data/", L"/srv/data/"},   {L"%KESTRINE_TEST_DIRECTORY%\\x", L"C:\\expanded\\x\\"},
        {L"", L"C:\\module\\"},
    };
    TestSettings settings;
    for (const auto& [configured, base] : cases) {
        settings[L"General/DataDirectoryPath"] = configured;
        EXPECT_EQ(DataDirectory(settings.store, L"C:\\module\\").Base(), base);
    }
}

TEST(DataDirectory, RegistryValuesRedirectPathPrefixes)
{
    TestRegistryKey key;
    key.Add(L"Logs", L"D:\\logs");
    key.Add(L"reports\\OLD", L"%KESTRINE_TEST_DRIVE%\\archive", TestRegistryKey::ExpandableText);
    key.Add(L"binary", L"D:\\b", TestRegistryKey::Binary);
    key.Add(L"\u00E4rger", L"F:\\a");
    const ScopedVariable variable(L"KESTRINE_TEST_DRIVE", L"E:");
    TestSettings settings;
    settings[L"General/DataDirectoryPath"] = L"C:\\data";
    settings[L"General/DataDirectoryPathOverrideRegKey"] = L"HKCU\\" + TestRegistryKey::SubKey();
    const DataDirectory directory(settings.store, L"C:\\module\\");
    const Pair cases[] = {
        {L"logs\\", L"D:\\logs\\"},
        {L"LOGS/sub\\file.log", L"D:\\logs\\sub\\file.log"},
        {L"Reports\\old\\x", L"E:\\archive\\x"},
        {L"Reports\\new", L"C:\\data\\Reports\\new"},
        {L"\\Logs", L"\\Logs"},           // absolute paths are not redirected
        {L"binary", L"C:\\data\\binary"}, // only texts count
        {L"\u00C4rger\\x", L"F:\\a\\x"},  // letters beyond ASCII have their cases as well
    };
    for (const auto& [path, resolved] : cases)
        EXPECT_EQ(directory.ResolvePath(path), resolved);
    EXPECT_EQ(CodeOf([&] { directory.ResolvePath(std::wstring(300, L'x')); }),
              HResultFromWin32(ERROR_FILENAME_EXCED_RANGE));
}

TEST(DataDirectory, AValueWithoutNameOfTheKeyMovesTheWholeDirectory)
{
    using Platform::RegistryRoot;
    TestSettings settings;
    const std::pair<const wchar_t*, RegistryRoot> roots[] = {
        {L"HKCU\\", RegistryRoot::CurrentUser}, {L"HKEY_CURRENT_USER/", RegistryRoot::CurrentUser},
        {L"HKLM/", RegistryRoot::LocalMachine}, {L"HKEY_LOCAL_MACHINE\\", RegistryRoot::LocalMachine},
        {L"", RegistryRoot::LocalMachine},
    };
    for (const auto& [name, root] : roots) {
        TestRegistryKey key(root);
        key.Add(L"", L"moved");
        settings[L"General/DataDirectoryPathOverrideRegKey"] = name + TestRegistryKey::SubKey();
        EXPECT_EQ(DataDirectory(settings.store, L"C:\\module\\").ResolvePath(L"x"), L"C:\\module\\moved\\x")
            << testing::PrintToString(name);
    }
}
