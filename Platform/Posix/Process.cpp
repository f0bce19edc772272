#include "Platform/Posix/DebugOutputHook.h"
#include "Platform/Posix/Failure.h"
#include "Platform/Posix/TextFile.h"
#include "Platform/Posix/Win32Process.h"
#include "Platform/Text.h"

#include <algorithm>
#include <bit>
#include <cerrno>
#include <chrono>
#include <limits.h>
#include <thread>
#include <unistd.h>
#include <unwind.h>

std::atomic<void (*)(const wchar_t* text)> debugOutputHook{nullptr};

namespace
{

// The command line as one text: arguments with blanks in quotes.
std::wstring CommandLine()
{
    std::wstring arguments;
    std::wstring line;
    ReadTextFile("/proc/self/cmdline", arguments);
    for (std::size_t begin = 0; begin < arguments.size();) {
        const std::wstring argument = arguments.c_str() + begin;
        const bool quoted = argument.empty() || argument.find_first_of(L" \t") != argument.npos;
        line += (begin ? L" " : L"") + (quoted ? L'"' + argument + L'"' : argument);
        begin += argument.size() + 1;
    }
    return line;
}

struct Capture
{
    std::uint64_t skip;
    DWORD size;
    PVOID* frames;
    USHORT count;
};

// The host name's first label in upper case, as long as such a name can be.
std::wstring NetBiosName()
{
    char host[HOST_NAME_MAX + 1] = "";
    gethostname(host, sizeof(host) - 1);
    std::wstring name = Text::FromUtf8(host);
    name.resize(std::min({name.find(L'.'), name.size(), std::size_t{15}}));
    std::transform(name.begin(), name.end(), name.begin(), ToUpper);
    return name;
}

constexpr DWORD supportedVersionTypes = VER_MAJORVERSION | VER_MINORVERSION | VER_SERVICEPACKMAJOR;

// Three bits of the mask for each kind of version component.
int ConditionPlace(DWORD type)
{
    return 3 * std::countr_zero(type);
}

_Unwind_Reason_Code AddFrame(_Unwind_Context* context, void* argument)
{
    Capture& capture = *static_cast<Capture*>(argument);
    if (capture.skip > 0) {
        --capture.skip;
        return _URC_NO_REASON;
    }
    const _Unwind_Ptr address = _Unwind_GetIP(context);
    if (capture.count == capture.size || address == 0)
        return _URC_END_OF_STACK;
    capture.frames[capture.count++] = reinterpret_cast<PVOID>(address);
    return _URC_NO_REASON;
}

} // namespace

HANDLE GetCurrentProcess()
{
    return reinterpret_cast<HANDLE>(std::intptr_t{-1});
}

HANDLE GetCurrentThread()
{
    return reinterpret_cast<HANDLE>(std::intptr_t{-2});
}

DWORD GetCurrentProcessId()
{
    return static_cast<DWORD>(getpid());
}

DWORD GetCurrentThreadId()
{
    return static_cast<DWORD>(gettid());
}

LPWSTR GetCommandLineW()
try {
    static std::wstring line = CommandLine();
    return line.data();
} catch (...) {
    static wchar_t none[] = L"";
    return Fail(ExceptionCode(), none);
}

void Sleep(DWORD milliseconds)
{
    if (milliseconds == 0)
        std::this_thread::yield();
    else
        std::this_thread::sleep_for(std::chrono::milliseconds(milliseconds));
}

BOOL GetComputerNameExW(COMPUTER_NAME_FORMAT format, LPWSTR buffer, DWORD* size)
try {
    if (format != ComputerNameNetBIOS)
        return Fail(ERROR_NOT_SUPPORTED);
    if (!size || (!buffer && *size > 0))
        return Fail(ERROR_INVALID_PARAMETER);
    const std::wstring name = NetBiosName();
    const auto length = static_cast<DWORD>(name.size());
    if (*size <= length) {
        *size = length + 1;
        return Fail(ERROR_MORE_DATA);
    }
    std::copy_n(name.c_str(), length + 1, buffer);
    *size = length;
    return TRUE;
} catch (...) {
    return Fail(ExceptionCode());
}

void OutputDebugStringW(LPCWSTR text)
try {
    if (!text)
        return;
    if (const auto hook = debugOutputHook.load()) {
        hook(text);
    } else {
        const std::string bytes = Text::ToUtf8(text);
        [[maybe_unused]] const ssize_t lost = write(STDERR_FILENO, bytes.data(), bytes.size());
    }
} catch (...) {
    // A text that there is no memory for is lost: nobody waits for an answer.
}

ULONGLONG VerSetConditionMask(ULONGLONG mask, DWORD type, BYTE condition)
{
    // What is left out here is refused when it is verified.
    const bool supported = (type & supportedVersionTypes) == type && std::has_single_bit(type) && condition <= 7;
    return supported ? mask | (ULONGLONG{condition} << ConditionPlace(type)) : mask;
}

BOOL VerifyVersionInfoW(OSVERSIONINFOEXW* information, DWORD types, DWORDLONG mask)
{
    if (!information || types == 0)
        return Fail(ERROR_INVALID_PARAMETER);
    if ((types & ~supportedVersionTypes) != 0)
        return Fail(ERROR_NOT_SUPPORTED);
    struct Component
    {
        DWORD type;
        DWORD present;
        DWORD wanted;
    };
    const Component components[] = {{VER_MAJORVERSION, 10, information->dwMajorVersion},
                                    {VER_MINORVERSION, 0, information->dwMinorVersion},
                                    {VER_SERVICEPACKMAJOR, 0, information->wServicePackMajor}};
    for (const Component& component : components) {
        if ((types & component.type) == 0)
            continue;
        if (((mask >> ConditionPlace(component.type)) & 7) != VER_GREATER_EQUAL)
            return Fail(ERROR_NOT_SUPPORTED);
        if (component.present != component.wanted)
            return component.present > component.wanted ? TRUE : Fail(ERROR_OLD_WIN_VERSION);
    }
    return TRUE;
}

USHORT RtlCaptureStackBackTrace(DWORD framesToSkip, DWORD framesToCapture, PVOID* frames, DWORD* hash)
{
    if (hash)
        return Fail(ERROR_NOT_SUPPORTED, USHORT{0});
    // The first frame that the unwinder shows is this function's.
    Capture capture{std::uint64_t{framesToSkip} + 1, std::min<DWORD>(framesToCapture, 0xFFFF), frames, 0};
    _Unwind_Backtrace(&AddFrame, &capture);
    return capture.count;
}
