#include "Host/Components/FailureText.h"

#include "Host/Support/Boundary.h"
#include "Platform/ErrorInfo.h"

#include <cwchar>

namespace Host
{

std::wstring TakeErrorText()
{
    return Platform::ErrorInfo::TakeFromThread().Description();
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
