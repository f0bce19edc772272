#include "Platform/Testing/Process.h"

#include "Platform/Win32.h"

#ifdef _WIN32

#include <memory>
#include <tlhelp32.h>

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

bool RunsUnderWine()
{
    return GetProcAddress(GetModuleHandleW(L"ntdll.dll"), "wine_get_version") != nullptr;
}

#else

#include <filesystem>
#include <iterator>

unsigned CountProcessThreads()
{
    const std::filesystem::directory_iterator tasks("/proc/self/task");
    return static_cast<unsigned>(std::distance(begin(tasks), end(tasks)));
}

bool RunsUnderWine()
{
    return false;
}

#endif
