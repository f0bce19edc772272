#include "Host/Components/FailureText.h"

#include "Host/Support/Boundary.h"
#include "Interfaces/ComponentPtr.h"

#include <cwchar>

namespace Host
{

std::wstring TakeErrorText()
{
    ComponentPtr<IErrorInfo> info;
    BSTR description = nullptr;
    if (GetErrorInfo(0, info.Out()) != S_OK || FAILED(info->GetDescription(&description)) || !description)
        return {};
    std::wstring text(description, SysStringLen(description));
    SysFreeString(description);
    return text;
}

std::wstring FailureText(HRESULT result, const std::wstring& text)
{
    wchar_t code[16];
    std::swprintf(code, std::size(code), L"0x%08X", static_cast<unsigned>(result));
    if (text.empty())
        return code;
    return text.starts_with(code) ? text : std::wstring(code) + L' ' + text;
}

void Check(HRESULT result)
{
    if (FAILED(result))
        throw Failure{result, TakeErrorText()};
}

} // namespace Host
