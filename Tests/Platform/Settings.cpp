#include "Platform/Settings.h"

#include "Platform/Testing/TemporaryFolder.h"
#include "Platform/Testing/TestRegistry.h"
#include "Platform/Text.h"

#include <fstream>
#include <gmock/gmock.h>

using namespace Platform;

TEST(Settings, IniValues)
{
    const TemporaryFolder folder;
    const std::filesystem::path file = folder.Path() / "file";
    const struct
    {
        const wchar_t* content; // null: no file
        const wchar_t* section;
        const wchar_t* key;
        const wchar_t* value;
        bool utf16 = false; // with byte-order mark
    } rows[] = {
        {L"[Sec]\r\nKey=v\r\n", L"sEC", L"kEY", L"v"},
        {L"[s]\rk=v\r", L"s", L"k", L"v"},
        {L"[s]\nk=v\n", L"t", L"k", L""},
        {nullptr, L"s", L"k", L""},
        {L"\t [s] \t\n\tk =\tv w \t\n", L"s", L"k", L"v w"},
        {L"[ s ]\nk=v\n", L"s", L"k", L"v"},
        {L"[s]\nk='  v  '  \n", L"s", L"k", L"  v  "},
        {L"[s]\nk=\"v'\n", L"s", L"k", L"\"v'"},
        {L"[s]\n  ;k=v\nk=w\n", L"s", L"k", L"w"},
        {L"[s];c\nk=v ;c\n", L"s", L"k", L"v ;c"},
        {L"[s]\nk=1\nK=2\n", L"s", L"K", L"1"},
        {L"[s]\nk=1\n[t]\nk=2\n[s]\nj=4\n", L"s", L"j", L""},
        {L"[s]\nk=\nk=2\n", L"s", L"k", L""},
        {L"[s]\nk\nj=a=b\n", L"s", L"j", L"a=b"},
        {L"[s\nk=v\n", L"s", L"k", L""},
        {L"[\u00E4]\r\n\u00F6=\u4E00\u20AC\r\n", L"\u00E4", L"\u00F6", L"\u4E00\u20AC", true},
    };
    for (const auto& row : rows) {
        std::filesystem::remove(file);
        if (row.content) {
            std::string utf16 = "\xFF\xFE";
            Text::AppendUtf16Le(row.content, utf16);
            std::ofstream(file, std::ios::binary) << (row.utf16 ? utf16 : Text::ToUtf8(row.content));
        }
        EXPECT_EQ(IniValue(file.wstring(), row.section, row.key), row.value)
            << testing::PrintToString(row.content ? row.content : L"") << testing::PrintToString(row.key);
    }
    const std::wstring large(3000, L'x');
    std::ofstream(file) << "[s]\nk=" << Text::ToUtf8(large) << '\n';
    for (const wchar_t* name : {L"/file", L"\\file"})
        EXPECT_EQ(IniValue(folder.Path().wstring() + name, L"s", L"k"), large);
    EXPECT_EQ(IniValue(folder.Path().wstring(), L"s", L"k"), L"") << "a folder has no values";
}

TEST(Environment, VariablesAreReadAndExpanded)
{
    SetVariable(L"KESTRINEFIVE", L"another spelling's");
    SetVariable(L"KestrineFive", L"alpha");
    SetVariable(L"KESTRINE_EMPTY", L"");
    SetVariable(L"KESTRINE_NESTED", L"<%KestrineFive%>");
    SetVariable(L"KESTRINE_GONE", L"x");
    SetVariable(L"KESTRINE_GONE", nullptr);
    const std::pair<const wchar_t*, const wchar_t*> values[] = {
        {L"KestrineFive", L"alpha"}, {L"KESTRINE_EMPTY", L""},     {L"kestrine_nested", L"<%KestrineFive%>"},
        {L"KESTRINE_GONE", nullptr}, {L"KESTRINE_NEVER", nullptr}, {L"", nullptr},
    };
    for (const auto& [name, value] : values)
        EXPECT_EQ(EnvironmentVariable(name), value ? std::optional<std::wstring>(value) : std::nullopt)
            << testing::PrintToString(name);
    const std::pair<const wchar_t*, const wchar_t*> rows[] = {
        {L"a%kestrinefive%b", L"aalphab"},
        {L"[%KESTRINE_EMPTY%]", L"[]"},
        {L"%KESTRINE_GONE%", L"%KESTRINE_GONE%"},
        {L"%%%KestrineFive%", L"%%alpha"},
        {L"%KESTRINE_NEVER%%KestrineFive%", L"%KESTRINE_NEVER%alpha"},
        {L"%KESTRINE_NESTED%", L"<%KestrineFive%>"},
    };
    for (const auto& [text, expanded] : rows)
        EXPECT_EQ(ExpandEnvironment(text), expanded);
    for (const std::size_t length : {257U, 258U, 259U, 260U, 1000U}) {
        const std::wstring large(length, L'x');
        SetVariable(L"KESTRINE_LARGE", large.c_str());
        EXPECT_EQ(EnvironmentVariable(L"KESTRINE_LARGE"), large);
        EXPECT_EQ(ExpandEnvironment(L"%KESTRINE_LARGE%"), large);
    }
}

TEST(Registry, NamesAndTextsAreReadAtFullLength)
{
    const std::wstring longest(16383, L'n');
    TestRegistryKey registry;
    registry.Add(L"Expand", L" %TEMP%\\x = y ", TestRegistryKey::ExpandableText);
    registry.Add(longest, longest);
    EXPECT_THAT(RegistryTexts(RegistryRoot::CurrentUser, L"SOFTWARE" + TestRegistryKey::SubKey().substr(8) + L"\\"),
                testing::ElementsAre(std::pair(L"Expand", L" %TEMP%\\x = y "), std::pair(longest, longest)));
    EXPECT_THAT(RegistryTexts(RegistryRoot::LocalMachine, TestRegistryKey::SubKey()), testing::IsEmpty());
}
