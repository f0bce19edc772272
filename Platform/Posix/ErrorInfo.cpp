#include "Platform/ErrorInfo.h"

#include <atomic>
#include <memory>
#include <utility>

namespace Platform
{

namespace
{

struct Information
{
    std::atomic<unsigned> references;
    const GUID origin;
    const std::wstring description;
};

Information* AsInformation(void* object)
{
    return static_cast<Information*>(object);
}

thread_local ErrorInfo threadErrorInfo;

} // namespace

ErrorInfo::ErrorInfo(const ErrorInfo& other) noexcept : m_object(other.m_object)
{
    if (m_object)
        ++AsInformation(m_object)->references;
}

ErrorInfo::ErrorInfo(ErrorInfo&& other) noexcept : m_object(std::exchange(other.m_object, nullptr)) {}

ErrorInfo& ErrorInfo::operator=(ErrorInfo other) noexcept
{
    std::swap(m_object, other.m_object);
    return *this;
}

ErrorInfo::~ErrorInfo()
{
    if (m_object && --AsInformation(m_object)->references == 0)
        std::unique_ptr<Information>(AsInformation(m_object)).reset();
}

ErrorInfo ErrorInfo::Make(const GUID& origin, const std::wstring& description) noexcept
try {
    ErrorInfo made;
    made.m_object = new Information{1, origin, description};
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
    return m_object ? AsInformation(m_object)->description : std::wstring();
}

GUID ErrorInfo::Origin() const
{
    return m_object ? AsInformation(m_object)->origin : GUID{};
}

} // namespace Platform
