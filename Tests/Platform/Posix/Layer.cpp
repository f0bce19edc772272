#include "Platform/Testing/DebugOutput.h"
#include "Platform/Testing/TemporaryFolder.h"
#include "Tests/Platform/ErrorOf.h"

#include <ctime>
#include <fstream>
#include <gmock/gmock.h>
#include <memory>
#include <thread>

using testing::ElementsAre;
using testing::HasSubstr;
using testing::IsEmpty;

namespace
{

class Layer : public testing::Test
{
protected:
    void Write(const std::string& content) const { std::ofstream(m_file, std::ios::binary) << content; }

    std::wstring Ini(const wchar_t* section, const wchar_t* key) const
    {
        wchar_t buffer[100];
        return {buffer, GetPrivateProfileStringW(section, key, L"default", buffer, 100, m_file.wstring().c_str())};
    }

    // The system's text of `id`, or the module's.
    static std::wstring Message(DWORD id, DWORD language = 0, HMODULE module = nullptr)
    {
        wchar_t* buffer = nullptr;
        FormatMessageW(module ? 0x0B00 : 0x1300, module, id, language, reinterpret_cast<LPWSTR>(&buffer), 0, nullptr);
        const std::unique_ptr<wchar_t, decltype(&LocalFree)> owner(buffer, &LocalFree);
        return buffer ? buffer : L"";
    }

    // The text of message 1 of a module, or the last error of its load.
    std::wstring MessageOf(const std::string& content) const
    {
        Write(content);
        HMODULE module = LoadLibraryExW(m_file.wstring().c_str(), nullptr, 0x22);
        const std::wstring text = module ? Message(1, 0, module) : std::to_wstring(GetLastError());
        FreeLibrary(module);
        return text;
    }

    // The text of value "v" in HKLM\Software\X, or the status of whatever failed.
    std::wstring Registry(const std::string& content) const
    {
        Write(content);
        SetEnvironmentVariableW(L"KESTRINE_REGISTRY_FILE", m_file.wstring().c_str());
        HKEY key = nullptr;
        LSTATUS status = RegOpenKeyExW(HKEY_LOCAL_MACHINE, L"Software\\X", 0, KEY_READ, &key);
        SetEnvironmentVariableW(L"KESTRINE_REGISTRY_FILE", nullptr);
        if (status != ERROR_SUCCESS)
            return L"no key";
        wchar_t data[50] = L"";
        DWORD size = sizeof(data);
        status = RegQueryValueExW(key, L"v", nullptr, nullptr, reinterpret_cast<BYTE*>(data), &size);
        RegCloseKey(key);
        return status == ERROR_SUCCESS ? data : L"no value";
    }

    TemporaryFolder m_folder;
    std::filesystem::path m_file = m_folder.Path() / "file";
};

} // namespace

TEST_F(Layer, IniFilesAreUtf8)
{
    for (const char* mark : {"", "\xEF\xBB\xBF"}) {
        Write(std::string(mark) + "[\xC3\x84]\nk\xC3\xB6=\xE2\x82\xAC\n");
        EXPECT_EQ(Ini(L"\u00C4", L"k\u00F6"), L"\u20AC");
        EXPECT_EQ(Ini(L"\u00E4", L"K\u00D6"), L"\u20AC") << "whatever the case";
    }
    Write("[s]\nk=\xFF!\n");
    EXPECT_EQ(Ini(L"s", L"k"), L"\uFFFD!");
}

TEST_F(Layer, MessageModulesHaveCommentsAndEscapes)
{
    EXPECT_EQ(MessageOf("\n# 0x1 no\n0x1 Text\n"), L"Text");
    EXPECT_EQ(MessageOf("0x00000001 [0x0409] a\\tb\\\\n\\r\\n"), L"a\tb\\n\r\n");
    EXPECT_EQ(MessageOf("0x1 first\r\n0x1 \xC3\xA4 \r\n"), L"\u00E4 ");
    EXPECT_EQ(MessageOf("0xFFFFFFFF other"), L"");
}

TEST_F(Layer, MalformedMessageModuleIsNotLoaded)
{
    for (const char* line : {"1 Text", "0x Text", "0x123456789 Text", "0x1Text", "0x1 [0409] Text", "0x1 [0x0409]Text",
                             "0x1 [x", "0x1 bad \\x", "0x1 bad \\", "text"}) {
        const DebugOutputCapture output;
        EXPECT_EQ(MessageOf(std::string("0x1 good\r\n# comment\r\n") + line), std::to_wstring(ERROR_BAD_EXE_FORMAT));
        EXPECT_THAT(output.Texts(), ElementsAre(HasSubstr(L"\\file(3): expected a message like"))) << line;
    }
}

TEST_F(Layer, RegistryFileHasKeysAndValues)
{
    EXPECT_EQ(Registry("# comment\n\n[HKLM\\Software\\X]\nv = REG_SZ: a=b:c \n"), L" a=b:c ");
    EXPECT_EQ(Registry("[hkey_local_machine\\software\\x]\r\nV=REG_SZ:1\r\nv=REG_SZ:2\r\n"), L"2");
    EXPECT_EQ(Registry("[HKLM\\Software\\X]\n[HKCU\\Software\\X]\nv=REG_SZ:1\n[HKLM\\Software\\X\\Y]\nv=REG_SZ:1\n"),
              L"no value");
    EXPECT_EQ(Registry("[HKLM\\Software\\X\\Y]\n"), L"no value") << "a key's parent is there";
    EXPECT_EQ(Registry("[HKLM\\Software\\XY]\n[HKCU\\Software\\X]\n"), L"no key");
    EXPECT_EQ(Registry("[HKLM\\Software\\X]\nv=REG_DWORD:0x41\n"), L"A");
}

TEST_F(Layer, MalformedRegistryFileHasNoKeys)
{
    for (const char* line : {"[HKLX\\Software]", "[HKLM\\Software", "v", "v = text", "v = REG_BINARY:00", "= REG_SZ:x",
                             "v = REG_DWORD:", "v = REG_DWORD:x", "v = REG_DWORD:4294967296", "v = REG_DWORD:-1"}) {
        const DebugOutputCapture output;
        EXPECT_EQ(Registry(std::string("[HKLM\\Software\\X]\nv=REG_SZ:1\n") + line), L"no key");
        EXPECT_THAT(output.Texts(), ElementsAre(HasSubstr(L"\\file(3): expected a key like"))) << line;
    }
    const DebugOutputCapture output;
    EXPECT_EQ(Registry("v = REG_SZ:x\n[HKLM\\Software\\X]\n"), L"no key") << "a value outside of keys";
    EXPECT_THAT(output.Texts(), ElementsAre(HasSubstr(L"\\file(1)")));
}

TEST_F(Layer, NoRegistryFileIsAnEmptyRegistry)
{
    const DebugOutputCapture output;
    HKEY key = nullptr;
    EXPECT_EQ(RegOpenKeyExW(HKEY_LOCAL_MACHINE, L"Software", 0, KEY_READ, &key), LSTATUS{ERROR_FILE_NOT_FOUND});
    EXPECT_THAT(output.Texts(), IsEmpty());
}

TEST_F(Layer, WritesOfSeveralThreadsStayWhole)
{
    HANDLE file = CreateFileW(m_file.wstring().c_str(), FILE_APPEND_DATA, 7, nullptr, OPEN_ALWAYS, 0x80, nullptr);
    const auto write = [file](char c) {
        const std::string line = std::string(99, c) + '\n';
        DWORD written = 0;
        for (int i = 0; i < 50; ++i)
            EXPECT_TRUE(WriteFile(file, line.data(), 100, &written, nullptr));
    };
    std::thread other(write, 'a');
    write('b');
    other.join();
    EXPECT_TRUE(CloseHandle(file));
    std::ifstream stream(m_file);
    int lines = 0;
    for (std::string line; std::getline(stream, line); ++lines)
        EXPECT_EQ(line, std::string(99, line.front()));
    EXPECT_EQ(lines, 100);
}

TEST_F(Layer, FullDiskIsReported)
{
    HANDLE full = CreateFileW(L"\\dev\\full", FILE_APPEND_DATA, 7, nullptr, OPEN_ALWAYS, 0x80, nullptr);
    DWORD written = 1;
    EXPECT_EQ(ErrorOf([&] { EXPECT_FALSE(WriteFile(full, "x", 1, &written, nullptr)); }), ERROR_DISK_FULL);
    EXPECT_EQ(written, 0U);
    EXPECT_TRUE(CloseHandle(full));
}

TEST_F(Layer, SystemMessagesAreEnglish)
{
    EXPECT_EQ(Message(ERROR_ACCESS_DENIED), L"Access is denied.\r\n");
    EXPECT_EQ(Message(static_cast<DWORD>(REGDB_E_CLASSNOTREG), 0x0409), L"Class not registered.\r\n");
    EXPECT_EQ(ErrorOf([] { EXPECT_EQ(Message(5, 0x0407), L""); }), ERROR_RESOURCE_LANG_NOT_FOUND);
}

TEST_F(Layer, LocalTimeFollowsTheZoneOfTheEnvironment)
{
    SetEnvironmentVariableW(L"TZ", L"XST-5:30");
    const std::time_t start = 0;
    std::localtime(&start); // reads the variable anew
    const FILETIME utc{10, 0};
    FILETIME local{};
    EXPECT_TRUE(FileTimeToLocalFileTime(&utc, &local));
    SetEnvironmentVariableW(L"TZ", nullptr);
    std::localtime(&start);
    EXPECT_EQ((ULONGLONG{local.dwHighDateTime} << 32) | local.dwLowDateTime, 10 + 19800 * 10000000ULL);
}
