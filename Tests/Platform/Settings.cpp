#include "Platform/Testing/TemporaryFolder.h"
#include "Tests/Platform/ErrorOf.h"

#include <fstream>
#include <gtest/gtest.h>
#include <thread>

namespace
{

std::wstring Variable(const wchar_t* name)
{
    wchar_t buffer[100];
    return {buffer, GetEnvironmentVariableW(name, buffer, 100)};
}

std::wstring Value(const std::wstring& path)
{
    wchar_t buffer[100];
    return {buffer, GetPrivateProfileStringW(L"s", L"k", L"default", buffer, 100, path.c_str())};
}

} // namespace

TEST(EnvironmentVariables, KeepOneValueForAllSpellingsOfAName)
{
    const std::wstring text = L"\u00E4\u4E00 \u20AC=x";
    EXPECT_TRUE(SetEnvironmentVariableW(L"Kestrine_\u00C4", L"one"));
    EXPECT_TRUE(SetEnvironmentVariableW(L"KESTRINE_\u00C4", text.c_str()));
    EXPECT_EQ(Variable(L"Kestrine_\u00C4"), text);
    EXPECT_TRUE(SetEnvironmentVariableW(L"kestrine_\u00C4", nullptr));
    EXPECT_EQ(ErrorOf([] { Variable(L"KESTRINE_\u00C4"); }), DWORD{ERROR_ENVVAR_NOT_FOUND});
    EXPECT_TRUE(SetEnvironmentVariableW(L"KESTRINE_\u00C4", nullptr)) << "what is not there need not go";
    for (const wchar_t* name : {L"", L"a=b"})
        EXPECT_EQ(ErrorOf([name] { SetEnvironmentVariableW(name, L"x"); }), DWORD{ERROR_INVALID_PARAMETER});
}

TEST(EnvironmentVariables, ReadersAndWritersMayMeet)
{
    const std::wstring text(50, L'x');
    std::thread writer([&text] {
        for (int i = 0; i < 300; ++i)
            SetEnvironmentVariableW(L"KESTRINE_RACE", i % 3 ? text.c_str() : nullptr);
    });
    for (int i = 0; i < 300; ++i) {
        const std::wstring value = Variable(L"KESTRINE_RACE");
        EXPECT_TRUE(value.empty() || value == text);
    }
    writer.join();
}

TEST(IniFiles, AreReadAnewByPathsWithBothSlashes)
{
    const TemporaryFolder folder;
    std::filesystem::create_directory(folder.Path() / "sub");
    const auto file = folder.Path() / "sub" / "a.ini";
    std::ofstream(file) << "[s]\nk=1\n";
    EXPECT_EQ(Value(folder.Path().wstring() + L"\\sub\\a.ini"), L"1");
    std::ofstream(file) << "[s]\nk=22\n";
    EXPECT_EQ(Value(folder.Path().wstring() + L"/sub/a.ini"), L"22");
    std::filesystem::remove(file);
    EXPECT_EQ(Value(file.wstring()), L"default");
    EXPECT_EQ(Value(folder.Path().wstring()), L"default") << "a folder has no values";
}

TEST(IniFiles, NameWithoutFolderIsNotTheCurrentFolders)
{
    const TemporaryFolder folder;
    const auto old = std::filesystem::current_path();
    std::filesystem::current_path(folder.Path());
    std::ofstream("kestrine-test.ini") << "[s]\nk=1\n";
    EXPECT_EQ(Value(L"kestrine-test.ini"), L"default");
    EXPECT_EQ(Value(L".\\kestrine-test.ini"), L"1");
    std::filesystem::current_path(old);
}

TEST(PathCombining, LimitIsCountedBeforeDotsAreResolved)
{
    wchar_t path[MAX_PATH] = L"#";
    const std::wstring directory = L"C:\\" + std::wstring(120, L'x');
    EXPECT_EQ(PathCombineW(path, directory.c_str(), std::wstring(135, L'y').c_str()), path);
    EXPECT_EQ(std::wstring(path), directory + L'\\' + std::wstring(135, L'y'));
    EXPECT_EQ(PathCombineW(path, directory.c_str(), std::wstring(136, L'y').c_str()), nullptr);
    EXPECT_EQ(std::wstring(path), L"");
    EXPECT_EQ(PathCombineW(path, (directory + L"\\..").c_str(), std::wstring(200, L'y').c_str()), nullptr);
    EXPECT_EQ(PathCombineW(path, nullptr, nullptr), nullptr);
}
