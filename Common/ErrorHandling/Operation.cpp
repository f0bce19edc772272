#include "Common/ErrorHandling/Operation.h"

#include "Common/Diagnostics/Log.h"
#include "Common/ErrorHandling/ErrorText.h"

HRESULT FailOperation(const wchar_t* name, const HRX& error, const SourceLocation& source, std::uint32_t severity)
{
    LOG_AT_SOURCE(severity, source, name << L" failed: " << error);
    return PublishError(error);
}
