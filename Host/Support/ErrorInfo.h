// Error information that the host's libraries leave on the thread when a call fails.
#pragma once

#include "Platform/ErrorInfo.h"

#include <string>

namespace Host
{

// The GUID under which the host's own errors are published.
inline constexpr GUID ErrorSource{0x5E0B6F1D, 0x2C43, 0x4B8A, {0x91, 0x7E, 0xD4, 0x3A, 0x60, 0xC8, 0x1F, 0x92}};

// Makes `text` the description in the thread's error information and returns `result`, also when the description could
// not be left.
inline HRESULT FailWithDescription(HRESULT result, const std::wstring& text) noexcept
{
    Platform::ErrorInfo::Make(ErrorSource, text).LeaveOnThread();
    return result;
}

} // namespace Host
