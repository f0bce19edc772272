#include "Platform/Process.h"

#include "Platform/Posix/DebugOutputHook.h"
#include "Platform/Posix/TextFile.h"
#include "Platform/Posix/ThreadIdentity.h"
#include "Platform/Posix/WriteWithoutSignal.h"
#include "Platform/Text.h"

#include <cerrno>
#include <chrono>
#include <ctime>
#include <unistd.h>
#include <unwind.h>

std::atomic<void (*)(const wchar_t* text)> debugOutputHook{nullptr};

namespace Platform
{

namespace
{

struct Capture
{
    std::uint64_t skip;
    unsigned size;
    void** frames;
    unsigned count;
};

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
    capture.frames[capture.count++] = reinterpret_cast<void*>(address);
    return _URC_NO_REASON;
}

} // namespace

std::uint32_t ProcessId()
{
    return static_cast<std::uint32_t>(getpid());
}

std::uint32_t ThreadId()
{
    return static_cast<std::uint32_t>(gettid());
}

// Arguments with blanks stand in quotes.
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

std::uint64_t SystemTime()
{
    constexpr std::int64_t secondsFrom1601To1970 = 11644473600;
    timespec now{};
    clock_gettime(CLOCK_REALTIME, &now);
    return static_cast<std::uint64_t>((now.tv_sec + secondsFrom1601To1970) * 10000000 + now.tv_nsec / 100);
}

CivilTime ToLocalTime(std::uint64_t systemTime)
{
    using namespace std::chrono;
    using Units = duration<std::int64_t, std::ratio<1, 10000000>>;
    // The zone's difference of today applies, whatever day it is.
    const time_t now = time(nullptr);
    tm today{};
    localtime_r(&now, &today);
    const auto units = static_cast<std::int64_t>(systemTime + static_cast<std::uint64_t>(today.tm_gmtoff * 10000000));
    if (units < 0)
        return {};
    const sys_time<Units> time = sys_days{year{1601} / 1 / 1} + Units{units};
    const sys_days day = floor<days>(time);
    const year_month_day date{day};
    const hh_mm_ss clock{floor<milliseconds>(time - day)};
    return {static_cast<unsigned>(static_cast<int>(date.year())),
            static_cast<unsigned>(date.month()),
            static_cast<unsigned>(date.day()),
            static_cast<unsigned>(clock.hours().count()),
            static_cast<unsigned>(clock.minutes().count()),
            static_cast<unsigned>(clock.seconds().count()),
            static_cast<unsigned>(clock.subseconds().count())};
}

// The first frame that the unwinder shows is this function's.
[[gnu::noinline]] unsigned CaptureCallStack(unsigned framesToSkip, void** frames, unsigned count)
{
    Capture capture{std::uint64_t{framesToSkip} + 1, count, frames, 0};
    _Unwind_Backtrace(&AddFrame, &capture);
    return capture.count;
}

void WriteDebugOutput(const wchar_t* text) noexcept
try {
    if (const auto hook = debugOutputHook.load()) {
        hook(text);
    } else {
        const std::string bytes = Text::ToUtf8(text);
        [[maybe_unused]] const ssize_t lost = WriteWithoutSignal(STDERR_FILENO, bytes.data(), bytes.size());
    }
} catch (...) {
    // A text that there is no memory for is lost: nobody waits for an answer.
}

LastErrorKeeper::LastErrorKeeper() : m_error(static_cast<std::uint32_t>(errno)) {}

LastErrorKeeper::~LastErrorKeeper()
{
    errno = static_cast<int>(m_error);
}

// There are no clients' identities here: tests give a thread one to see that it is taken off and put back.
thread_local bool threadHasIdentity = false;

ThreadToken::~ThreadToken() = default;

HRESULT ThreadToken::Open()
{
    return threadHasIdentity ? S_OK : S_FALSE;
}

HRESULT ThreadToken::TakeOff() const
{
    threadHasIdentity = false;
    return S_OK;
}

HRESULT ThreadToken::PutBack() const
{
    threadHasIdentity = true;
    return S_OK;
}

} // namespace Platform
