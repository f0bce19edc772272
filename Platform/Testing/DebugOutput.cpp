#include "Platform/Testing/DebugOutput.h"

#include <mutex>
#ifdef _WIN32
#include <windows.h>
#else
#include "Platform/Posix/DebugOutputHook.h"
#endif

namespace
{

std::mutex recordLock;
std::vector<std::wstring> recorded;

void Record(std::wstring text)
{
    const std::lock_guard guard(recordLock);
    recorded.push_back(std::move(text));
}

#ifdef _WIN32

// Wide output raises an exception of its own; where that is not known the text comes as narrow output.
constexpr DWORD wideOutput = 0x4001000A;
constexpr DWORD narrowOutput = 0x40010006;

std::wstring FromAnsi(const char* text)
{
    std::wstring wide(static_cast<std::size_t>(MultiByteToWideChar(CP_ACP, 0, text, -1, nullptr, 0)), L'\0');
    MultiByteToWideChar(CP_ACP, 0, text, -1, wide.data(), static_cast<int>(wide.size()));
    wide.pop_back();
    return wide;
}

LONG CALLBACK OnException(EXCEPTION_POINTERS* exception)
{
    const EXCEPTION_RECORD& record = *exception->ExceptionRecord;
    if (record.ExceptionCode == wideOutput)
        Record(reinterpret_cast<const wchar_t*>(record.ExceptionInformation[1]));
    else if (record.ExceptionCode == narrowOutput)
        Record(FromAnsi(reinterpret_cast<const char*>(record.ExceptionInformation[1])));
    else
        return EXCEPTION_CONTINUE_SEARCH;
    return EXCEPTION_CONTINUE_EXECUTION;
}

void* Register()
{
    return AddVectoredExceptionHandler(1, &OnException);
}

void Unregister(void* registration)
{
    RemoveVectoredExceptionHandler(registration);
}

#else

void OnOutput(const wchar_t* text)
{
    Record(text);
}

void* Register()
{
    debugOutputHook = &OnOutput;
    return nullptr;
}

void Unregister(void*)
{
    debugOutputHook = nullptr;
}

#endif

} // namespace

DebugOutputCapture::DebugOutputCapture()
{
    const std::lock_guard guard(recordLock);
    recorded.clear();
    m_registration = Register();
}

DebugOutputCapture::~DebugOutputCapture()
{
    Unregister(m_registration);
}

std::vector<std::wstring> DebugOutputCapture::Texts() const
{
    const std::lock_guard guard(recordLock);
    return recorded;
}
