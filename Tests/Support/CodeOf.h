// How an operation ends, as a code.
#pragma once

#include "Common/ErrorHandling/HResult.h"

inline constexpr HRESULT NotFound = HResultFromWin32(ERROR_NOT_FOUND);

// The code of the HRX that leaves `body`; S_OK when it ends normally.
template <class Body>
HRESULT CodeOf(Body body)
{
    try {
        body();
    } catch (const HRX& e) {
        return e.Code();
    }
    return S_OK;
}
