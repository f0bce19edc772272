// The way from exceptions inside a host library to the HRESULTs of its exported functions.
#pragma once

#include "Host/Support/ErrorInfo.h"

#include <new>
#include <string>

namespace Host
{

// A failing call: its result and the description for the error information (empty: leave the thread's as it is).
struct Failure
{
    HRESULT result;
    std::wstring text;
};

// Runs the body of an exported function, `HRESULT()`. Nothing leaves it but a result.
template <class Body>
HRESULT Boundary(const Body& body) noexcept
{
    try {
        return body();
    } catch (const Failure& failure) {
        return failure.text.empty() ? failure.result : FailWithDescription(failure.result, failure.text);
    } catch (const std::bad_alloc&) {
        return E_OUTOFMEMORY;
    } catch (...) {
        return E_UNEXPECTED;
    }
}

} // namespace Host
