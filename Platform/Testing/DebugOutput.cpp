#include "Platform/Testing/DebugOutput.h"

#include <mutex>
#ifdef _WIN32
#include <windows.h>
#else
#include "Platform/Posix/TestHooks.h"
#endif

namespace
{

std::mutex recordLock;
std::wstring recorded; // guarded by recordLock

void Record(const wchar_t* text)
{
    const std::lock_guard guard(recordLock);
    recorded += text;
}

#ifdef _WIN32

// Output raises an exception of its own.
LONG CALLBACK OnException(EXCEPTION_POINTERS* exception)
{
    constexpr DWORD wideOutput = 0x4001000A;
    const EXCEPTION_RECORD& record = *exception->ExceptionRecord;
    if (record.ExceptionCode != wideOutput)
        return EXCEPTION_CONTINUE_SEARCH;
    Record(reinterpret_cast<const wchar_t*>(record.ExceptionInformation[1]));
    return EXCEPTION_CONTINUE_EXECUTION;
}

#endif

} // namespace

DebugOutputCapture::DebugOutputCapture()
{
    const std::lock_guard guard(recordLock);
    recorded.clear();
#ifdef _WIN32
    m_registration = AddVectoredExceptionHandler(1, &OnException);
#else
    debugOutputHook = &Record;
#endif
}

DebugOutputCapture::~DebugOutputCapture()
{
#ifdef _WIN32
    RemoveVectoredExceptionHandler(m_registration);
#else
    debugOutputHook = nullptr;
#endif
}

std::wstring DebugOutputCapture::Text() const
{
    const std::lock_guard guard(recordLock);
    return recorded;
}
