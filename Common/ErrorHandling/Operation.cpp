#include "Common/ErrorHandling/Operation.h"

#include "Common/Diagnostics/Log.h"
#include "Common/ErrorHandling/ErrorText.h"

HRESULT FailOperation(const wchar_t* name, const HRX& error, const SourceLocation& source, std::uint32_t severity)
{
    const std::wstring text = ErrorText(error);
    LOG_AT_SOURCE(severity, source, name << L" failed: " << text);
    return PublishError(error, text);
}
