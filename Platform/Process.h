// The process and its threads as the log shows them: identifiers, wall-clock time, call stacks, debugger output.
#pragma once

#include "Platform/Types.h"

#include <string>

namespace Platform
{

std::uint32_t ProcessId();
std::uint32_t ThreadId();

// The process's command line as one text.
std::wstring CommandLine();

// The wall clock as finely as the system has it: UTC, 100-nanosecond units since 1601. Any thread.
std::uint64_t SystemTime();

struct CivilTime
{
    unsigned year, month, day, hour, minute, second, millisecond;
};

// The local time of a SystemTime by today's difference of the zone. Any thread.
CivilTime ToLocalTime(std::uint64_t systemTime);

// Stores the return addresses of the calling thread's frames, innermost first; frame 0 is the caller's. Returns how
// many were stored. Any thread.
unsigned CaptureCallStack(unsigned framesToSkip, void** frames, unsigned count);

// Hands a text to the debugger; without one, natively, it appears on standard error. Allocates nothing on Windows and
// loses the text where memory is short. Any thread.
void WriteDebugOutput(const wchar_t* text) noexcept;

// Keeps what the calling thread last failed with (the last error, natively errno) over a scope whose own calls may
// change it.
class LastErrorKeeper
{
public:
    LastErrorKeeper();
    ~LastErrorKeeper();
    LastErrorKeeper(const LastErrorKeeper&) = delete;
    LastErrorKeeper& operator=(const LastErrorKeeper&) = delete;

private:
    const std::uint32_t m_error;
};

// The identity of a client that a thread has taken on. One instance belongs to one thread.
class ThreadToken
{
public:
    ThreadToken() = default;
    ~ThreadToken();
    ThreadToken(const ThreadToken&) = delete;
    ThreadToken& operator=(const ThreadToken&) = delete;

    // Takes a reference to the calling thread's token. S_FALSE when the thread acts as the process.
    HRESULT Open();

    // Makes the thread act as the process; makes it act under the token again.
    HRESULT TakeOff() const;
    HRESULT PutBack() const;

private:
    void* m_token = nullptr;
};

} // namespace Platform
