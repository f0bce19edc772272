#include "Platform/Files.h"
#include "Platform/Modules.h"
#include "Platform/Process.h"
#include "Platform/Settings.h"
#include "Platform/Testing/DebugOutput.h"
#include "Platform/Testing/TemporaryFolder.h"

#include <csignal>
#include <ctime>
#include <fcntl.h>
#include <fstream>
#include <gtest/gtest.h>
#include <sys/resource.h>
#include <sys/stat.h>

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

Platform::AppendFile OpenLog(const std::filesystem::path& path)
{
    Platform::AppendFile file;
    EXPECT_EQ(Platform::AppendFile::Open(path.wstring(), file), S_OK);
    return file;
}

bool IsPending(int signal)
{
    sigset_t pending;
    return sigpending(&pending) == 0 && sigismember(&pending, signal) == 1;
}

bool IsBlocked(int signal)
{
    sigset_t blocked;
    return pthread_sigmask(SIG_BLOCK, nullptr, &blocked) == 0 && sigismember(&blocked, signal) == 1;
}

// The largest size of files that the process may write.
class FileSizeLimit
{
public:
    explicit FileSizeLimit(rlim_t size)
    {
        getrlimit(RLIMIT_FSIZE, &m_before);
        const rlimit limit{size, m_before.rlim_max};
        EXPECT_EQ(setrlimit(RLIMIT_FSIZE, &limit), 0);
    }
    ~FileSizeLimit() { setrlimit(RLIMIT_FSIZE, &m_before); }

private:
    rlimit m_before{};
};

} // namespace

// The answer is message 1, or the error of the load.
TEST(Posix, MessageModules)
{
    const std::vector<FileRow> rows{
#include "Tests/Platform/Posix/MessageModules.inl"
    };
    Expect(rows, [](const wchar_t* path) {
        Platform::MessageModule module;
        const HRESULT hr = Platform::MessageModule::Load(path, module);
        return hr < 0 ? std::to_wstring(hr & 0xFFFF) : module.Find(1).value_or(L"");
    });
}

// The answer is value "v" of HKLM\\Software\\X.
TEST(Posix, RegistryFiles)
{
    const std::vector<FileRow> rows{
#include "Tests/Platform/Posix/RegistryFiles.inl"
    };
    const auto read = [](const wchar_t* path) {
        Platform::SetVariable(L"KESTRINE_REGISTRY_FILE", path);
        auto texts = Platform::RegistryTexts(Platform::RegistryRoot::LocalMachine, L"Software\\X");
        return texts.empty() ? L"no text" : texts.begin()->second;
    };
    Expect(rows, read);
    Expect({{"[HKLM\\Software\\X]\nv = REG_SZ:1\n", L"no text"}}, [read](const wchar_t*) { return read(nullptr); });
}

TEST(Posix, FullDiskIsReported)
{
    EXPECT_EQ(OpenLog("/dev/full").Write("x"), HResultFromWin32(ERROR_DISK_FULL));
}

TEST(Posix, ABrokenPipeIsAFailureAndNoSignal)
{
    const TemporaryFolder folder;
    const std::filesystem::path pipe = folder.Path() / "pipe";
    ASSERT_EQ(mkfifo(pipe.c_str(), 0600), 0);
    const int reader = open(pipe.c_str(), O_RDONLY | O_NONBLOCK | O_CLOEXEC);
    const Platform::AppendFile file = OpenLog(pipe);
    close(reader);
    EXPECT_EQ(file.Write("line"), HResultFromWin32(ERROR_NO_DATA));
    EXPECT_FALSE(IsPending(SIGPIPE) || IsBlocked(SIGPIPE));
}

TEST(Posix, ALineThatDoesNotFitIsTakenBackAndEndsNobody)
{
    const TemporaryFolder folder;
    const std::filesystem::path path = folder.Path() / "log";
    const Platform::AppendFile file = OpenLog(path);
    ASSERT_EQ(file.Write("abcd"), S_OK);
    const auto failAtTheLimit = [&](rlim_t limit) {
        const FileSizeLimit scope(limit);
        return file.Write("efgh");
    };
    EXPECT_EQ(failAtTheLimit(7), HResultFromWin32(ERROR_FILE_TOO_LARGE)) << "three bytes fit";
    EXPECT_EQ(std::filesystem::file_size(path), 4U);
    EXPECT_FALSE(IsPending(SIGXFSZ) || IsBlocked(SIGXFSZ));
    ASSERT_EQ(file.Write("ij"), S_OK);
    std::ifstream content(path);
    EXPECT_EQ(std::string(std::istreambuf_iterator<char>(content), {}), "abcdij");

    // A signal that somebody else has raised stays for them.
    sigset_t signals;
    sigemptyset(&signals);
    sigaddset(&signals, SIGXFSZ);
    pthread_sigmask(SIG_BLOCK, &signals, nullptr);
    pthread_kill(pthread_self(), SIGXFSZ);
    failAtTheLimit(6);
    EXPECT_TRUE(IsPending(SIGXFSZ) && IsBlocked(SIGXFSZ));
    const timespec atOnce{};
    EXPECT_EQ(sigtimedwait(&signals, nullptr, &atOnce), SIGXFSZ);
}

TEST(Posix, FilesAndFoldersAreForOwnerAndGroup)
{
    const TemporaryFolder folder;
    umask(0);
    EXPECT_EQ(Platform::CreateFolder((folder.Path() / "sub").wstring()), S_OK);
    EXPECT_TRUE(OpenLog(folder.Path() / "sub" / "log"));
    const auto mode = [&](const char* name) {
        return int(std::filesystem::status(folder.Path() / name).permissions());
    };
    EXPECT_EQ(mode("sub"), 0750);
    EXPECT_EQ(mode("sub/log"), 0640);
}

TEST(Posix, LocalTimeFollowsTheZoneOfTheEnvironment)
{
    Platform::SetVariable(L"TZ", L"XST-5:30");
    tzset();
    const Platform::CivilTime local = Platform::ToLocalTime(10);
    Platform::SetVariable(L"TZ", nullptr);
    tzset();
    EXPECT_EQ(local.year, 1601U);
    EXPECT_EQ(local.hour * 60 + local.minute, 330U);
}
