// Failures inside the host: exceptions there, HRESULTs with error information at every exported function and interface.
#pragma once

#include "Platform/ErrorInfo.h"

#include <cwchar>
#include <exception>
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

// Raises the failures of one part of the host, whose name their descriptions begin with.
struct Refusal
{
    const wchar_t* part;

    [[noreturn]] void operator()(HRESULT result, const std::wstring& text) const
    {
        throw Failure{result, std::wstring(part) + L": " + text};
    }

    // E_POINTER when one of the pointers is null; `what` says what they are.
    template <class... Pointers>
    void IfNull(const wchar_t* what, Pointers... pointers) const
    {
        if ((!pointers || ...))
            (*this)(E_POINTER, std::wstring(L"no ") + what + L" (a null pointer)");
    }
};

// The GUID under which the host's own errors are published.
inline constexpr GUID ErrorSource{0x5E0B6F1D, 0x2C43, 0x4B8A, {0x91, 0x7E, 0xD4, 0x3A, 0x60, 0xC8, 0x1F, 0x92}};

// Makes `text` the description in the thread's error information and returns `result`, also when the description could
// not be left.
inline HRESULT FailWithDescription(HRESULT result, const std::wstring& text) noexcept
{
    Platform::ErrorInfo::Make(ErrorSource, text).LeaveOnThread();
    return result;
}

// Runs the body of an exported function, `HRESULT()`, or `void()` for S_OK. Nothing leaves it but a result.
template <class Body>
HRESULT Boundary(const Body& body) noexcept
{
    try {
        if constexpr (std::is_void_v<decltype(body())>)
            return body(), S_OK;
        else
            return body();
    } catch (const Failure& failure) {
        return failure.text.empty() ? failure.result : FailWithDescription(failure.result, failure.text);
    } catch (const std::bad_alloc&) {
        return E_OUTOFMEMORY;
    } catch (...) {
        return E_UNEXPECTED;
    }
}

// The description in the thread's error information, which is taken; empty when there is none.
inline std::wstring TakeErrorText()
{
    return Platform::ErrorInfo::TakeFromThread().Description();
}

// Throws Failure with the thread's error information when `result` is a failure.
inline void Check(HRESULT result)
{
    if (FAILED(result))
        throw Failure{result, TakeErrorText()};
}

// Runs the step; keeps the first exception of several.
template <class Step>
void Attempt(std::exception_ptr& failure, const Step& step)
{
    try {
        step();
    } catch (...) {
        if (!failure)
            failure = std::current_exception();
    }
}

// "0x80070490 " and `text`, which may begin with the code already.
inline std::wstring FailureText(HRESULT result, const std::wstring& text)
{
    wchar_t code[16];
    std::swprintf(code, std::size(code), L"0x%08X", static_cast<unsigned>(result));
    if (text.empty())
        return code;
    return text.starts_with(code) ? text : std::wstring(code) + L' ' + text;
}

} // namespace Host
