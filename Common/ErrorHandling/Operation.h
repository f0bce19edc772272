// The boundary of an operation: where HRX becomes a logged, published HRESULT. No other exception type is caught.
//
//     HRESULT CRBACUsageTracker::Configure(IKelNode* config)
//     {
//         return Operation(L"CRBACUsageTracker::Configure", [&] {
//             CheckPointer(config);
//             ...
//         });
//     }
#pragma once

#include "Common/Diagnostics/SourceLocation.h"
#include "Common/Diagnostics/TraceScope.h"
#include "Common/ErrorHandling/HResult.h"

// Logs `name` + " failed: " + the error at `severity` and publishes the error; returns its code.
HRESULT FailOperation(const wchar_t* name, const HRX& error, const SourceLocation& source, std::uint32_t severity);

// Runs `body` with its boundary only. What an earlier call has left as error information does not belong to this one.
// `abortSeverity`: for E_ABORT, which is no error where somebody asks for it; LogSeverity::Err for all other codes.
template <class Body>
HRESULT Boundary(const wchar_t* name, Body&& body, std::uint32_t abortSeverity = LogSeverity::Err,
                 const SourceLocation& where = SourceLocation::Current())
{
    DropErrorInfo();
    try {
        body();
        return S_OK;
    } catch (const HRX& error) {
        return FailOperation(name, error, where, error.Code() == E_ABORT ? abortSeverity : LogSeverity::Err);
    }
}

// Runs `body` in a trace scope of the operation's name. On a failure the scope ends first, then the failure is logged.
template <class Body>
HRESULT Operation(const wchar_t* name, Body&& body, std::uint32_t abortSeverity = LogSeverity::Err,
                  const SourceLocation& where = SourceLocation::Current())
{
    return Boundary(
        name,
        [&] {
            const TraceScope scope(LogSeverity::Dbg, LogSeverity::Dbg, name, where);
            body();
        },
        abortSeverity, where);
}
