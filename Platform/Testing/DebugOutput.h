// What the process hands to the debugger, for tests.
#pragma once

#include <functional>
#include <string>
#ifdef _WIN32
#include <windows.h>
#else
#include "Platform/Text.h"

#include <gtest/gtest.h>
#endif

// Runs `action` and returns the texts that it hands to Platform::WriteDebugOutput, in the order of the calls; natively
// whatever goes to standard error. For one thread at a time.
inline std::wstring DebugOutputOf(const std::function<void()>& action)
{
#ifdef _WIN32
    static std::string recorded;
    recorded.clear();
    // Output raises an exception of its own, whose text is narrow. Tests have ASCII only.
    void* const handler = AddVectoredExceptionHandler(1, [](EXCEPTION_POINTERS* exception) -> LONG {
        constexpr DWORD narrowOutput = 0x40010006;
        const EXCEPTION_RECORD& record = *exception->ExceptionRecord;
        if (record.ExceptionCode != narrowOutput)
            return EXCEPTION_CONTINUE_SEARCH;
        recorded += reinterpret_cast<const char*>(record.ExceptionInformation[1]);
        return EXCEPTION_CONTINUE_EXECUTION;
    });
    action();
    RemoveVectoredExceptionHandler(handler);
    return {recorded.begin(), recorded.end()};
#else
    testing::internal::CaptureStderr();
    action();
    return Text::FromUtf8(testing::internal::GetCapturedStderr());
#endif
}
