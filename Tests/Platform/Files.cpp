#include "Common/Foundation/Handles.h"
#include "Platform/Testing/Process.h"
#include "Platform/Testing/TemporaryFolder.h"
#include "Tests/Platform/ErrorOf.h"

#include <fstream>
#include <gtest/gtest.h>
#include <iterator>
#include <tuple>

namespace
{

constexpr DWORD shareAll = FILE_SHARE_READ | FILE_SHARE_WRITE | FILE_SHARE_DELETE;

class Files : public testing::Test
{
protected:
    std::wstring Path(const wchar_t* name) const { return (m_folder.Path() / name).wstring(); }

    // Null on failure.
    UniqueHandle Open(const wchar_t* name, DWORD share = shareAll) const
    {
        HANDLE file = CreateFileW(Path(name).c_str(), FILE_APPEND_DATA, share, nullptr, OPEN_ALWAYS,
                                  FILE_ATTRIBUTE_NORMAL, nullptr);
        return UniqueHandle(file == INVALID_HANDLE_VALUE ? nullptr : file);
    }
    DWORD OpenError(const wchar_t* name, DWORD share = shareAll) const
    {
        return ErrorOf([&] { Open(name, share); });
    }

    static void Write(const UniqueHandle& file, const std::string& text)
    {
        DWORD written = 7;
        EXPECT_TRUE(WriteFile(file.get(), text.data(), static_cast<DWORD>(text.size()), &written, nullptr));
        EXPECT_EQ(written, text.size());
    }

    TemporaryFolder m_folder;
};

} // namespace

TEST_F(Files, EveryWriteAppendsWhoeverWroteBefore)
{
    EXPECT_EQ(OpenError(L"a"), DWORD{ERROR_SUCCESS});
    std::ofstream(m_folder.Path() / "a") << "0";
    EXPECT_EQ(OpenError(L"a"), DWORD{ERROR_ALREADY_EXISTS});
    const UniqueHandle one = Open(L"a");
    const UniqueHandle two = Open(L"a");
    Write(one, "1");
    Write(two, "22");
    Write(one, std::string("\0\n", 2));
    std::ifstream content(m_folder.Path() / "a", std::ios::binary);
    EXPECT_EQ(std::string(std::istreambuf_iterator<char>(content), {}), std::string("0122\0\n", 6));
    LARGE_INTEGER size;
    ASSERT_TRUE(GetFileSizeEx(two.get(), &size));
    EXPECT_EQ(size.QuadPart, 6);
}

TEST_F(Files, ShareModeZeroKeepsOthersOutUntilTheLastHandleCloses)
{
    UniqueHandle file = Open(L"a", 0);
    EXPECT_EQ(OpenError(L"a"), DWORD{ERROR_SHARING_VIOLATION});
    EXPECT_EQ(OpenError(L"a", 0), DWORD{ERROR_SHARING_VIOLATION});
    file.reset();
    file = Open(L"a");
    HANDLE process = GetCurrentProcess();
    HANDLE handle = nullptr;
    ASSERT_TRUE(DuplicateHandle(process, file.get(), process, &handle, 0, FALSE, DUPLICATE_SAME_ACCESS));
    const UniqueHandle duplicate(handle);
    file.reset();
    Write(duplicate, "late");
    EXPECT_EQ(OpenError(L"a", 0), DWORD{ERROR_SHARING_VIOLATION});
    EXPECT_EQ(std::filesystem::file_size(m_folder.Path() / "a"), 4U);
}

TEST_F(Files, IdentityIsTheFilesNotTheHandles)
{
    BY_HANDLE_FILE_INFORMATION information{};
    const auto identity = [&information](const UniqueHandle& file) {
        EXPECT_TRUE(GetFileInformationByHandle(file.get(), &information));
        return std::tuple(information.dwVolumeSerialNumber, information.nFileIndexHigh, information.nFileIndexLow);
    };
    UniqueHandle one = Open(L"a");
    const auto first = identity(one);
    EXPECT_NE(first, identity(Open(L"b")));
    Write(one, "12345");
    EXPECT_EQ(first, identity(Open(L"a")));
    EXPECT_EQ(information.nFileSizeLow, 5U);
    one.reset();
    std::filesystem::remove(m_folder.Path() / "a");
    EXPECT_TRUE(first != identity(Open(L"a")) || RunsUnderWine())
        << "a new file, though it may lie in the old one's place";
}

TEST_F(Files, FailuresSayWhy)
{
    const auto createError = [this](const wchar_t* name) {
        return ErrorOf([&] { CreateDirectoryW(Path(name).c_str(), nullptr); });
    };
    EXPECT_EQ(createError(L"folder"), 0U);
    EXPECT_EQ(createError(L"folder\\sub/"), 0U);
    EXPECT_EQ(createError(L"folder"), DWORD{ERROR_ALREADY_EXISTS});
    EXPECT_EQ(OpenError(L"folder"), DWORD{ERROR_ACCESS_DENIED});
    EXPECT_EQ(OpenError(L"file"), DWORD{ERROR_SUCCESS});
    EXPECT_EQ(createError(L"file"), DWORD{ERROR_ALREADY_EXISTS});
    for (const wchar_t* name : {L"none/a", L"none\\a", L"file\\a"}) {
        EXPECT_EQ(createError(name), DWORD{ERROR_PATH_NOT_FOUND});
        EXPECT_EQ(OpenError(name), DWORD{ERROR_PATH_NOT_FOUND});
    }
    DWORD written = 7;
    EXPECT_EQ(ErrorOf([&] { WriteFile(nullptr, "x", 1, &written, nullptr); }), DWORD{ERROR_INVALID_HANDLE});
    EXPECT_EQ(written, 0U);
}
