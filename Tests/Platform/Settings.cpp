#include "Platform/Settings.h"

#include "Platform/Testing/TemporaryFolder.h"
#include "Platform/Testing/TestRegistry.h"
#include "Platform/Text.h"

#include <fstream>
#include <gmock/gmock.h>

using namespace Platform;

namespace
{

class Settings : public testing::Test
{
protected:
    Settings()
    {
        SetVariable(L"KESTRINEFIVE", L"another spelling's");
        SetVariable(L"KestrineFive", L"alpha");
        SetVariable(L"KESTRINE_EMPTY", L"");
        SetVariable(L"KESTRINE_NESTED", L"<%KestrineFive%>");
        SetVariable(L"KESTRINE_GONE", L"x");
        SetVariable(L"KESTRINE_GONE", nullptr);
    }

    TemporaryFolder m_folder;
    const std::filesystem::path m_file = m_folder.Path() / "file";
};

} // namespace

TEST_F(Settings, IniValues)
{
    const struct
    {
        const wchar_t* content; // null: no file
        const wchar_t* section;
        const wchar_t* key;
        const wchar_t* value;
        bool utf16 = false; // with byte-order mark
    } rows[] = {
        {L"[s]\r\nk=v\r\n", L"s", L"k", L"v"},
        {L"[s]\rk=v\r", L"s", L"k", L"v"},
        {L"[s]\nk=v", L"s", L"k", L"v"},
        {L"[Sec]\nKey=v\n", L"sEC", L"kEY", L"v"},
        {L"[s]\nk=v\n", L"t", L"k", L""},
        {L"[s]\nk=v\n", L"s", L"j", L""},
        {nullptr, L"s", L"k", L""},
        {L"", L"s", L"k", L""},
        {L"k=v\n[s]\n", L"s", L"k", L""},
        {L"  [s]  \n  k  =  v w  \n", L"s", L"k", L"v w"},
        {L"\t[s]\t\n\tk\t=\tv\t\n", L"s", L"k", L"v"},
        {L"[ s ]\nk=v\n", L"s", L"k", L"v"},
        {L"[s]\nk=\"v\"\n", L"s", L"k", L"v"},
        {L"[s]\nk='  v  '  \n", L"s", L"k", L"  v  "},
        {L"[s]\nk=\"v\n", L"s", L"k", L"\"v"},
        {L"[s]\nk=\"v'\n", L"s", L"k", L"\"v'"},
        {L"[s]\nk=\"a\" b\n", L"s", L"k", L"\"a\" b"},
        {L"[s]\nk=\"\"v\"\"\n", L"s", L"k", L"\"v\""},
        {L"[s]\nk=\"\n", L"s", L"k", L"\""},
        {L"[s]\nk=''\n", L"s", L"k", L""},
        {L"[s]\n  ;k=v\nk=w\n", L"s", L"k", L"w"},
        {L"[s]\nk=v ;c\n", L"s", L"k", L"v ;c"},
        {L";[s]\nk=v\n", L"s", L"k", L""},
        {L"[s];c\nk=v\n", L"s", L"k", L"v"},
        {L"[s]\nk=1\nK=2\n", L"s", L"K", L"1"},
        {L"[s]\nk=1\n[t]\nk=2\n[s]\nj=4\n", L"s", L"j", L""},
        {L"[s]\nk=\nk=2\n", L"s", L"k", L""},
        {L"[s]\nk\nj=2\n", L"s", L"j", L"2"},
        {L"[s]\nk=a=b\n", L"s", L"k", L"a=b"},
        {L"[s]\nk=C:\\a b\\c;d=e\n", L"s", L"k", L"C:\\a b\\c;d=e"},
        {L"[s\nk=v\n", L"s", L"k", L""},
        {L"[s]\n[k]=v\n", L"s", L"[k]", L""},
        {L"[s]\nk=\u00E4\u4E00\u20AC\n", L"s", L"k", L"\u00E4\u4E00\u20AC", true},
        {L"[\u00E4]\r\n\u00F6=v\r\n", L"\u00E4", L"\u00F6", L"v", true},
        {L"[s]\nk=v\u001A\n", L"s", L"k", L"v"},
    };
    for (const auto& row : rows) {
        std::filesystem::remove(m_file);
        if (row.content) {
            std::string utf16 = "\xFF\xFE";
            Text::AppendUtf16Le(row.content, utf16);
            std::ofstream(m_file, std::ios::binary) << (row.utf16 ? utf16 : Text::ToUtf8(row.content));
        }
        EXPECT_EQ(IniValue(m_file.wstring(), row.section, row.key), row.value)
            << testing::PrintToString(row.content ? row.content : L"") << testing::PrintToString(row.key);
    }
    const std::wstring large(3000, L'x');
    std::ofstream(m_file) << "[s]\nk=" << Text::ToUtf8(large) << '\n';
    EXPECT_EQ(IniValue(m_file.wstring(), L"s", L"k"), large);
}

TEST_F(Settings, IniFilesAreReadAnewByPathsWithBothSlashes)
{
    for (const wchar_t* value : {L"1", L"2"}) {
        std::ofstream(m_file) << "[s]\nk=" << Text::ToUtf8(value) << '\n';
        for (const wchar_t* name : {L"/file", L"\\file"})
            EXPECT_EQ(IniValue(m_folder.Path().wstring() + name, L"s", L"k"), value);
    }
    EXPECT_EQ(IniValue(m_folder.Path().wstring(), L"s", L"k"), L"") << "a folder has no values";
    const auto old = std::filesystem::current_path();
    std::filesystem::current_path(m_folder.Path());
    EXPECT_EQ(IniValue(L".\\file", L"s", L"k"), L"2");
    EXPECT_EQ(IniValue(L"file", L"s", L"k"), L"") << "not of the current folder";
    std::filesystem::current_path(old);
}

TEST_F(Settings, EnvironmentVariables)
{
    const std::pair<const wchar_t*, const wchar_t*> values[] = {
        {L"KestrineFive", L"alpha"}, {L"KESTRINE_EMPTY", L""},     {L"kestrine_nested", L"<%KestrineFive%>"},
        {L"KESTRINE_GONE", nullptr}, {L"KESTRINE_NEVER", nullptr}, {L"", nullptr},
        {L"KestrineFive=", nullptr}, {L" KestrineFive", nullptr},
    };
    for (const auto& [name, value] : values)
        EXPECT_EQ(EnvironmentVariable(name), value ? std::optional<std::wstring>(value) : std::nullopt)
            << testing::PrintToString(name);
    const std::wstring large(1000, L'x');
    SetVariable(L"KESTRINE_LARGE", large.c_str());
    EXPECT_EQ(EnvironmentVariable(L"KESTRINE_LARGE"), large);
    EXPECT_EQ(ExpandEnvironment(L"<%KESTRINE_LARGE%>"), L"<" + large + L">");
}

TEST_F(Settings, VariablesInTextsAreExpanded)
{
    const std::pair<const wchar_t*, const wchar_t*> rows[] = {
        {L"", L""},
        {L"plain", L"plain"},
        {L"a%kestrinefive%b", L"aalphab"},
        {L"%KestrineFive%%KestrineFive%", L"alphaalpha"},
        {L"[%KESTRINE_EMPTY%]", L"[]"},
        {L"%KESTRINE_GONE%", L"%KESTRINE_GONE%"},
        {L"a%%b", L"a%%b"},
        {L"50%", L"50%"},
        {L"%KestrineFive", L"%KestrineFive"},
        {L"%%%KestrineFive%", L"%%alpha"},
        {L"%KESTRINE_NEVER%KestrineFive%", L"%KESTRINE_NEVER%KestrineFive%"},
        {L"%KESTRINE_NEVER%%KestrineFive%", L"%KESTRINE_NEVER%alpha"},
        {L"100% of %KestrineFive%", L"100% of %KestrineFive%"},
        {L"%KESTRINE_NESTED%", L"<%KestrineFive%>"},
    };
    for (const auto& [text, expanded] : rows)
        EXPECT_EQ(ExpandEnvironment(text), expanded);
}

TEST(Registry, TextsAreReadByTheKeysPath)
{
    using testing::ElementsAre;
    using testing::IsEmpty;
    using testing::Pair;
    {
        TestRegistryKey registry;
        registry.Add(L"", L"default");
        registry.Add(L"Logs\\Sub", L" D:\\logs = x ");
        registry.Add(L"Expand", L"%TEMP%\\x", TestRegistryKey::ExpandableText);
        registry.Add(L"N", L"65", TestRegistryKey::Number);
        const std::wstring large(400, L'n');
        registry.Add(large.substr(0, 255), large);
        const auto values = ElementsAre(Pair(L"", L"default"), Pair(L"Expand", L"%TEMP%\\x"),
                                        Pair(L"Logs\\Sub", L" D:\\logs = x "), Pair(large.substr(0, 255), large));
        EXPECT_THAT(RegistryTexts(RegistryRoot::CurrentUser, TestRegistryKey::SubKey()), values);
        EXPECT_THAT(RegistryTexts(RegistryRoot::CurrentUser, L"SOFTWARE" + TestRegistryKey::SubKey().substr(8) + L"\\"),
                    values);
        for (const auto& other : {TestRegistryKey::SubKey() + L"x", std::wstring(L"Software\\KestrineTest")})
            EXPECT_THAT(RegistryTexts(RegistryRoot::CurrentUser, other), IsEmpty());
        EXPECT_THAT(RegistryTexts(RegistryRoot::LocalMachine, TestRegistryKey::SubKey()), IsEmpty());
    }
    EXPECT_THAT(RegistryTexts(RegistryRoot::CurrentUser, TestRegistryKey::SubKey()), IsEmpty());
}
