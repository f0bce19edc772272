#include "Platform/Testing/TemporaryFolder.h"
#include "Tests/Platform/ErrorOf.h"

#include <fstream>
#include <gtest/gtest.h>
#include <iterator>
#include <memory>
#include <tuple>

namespace
{

constexpr DWORD shareAll = FILE_SHARE_READ | FILE_SHARE_WRITE | FILE_SHARE_DELETE;

struct CloseFile
{
    void operator()(HANDLE file) const { CloseHandle(file); }
};
using File = std::unique_ptr<void, CloseFile>;

class Files : public testing::Test
{
protected:
    std::wstring Path(const wchar_t* name) const { return (m_folder.Path() / name).wstring(); }

    // Null on failure.
    static File Open(const std::wstring& path, DWORD share = shareAll)
    {
        HANDLE file =
            CreateFileW(path.c_str(), FILE_APPEND_DATA, share, nullptr, OPEN_ALWAYS, FILE_ATTRIBUTE_NORMAL, nullptr);
        return File(file == INVALID_HANDLE_VALUE ? nullptr : file);
    }

    static DWORD OpenError(const std::wstring& path, DWORD share = shareAll)
    {
        return ErrorOf([&] { EXPECT_FALSE(Open(path, share)); });
    }

    static void Write(const File& file, const std::string& text)
    {
        DWORD written = 7;
        EXPECT_TRUE(WriteFile(file.get(), text.data(), static_cast<DWORD>(text.size()), &written, nullptr));
        EXPECT_EQ(written, text.size());
    }

    std::string Content(const wchar_t* name) const
    {
        std::ifstream file(m_folder.Path() / name, std::ios::binary);
        return {std::istreambuf_iterator<char>(file), {}};
    }

    TemporaryFolder m_folder;
};

} // namespace

TEST_F(Files, EveryWriteAppendsWhoeverWroteBefore)
{
    std::ofstream(m_folder.Path() / "a") << "0";
    const File one = Open(Path(L"a"));
    EXPECT_EQ(GetLastError(), DWORD{ERROR_ALREADY_EXISTS});
    const File two = Open(Path(L"a"));
    Write(one, "1");
    Write(two, "22");
    Write(one, std::string("\0\n", 2));
    Write(one, "");
    EXPECT_EQ(Content(L"a"), std::string("0122\0\n", 6));
    LARGE_INTEGER size;
    ASSERT_TRUE(GetFileSizeEx(two.get(), &size));
    EXPECT_EQ(size.QuadPart, 6);
    EXPECT_EQ(ErrorOf([this] { EXPECT_TRUE(Open(Path(L"new"))); }), DWORD{ERROR_SUCCESS});
}

TEST_F(Files, ShareModeZeroKeepsOthersOut)
{
    File file = Open(Path(L"a"), 0);
    EXPECT_EQ(OpenError(Path(L"a")), DWORD{ERROR_SHARING_VIOLATION});
    EXPECT_EQ(OpenError(Path(L"a"), 0), DWORD{ERROR_SHARING_VIOLATION});
    file.reset();
    file = Open(Path(L"a"));
    EXPECT_TRUE(file);
    EXPECT_EQ(OpenError(Path(L"a"), 0), DWORD{ERROR_SHARING_VIOLATION});
}

TEST_F(Files, DuplicateOutlivesItsOriginal)
{
    File original = Open(Path(L"a"));
    HANDLE handle = nullptr;
    ASSERT_TRUE(DuplicateHandle(GetCurrentProcess(), original.get(), GetCurrentProcess(), &handle, 0, FALSE,
                                DUPLICATE_SAME_ACCESS));
    const File duplicate(handle);
    original.reset();
    Write(duplicate, "late");
    EXPECT_EQ(Content(L"a"), "late");
    EXPECT_EQ(OpenError(Path(L"a"), 0), DWORD{ERROR_SHARING_VIOLATION}) << "the duplicate holds the file";
}

TEST_F(Files, IdentityIsTheFilesNotTheHandles)
{
    BY_HANDLE_FILE_INFORMATION information{};
    const auto identity = [&information](const File& file) {
        EXPECT_TRUE(GetFileInformationByHandle(file.get(), &information));
        return std::tuple(information.dwVolumeSerialNumber, information.nFileIndexHigh, information.nFileIndexLow);
    };
    const File one = Open(Path(L"a"));
    const File two = Open(Path(L"a"));
    const File other = Open(Path(L"b"));
    EXPECT_NE(identity(one), identity(other));
    Write(one, "12345");
    EXPECT_EQ(identity(one), identity(two));
    EXPECT_EQ(information.nFileSizeLow, 5U);
    EXPECT_EQ(information.nFileSizeHigh, 0U);
    FILETIME now;
    GetSystemTimeAsFileTime(&now);
    EXPECT_NEAR(information.ftLastWriteTime.dwHighDateTime, now.dwHighDateTime, 1);
}

TEST_F(Files, FailuresSayWhy)
{
    const auto createError = [](const std::wstring& path) {
        return ErrorOf([&] { CreateDirectoryW(path.c_str(), nullptr); });
    };
    EXPECT_EQ(createError(Path(L"folder")), 0U);
    EXPECT_EQ(createError(Path(L"folder") + L"\\sub/"), 0U);
    EXPECT_TRUE(std::filesystem::is_directory(m_folder.Path() / "folder" / "sub"));
    EXPECT_EQ(createError(Path(L"folder")), DWORD{ERROR_ALREADY_EXISTS});
    Open(Path(L"file"));
    EXPECT_EQ(createError(Path(L"file")), DWORD{ERROR_ALREADY_EXISTS});
    EXPECT_EQ(OpenError(Path(L"folder")), DWORD{ERROR_ACCESS_DENIED});
    for (const std::wstring& path : {std::wstring(), Path(L"none") + L"/a", Path(L"none") + L"\\a", Path(L"file\\a")}) {
        EXPECT_EQ(createError(path), DWORD{ERROR_PATH_NOT_FOUND});
        EXPECT_EQ(OpenError(path), DWORD{ERROR_PATH_NOT_FOUND});
    }
    DWORD written = 7;
    EXPECT_EQ(ErrorOf([&] { WriteFile(nullptr, "x", 1, &written, nullptr); }), DWORD{ERROR_INVALID_HANDLE});
    EXPECT_EQ(written, 0U);
    EXPECT_EQ(ErrorOf([] { CloseHandle(nullptr); }), DWORD{ERROR_INVALID_HANDLE});
}
