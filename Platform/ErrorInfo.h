// What a thread knows of a failure beyond its code. On Windows it is COM's error information.
#pragma once

#include "Platform/Types.h"

#include <memory>
#include <string>

namespace Platform
{

// A counted reference to error information, which does not change once it is made; or to none.
class ErrorInfo
{
public:
    // `origin` tells who made it. None when it cannot be made.
    static ErrorInfo Make(const GUID& origin, const std::wstring& description) noexcept;

    // Takes the calling thread's error information, which has none then.
    static ErrorInfo TakeFromThread() noexcept;

    // Becomes the calling thread's error information; none clears it.
    void LeaveOnThread() const noexcept;

    // Empty when it has none.
    std::wstring Description() const;

    // All zeros when it has none.
    GUID Origin() const;

    explicit operator bool() const { return m_object != nullptr; }

private:
    std::shared_ptr<void> m_object;
};

} // namespace Platform
