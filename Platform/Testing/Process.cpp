#include "Platform/Testing/Process.h"

#include "Platform/Modules.h"
#include "Platform/Process.h"
#include "Platform/Text.h"

#include <cerrno>
#include <cstdlib>
#include <iterator>
#ifdef _WIN32
#include <windows.h>
// The order counts.
#include <share.h>
#include <tlhelp32.h>
#else
#include <sys/file.h>
#include <sys/wait.h>
#endif

void* OpenModule(const char* path)
{
    auto module = std::make_unique<Platform::NativeModule>();
    const bool loaded = Platform::NativeModule::Load(std::filesystem::path(path).wstring(), *module) >= 0;
    return loaded ? module.release() : nullptr;
}

void (*FindExport(void* module, const char* name))(void)
{
    return reinterpret_cast<void (*)(void)>(static_cast<Platform::NativeModule*>(module)->Find(name));
}

void CloseModule(void* module)
{
    const std::unique_ptr<Platform::NativeModule> owner(static_cast<Platform::NativeModule*>(module));
}

int IsModuleAt(const void* address)
{
    return Platform::FindModule(address) != nullptr;
}

#ifdef _WIN32

unsigned CountProcessThreads()
{
    const std::unique_ptr<void, decltype(&CloseHandle)> snapshot(CreateToolhelp32Snapshot(TH32CS_SNAPTHREAD, 0),
                                                                 &CloseHandle);
    THREADENTRY32 entry{};
    entry.dwSize = sizeof(entry);
    unsigned count = 0;
    for (BOOL more = Thread32First(snapshot.get(), &entry); more; more = Thread32Next(snapshot.get(), &entry)) {
        if (entry.th32OwnerProcessID == GetCurrentProcessId())
            ++count;
    }
    return count;
}

unsigned CountProcessHandles()
{
    // Wine does not answer GetProcessHandleCount. Handles are small multiples of 4.
    unsigned count = 0;
    for (std::uintptr_t value = 4; value < 0x8000; value += 4) {
        DWORD flags = 0;
        if (GetHandleInformation(reinterpret_cast<HANDLE>(value), &flags))
            ++count;
    }
    return count;
}

int RunInShell(const std::string& commandLine)
{
    // The shell takes the first and the last quote off.
    return _wsystem((L'"' + Text::FromUtf8(commandLine) + L'"').c_str());
}

std::shared_ptr<std::FILE> OpenForItself(const std::filesystem::path& path)
{
    std::FILE* const file = _wfsopen(path.c_str(), L"a", _SH_DENYRW);
    return file ? std::shared_ptr<std::FILE>(file, &std::fclose) : nullptr;
}

void SetLastFailure(int code)
{
    SetLastError(static_cast<DWORD>(code));
}

int LastFailure()
{
    return static_cast<int>(GetLastError());
}

bool Impersonate()
{
    return ImpersonateSelf(SecurityImpersonation);
}

void SpeakGerman()
{
    SetThreadLocale(MAKELCID(0x407, SORT_DEFAULT));
}

#else

static unsigned CountEntries(const char* folder)
{
    const std::filesystem::directory_iterator entries(folder);
    return static_cast<unsigned>(std::distance(begin(entries), end(entries)));
}

unsigned CountProcessThreads()
{
    return CountEntries("/proc/self/task");
}

unsigned CountProcessHandles()
{
    return CountEntries("/proc/self/fd");
}

int RunInShell(const std::string& commandLine)
{
    const int status = std::system(commandLine.c_str());
    return WIFEXITED(status) ? WEXITSTATUS(status) : 128 + WTERMSIG(status);
}

std::shared_ptr<std::FILE> OpenForItself(const std::filesystem::path& path)
{
    std::FILE* const file = std::fopen(path.c_str(), "a");
    const bool locked = file && flock(fileno(file), LOCK_EX | LOCK_NB) == 0;
    return locked ? std::shared_ptr<std::FILE>(file, &std::fclose) : nullptr;
}

void SetLastFailure(int code)
{
    errno = code;
}

int LastFailure()
{
    return errno;
}

bool Impersonate()
{
    return Platform::ThreadToken().PutBack() == S_OK;
}

void SpeakGerman() {}

#endif
