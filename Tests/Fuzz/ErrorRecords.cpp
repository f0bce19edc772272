#include "Common/ErrorHandling/ErrorText.h"
#include "Tests/Fuzz/Fuzz.h"

void Try(std::string_view input)
{
    const std::wstring text = Text::FromUtf8(input);
    RestoreErrorInfo(text).LeaveOnThread();
    const HRESULT published = PublishError(HRES(E_ACCESSDENIED));
    Require(published == E_ACCESSDENIED, "an error keeps its code");
    const Platform::ErrorInfo info = Platform::ErrorInfo::TakeFromThread();
    const std::wstring first = info.Description();
    Require(first.starts_with(L"0x80070005 "), "an error's text begins with its code");
    RestoreErrorInfo(first).LeaveOnThread();
    PublishError(HRES(E_ACCESSDENIED));
    Platform::ErrorInfo::TakeFromThread();
}
