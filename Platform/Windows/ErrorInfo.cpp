#include "Platform/ErrorInfo.h"

#include <memory>
#include <oleauto.h>
#include <utility>

namespace Platform
{

namespace
{

IErrorInfo* AsInfo(void* object)
{
    return static_cast<IErrorInfo*>(object);
}

struct ReleaseInterface
{
    void operator()(IUnknown* object) const { object->Release(); }
};

} // namespace

ErrorInfo::ErrorInfo(const ErrorInfo& other) noexcept : m_object(other.m_object)
{
    if (m_object)
        AsInfo(m_object)->AddRef();
}

ErrorInfo::ErrorInfo(ErrorInfo&& other) noexcept : m_object(std::exchange(other.m_object, nullptr)) {}

ErrorInfo& ErrorInfo::operator=(ErrorInfo other) noexcept
{
    std::swap(m_object, other.m_object);
    return *this;
}

ErrorInfo::~ErrorInfo()
{
    if (m_object)
        AsInfo(m_object)->Release();
}

ErrorInfo ErrorInfo::Make(const GUID& origin, const std::wstring& description) noexcept
{
    ErrorInfo made;
    ICreateErrorInfo* create = nullptr;
    if (FAILED(CreateErrorInfo(&create)))
        return made;
    const std::unique_ptr<ICreateErrorInfo, ReleaseInterface> owner(create);
    IErrorInfo* info = nullptr;
    // The description is only read.
    if (SUCCEEDED(create->SetDescription(const_cast<wchar_t*>(description.c_str()))) &&
        SUCCEEDED(create->SetGUID(origin)) &&
        SUCCEEDED(create->QueryInterface(IID_IErrorInfo, reinterpret_cast<void**>(&info))))
        made.m_object = info;
    return made;
}

ErrorInfo ErrorInfo::TakeFromThread() noexcept
{
    ErrorInfo taken;
    IErrorInfo* info = nullptr;
    if (GetErrorInfo(0, &info) == S_OK)
        taken.m_object = info;
    return taken;
}

void ErrorInfo::LeaveOnThread() const noexcept
{
    SetErrorInfo(0, AsInfo(m_object));
}

std::wstring ErrorInfo::Description() const
{
    BSTR text = nullptr;
    if (!m_object || FAILED(AsInfo(m_object)->GetDescription(&text)))
        return {};
    const std::unique_ptr<wchar_t, decltype(&SysFreeString)> owner(text, &SysFreeString);
    return {text, SysStringLen(text)};
}

GUID ErrorInfo::Origin() const
{
    GUID origin{};
    return m_object && SUCCEEDED(AsInfo(m_object)->GetGUID(&origin)) ? origin : GUID{};
}

} // namespace Platform
