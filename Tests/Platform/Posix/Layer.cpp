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

// The module's message, or the system's.
std::wstring Message(HMODULE module, DWORD id, DWORD language = 0)
{
    wchar_t* text = nullptr;
    FormatMessageW(module ? 0x0B00 : 0x1300, module, id, language, reinterpret_cast<LPWSTR>(&text), 0, nullptr);
    const UniqueLocalText owner(text);
    return text ? text : L"";
}

class Layer : public testing::Test
{
protected:
    // `read` gets the file's path and returns the answer.
    template <class Read>
    void Expect(const std::vector<FileRow>& rows, Read read) const
    {
        for (const FileRow& row : rows) {
            std::ofstream(m_folder.Path() / "file", std::ios::binary) << row.content;
            const DebugOutputCapture output;
            EXPECT_EQ(read((m_folder.Path() / "file").wstring().c_str()), row.answer) << row.content;
            std::wstring said = output.Texts().empty() ? L"(0)" : output.Texts()[0];
            EXPECT_NE(said.find(L'(' + std::to_wstring(row.malformedLine) + L')'), said.npos) << row.content;
        }
    }

    const TemporaryFolder m_folder;
};

} // namespace

TEST_F(Layer, IniFilesAreUtf8)
{
    const std::vector<FileRow> rows{{"[\xC3\x84]\nk\xC3\xB6=\xE2\x82\xAC\n", L"\u20AC"},
                                    {"\xEF\xBB\xBF[\xC3\xA4]\nK\xC3\x96=\xE2\x82\xAC\n", L"\u20AC"},
                                    {"[\xC3\x84]\nk\xC3\xB6=\xFF!\n", L"\uFFFD!"}};
    Expect(rows, [](const wchar_t* path) {
        wchar_t buffer[100];
        return std::wstring(buffer, GetPrivateProfileStringW(L"\u00C4", L"k\u00F6", L"", buffer, 100, path));
    });
}

// The answer is message 1, or the last error of the load.
TEST_F(Layer, MessageModules)
{
    const std::vector<FileRow> rows{
#include "Tests/Platform/Posix/MessageModules.inl"
    };
    Expect(rows, [](const wchar_t* path) {
        const UniqueModule module(LoadLibraryExW(path, nullptr, 0x22));
        return module ? Message(module.get(), 1) : std::to_wstring(GetLastError());
    });
}

// The answer is value "v" of HKLM\Software\X.
TEST_F(Layer, RegistryFiles)
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

TEST_F(Layer, FullDiskIsReported)
{
    const UniqueHandle full(CreateFileW(L"\\dev\\full", FILE_APPEND_DATA, 7, nullptr, OPEN_ALWAYS, 0x80, nullptr));
    DWORD written = 1;
    EXPECT_EQ(ErrorOf([&] { EXPECT_FALSE(WriteFile(full.get(), "x", 1, &written, nullptr)); }), ERROR_DISK_FULL);
    EXPECT_EQ(written, 0U);
}

TEST_F(Layer, SystemMessagesAreEnglish)
{
    EXPECT_EQ(Message(nullptr, ERROR_ACCESS_DENIED), L"Access is denied.\r\n");
    EXPECT_EQ(Message(nullptr, static_cast<DWORD>(REGDB_E_CLASSNOTREG), 0x0409), L"Class not registered.\r\n");
    EXPECT_EQ(ErrorOf([] { Message(nullptr, 5, 0x0407); }), ERROR_RESOURCE_LANG_NOT_FOUND);
}

TEST_F(Layer, LocalTimeFollowsTheZoneOfTheEnvironment)
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
