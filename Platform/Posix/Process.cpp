#include "Platform/Process.h"

#include "Platform/Posix/TextFile.h"
#include "Platform/Posix/WriteWithoutSignal.h"
#include "Platform/Text.h"

#include <algorithm>
#include <atomic>
#include <cerrno>
#include <ctime>
#include <pthread.h>
#include <unistd.h>
#include <unwind.h>

namespace Platform
{

namespace
{

// There are no clients' identities here: tests give a thread one to see that it is taken off and put back.
thread_local bool threadHasIdentity = false;

// Every log line has both, and the kernel's answer costs as much as all other columns together. 0: not asked yet.
std::atomic<std::uint32_t> processId{0};
thread_local std::uint32_t threadId = 0;

// They are others in a forked child.
[[maybe_unused]] const int forgetting = pthread_atfork(nullptr, nullptr, [] {
    processId = 0;
    threadId = 0;
});

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
    std::uint32_t id = processId.load(std::memory_order_relaxed);
    if (id == 0)
        processId = id = static_cast<std::uint32_t>(getpid());
    return id;
}

std::uint32_t ThreadId()
{
    if (threadId == 0)
        threadId = static_cast<std::uint32_t>(gettid());
    return threadId;
}

std::wstring CommandLine()
{
    std::wstring line = ReadTextFile(L"/proc/self/cmdline").value_or(L"");
    std::replace(line.begin(), line.end(), L'\0', L' ');
    return line.substr(0, line.find_last_not_of(L' ') + 1);
}

constexpr std::int64_t secondsFrom1601To1970 = 11644473600;
constexpr std::int64_t unitsPerSecond = 10'000'000;

std::uint64_t SystemTime()
{
    timespec now{};
    clock_gettime(CLOCK_REALTIME, &now);
    return static_cast<std::uint64_t>((now.tv_sec + secondsFrom1601To1970) * unitsPerSecond + now.tv_nsec / 100);
}

CivilTime ToLocalTime(std::uint64_t systemTime)
{
    // The zone's difference of today applies, whatever day it is.
    const time_t now = time(nullptr);
    tm today{};
    localtime_r(&now, &today);
    const auto units = static_cast<std::int64_t>(systemTime);
    const time_t local = units / unitsPerSecond - secondsFrom1601To1970 + today.tm_gmtoff;
    tm civil{};
    gmtime_r(&local, &civil);
    const auto number = [](std::int64_t value) { return static_cast<unsigned>(value); };
    return {number(civil.tm_year + 1900),
            number(civil.tm_mon + 1),
            number(civil.tm_mday),
            number(civil.tm_hour),
            number(civil.tm_min),
            number(civil.tm_sec),
            number(units % unitsPerSecond / 10'000)};
}

// The first frame that the unwinder shows is this function's. Not backtrace(): sanitizers put a frame of theirs
// between.
[[gnu::noinline]] unsigned CaptureCallStack(unsigned framesToSkip, void** frames, unsigned count)
{
    Capture capture{std::uint64_t{framesToSkip} + 1, count, frames, 0};
    _Unwind_Backtrace(&AddFrame, &capture);
    return capture.count;
}

void WriteDebugOutput(const wchar_t* text) noexcept
try {
    WriteWithoutSignal(STDERR_FILENO, Text::ToUtf8(text));
} catch (...) {
    // A text that there is no memory for is lost: nobody waits for an answer.
}

LastErrorKeeper::LastErrorKeeper() : m_error(static_cast<std::uint32_t>(errno)) {}

LastErrorKeeper::~LastErrorKeeper()
{
    errno = static_cast<int>(m_error);
}

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
