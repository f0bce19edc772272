#include "Common/ErrorHandling/NamedFailure.h"

#include "Common/Diagnostics/Log.h"
#include "Common/ErrorHandling/ErrorText.h"

void LogUnusable(const wchar_t* kind, const std::wstring& name, const HRX& error)
{
    LOG_ERR(kind << L" '" << name << L"' cannot be used: " << ErrorText(error, WithoutLocation));
}
