#include "Platform/Testing/DebugOutput.h"

#include <mutex>
#include <string_view>
#ifdef _WIN32
#include <windows.h>
#else
#include "Platform/Posix/TestHooks.h"
#endif

namespace
{

std::mutex recordLock;
std::wstring recorded; // guarded by recordLock

void Record(std::wstring_view text)
{
    const std::lock_guard guard(recordLock);
    recorded += text;
}

#ifdef _WIN32

// Output raises an exception of its own, whose text is narrow. Tests have ASCII only.
LONG CALLBACK OnException(EXCEPTION_POINTERS* exception)
{
    constexpr DWORD narrowOutput = 0x40010006;
    const EXCEPTION_RECORD& record = *exception->ExceptionRecord;
    if (record.ExceptionCode != narrowOutput)
        return EXCEPTION_CONTINUE_SEARCH;
    const std::string_view text = reinterpret_cast<const char*>(record.ExceptionInformation[1]);
    Record(std::wstring(text.begin(), text.end()));
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
    debugOutputHook = [](const wchar_t* text) { Record(text); };
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
