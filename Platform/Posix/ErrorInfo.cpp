#include "Platform/ErrorInfo.h"

#include <utility>

namespace Platform
{

namespace
{

struct Information
{
    GUID origin;
    std::wstring description;
};

thread_local ErrorInfo threadErrorInfo;

} // namespace

ErrorInfo ErrorInfo::Make(const GUID& origin, const std::wstring& description) noexcept
try {
    ErrorInfo made;
    made.m_object = std::make_shared<Information>(Information{origin, description});
    return made;
} catch (...) {
    return {};
}

ErrorInfo ErrorInfo::TakeFromThread() noexcept
{
    return std::exchange(threadErrorInfo, ErrorInfo());
}

void ErrorInfo::LeaveOnThread() const noexcept
{
    threadErrorInfo = *this;
}

std::wstring ErrorInfo::Description() const
{
    return m_object ? static_cast<const Information*>(m_object.get())->description : std::wstring();
}

GUID ErrorInfo::Origin() const
{
    return m_object ? static_cast<const Information*>(m_object.get())->origin : GUID{};
}

} // namespace Platform
