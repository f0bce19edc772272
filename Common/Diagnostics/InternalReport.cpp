#include "Common/Diagnostics/InternalReport.h"

#include "Common/Foundation/Handles.h"

void InternalReport(const std::wstring& message) noexcept
try {
    const LastErrorKeeper keepLastError;
    OutputDebugStringW((message + L"\n").c_str());
} catch (...) {
    // Out of memory: there is nobody left to tell.
}
