#include "Platform/ErrorInfo.h"

#include <oleauto.h>

namespace Platform
{

namespace
{

struct ReleaseInterface
{
    void operator()(IUnknown* object) const { object->Release(); }
};

IErrorInfo* AsInfo(const std::shared_ptr<void>& object)
{
    return static_cast<IErrorInfo*>(object.get());
}

} // namespace

ErrorInfo ErrorInfo::Make(const GUID& origin, const std::wstring& description) noexcept
try {
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
        made.m_object.reset(info, ReleaseInterface());
    return made;
} catch (...) {
    return {};
}

ErrorInfo ErrorInfo::TakeFromThread() noexcept
try {
    ErrorInfo taken;
    IErrorInfo* info = nullptr;
    if (GetErrorInfo(0, &info) == S_OK)
        taken.m_object.reset(info, ReleaseInterface());
    return taken;
} catch (...) {
    return {};
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
