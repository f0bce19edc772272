#include "Common/Foundation/Handles.h"
#include "Platform/Testing/DebugOutput.h"
#include "Platform/Testing/TemporaryFolder.h"
#include "Tests/Platform/ErrorOf.h"

#include <ctime>
#include <fstream>
#include <gtest/gtest.h>

namespace
{

// What a file means.
struct FileRow
{
    const char* content;
    std::wstring answer;
    int malformedLine = 0; // 0: the file is in order
};

// `read` gets the file's path and returns the answer.
template <class Read>
void Expect(const std::vector<FileRow>& rows, Read read)
{
    const TemporaryFolder folder;
    for (const FileRow& row : rows) {
        std::ofstream(folder.Path() / "file", std::ios::binary) << row.content;
        const DebugOutputCapture output;
        EXPECT_EQ(read((folder.Path() / "file").wstring().c_str()), row.answer) << row.content;
        const std::wstring said = output.Texts().empty() ? L"(0)" : output.Texts()[0];
        EXPECT_NE(said.find(L'(' + std::to_wstring(row.malformedLine) + L')'), said.npos) << row.content;
    }
}

} // namespace

// The answer is message 1, or the last error of the load.
TEST(Layer, MessageModules)
{
    const std::vector<FileRow> rows{
#include "Tests/Platform/Posix/MessageModules.inl"
    };
    Expect(rows, [](const wchar_t* path) {
        wchar_t* text = nullptr;
        const UniqueModule module(LoadLibraryExW(path, nullptr, 0x22));
        if (!module)
            return std::to_wstring(GetLastError());
        FormatMessageW(0x0B00, module.get(), 1, 0, reinterpret_cast<LPWSTR>(&text), 0, nullptr);
        const UniqueLocalText owner(text);
        return std::wstring(text ? text : L"");
    });
}

// The answer is value "v" of HKLM\Software\X.
TEST(Layer, RegistryFiles)
{
    const std::vector<FileRow> rows{
#include "Tests/Platform/Posix/RegistryFiles.inl"
    };
    const auto read = [](const wchar_t* path) -> std::wstring {
        SetEnvironmentVariableW(L"KESTRINE_REGISTRY_FILE", path);
        HKEY key = nullptr;
        RegOpenKeyExW(HKEY_LOCAL_MACHINE, L"Software\\X", 0, KEY_READ, &key);
        const UniqueRegistryKey owner(key);
        wchar_t data[50] = L"";
        DWORD size = sizeof(data);
        if (!key || RegQueryValueExW(key, L"v", nullptr, nullptr, reinterpret_cast<BYTE*>(data), &size) != 0)
            return key ? L"no value" : L"no key";
        return data;
    };
    Expect(rows, read);
    Expect({{"[HKLM\\Software\\X]\n", L"no key"}}, [read](const wchar_t*) { return read(nullptr); });
}

TEST(Layer, FullDiskIsReported)
{
    const UniqueHandle full(CreateFileW(L"\\dev\\full", FILE_APPEND_DATA, 7, nullptr, OPEN_ALWAYS, 0x80, nullptr));
    DWORD written = 1;
    EXPECT_EQ(ErrorOf([&] { EXPECT_FALSE(WriteFile(full.get(), "x", 1, &written, nullptr)); }), ERROR_DISK_FULL);
    EXPECT_EQ(written, 0U);
}

TEST(Layer, LocalTimeFollowsTheZoneOfTheEnvironment)
{
    SetEnvironmentVariableW(L"TZ", L"XST-5:30");
    tzset();
    const FILETIME utc{10, 0};
    FILETIME local{};
    EXPECT_TRUE(FileTimeToLocalFileTime(&utc, &local));
    SetEnvironmentVariableW(L"TZ", nullptr);
    tzset();
    EXPECT_EQ((ULONGLONG{local.dwHighDateTime} << 32) | local.dwLowDateTime, 10 + 19800 * 10000000ULL);
}
