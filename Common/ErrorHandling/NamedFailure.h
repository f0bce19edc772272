// Failures whose error says what went wrong, but not with what.
#pragma once

#include "Common/ErrorHandling/HResult.h"

#include <string>

// "<kind> '<name>' cannot be used: <error>" at ERR.
void LogUnusable(const wchar_t* kind, const std::wstring& name, const HRX& error);

// The result of `use`; its failure is logged with kind and name, and thrown on.
template <class Use>
[[gnu::always_inline]] inline auto NameFailure(const wchar_t* kind, const std::wstring& name, Use use)
{
    try {
        return use();
    } catch (const HRX& e) {
        LogUnusable(kind, name, e);
        throw;
    }
}
