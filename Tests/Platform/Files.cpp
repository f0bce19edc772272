#include "Platform/Files.h"

#include "Platform/Testing/TemporaryFolder.h"

#include <array>
#include <fstream>
#include <gtest/gtest.h>
#include <iterator>
#include <vector>

using namespace Platform;

namespace
{

class Files : public testing::Test
{
protected:
    std::wstring Path(const wchar_t* name) const { return (m_folder.Path() / name).wstring(); }

    AppendFile Open(const wchar_t* name, HRESULT expected = S_OK) const
    {
        AppendFile file;
        EXPECT_EQ(AppendFile::Open(Path(name), file), expected) << testing::PrintToString(name);
        EXPECT_EQ(static_cast<bool>(file), expected == S_OK);
        return file;
    }

    TemporaryFolder m_folder;
};

} // namespace

TEST_F(Files, EveryWriteAppendsWhoeverWroteBefore)
{
    std::ofstream(m_folder.Path() / "a") << "0";
    const AppendFile one = Open(L"a");
    const AppendFile two = Open(L"a");
    EXPECT_EQ(one.Write("1"), S_OK);
    EXPECT_EQ(two.Write("22"), S_OK);
    EXPECT_EQ(one.Write(std::string("\0\n", 2)), S_OK);
    std::ifstream content(m_folder.Path() / "a", std::ios::binary);
    EXPECT_EQ(std::string(std::istreambuf_iterator<char>(content), {}), std::string("0122\0\n", 6));
}

TEST_F(Files, FailuresSayWhy)
{
    EXPECT_EQ(CreateFolder(Path(L"folder")), S_OK);
    EXPECT_EQ(CreateFolder(Path(L"folder\\sub/")), S_OK);
    Open(L"folder", E_ACCESSDENIED);
    Open(L"file");
    EXPECT_EQ(CreateFolder(Path(L"file")), HResultFromWin32(ERROR_ALREADY_EXISTS));
    for (const wchar_t* name : {L"none/a", L"none\\a", L"file\\a"}) {
        EXPECT_EQ(CreateFolder(Path(name)), HResultFromWin32(ERROR_PATH_NOT_FOUND));
        Open(name, HResultFromWin32(ERROR_PATH_NOT_FOUND));
    }
}

TEST_F(Files, PathsAreJoined)
{
    std::wstring path;
    for (const auto& [directory, relative, joined] : std::vector<std::array<const wchar_t*, 3>>{
             {L"C:\\a\\b", L"f", L"C:\\a\\b\\f"},
             {L"C:\\a\\b\\", L"f\\", L"C:\\a\\b\\f\\"},
             {L"C:\\a\\b", L"f\\..\\..\\g", L"C:\\a\\g"},
             {L"C:\\a\\.\\b\\..\\c", L".\\a..b\\.b", L"C:\\a\\c\\a..b\\.b"},
             {L"C:\\", L"f", L"C:\\f"},
             {L"\\a", L"..\\..\\..\\f", L"\\f"},
         }) {
        EXPECT_EQ(JoinPath(directory, relative, path), S_OK);
        EXPECT_EQ(path, joined) << testing::PrintToString(directory) << testing::PrintToString(relative);
    }
    const std::wstring longest = std::wstring(L"C:\\") + std::wstring(120, L'x');
    EXPECT_EQ(JoinPath(longest, std::wstring(135, L'y'), path), S_OK);
    EXPECT_EQ(path.size(), 259U);
    EXPECT_EQ(JoinPath(longest + L"\\..", std::wstring(135, L'y'), path), HResultFromWin32(ERROR_FILENAME_EXCED_RANGE));
    EXPECT_EQ(path.size(), 259U) << "left alone";
}
