// Failures as text: in " failed: " log lines, and in the error information that accompanies an HRESULT to the caller.
//
// The full text of an error is "0x80070490 Element not found [0x...,0x...;0x...,0x...]": the code, a description, and
// the return addresses of every module that the error has passed, innermost first.
#pragma once

#include "Common/Diagnostics/LogText.h"
#include "Common/ErrorHandling/HResult.h"

#include <string>

// Error information that carries this GUID was published by this framework: its description is a full error text.
inline constexpr GUID FrameworkErrorGuid{0x64107A4E, 0x9383, 0x4398, {0x97, 0xFF, 0xEE, 0x55, 0xF0, 0xDA, 0x7F, 0xDF}};

struct ErrorRecord
{
    HRESULT code = S_OK;
    std::wstring description;
    std::wstring location;
};

// What is known of a failure: its error information, else the message text of its code, and where it was detected.
ErrorRecord MakeErrorRecord(const HRES& error);

// Parts to leave out of an error's text.
enum ErrorTextFlags : unsigned
{
    WithoutCode = 1,
    WithoutDescription = 2,
    WithoutLocation = 4,
};

std::wstring ErrorText(const ErrorRecord& record, unsigned flags = 0);
std::wstring ErrorText(const HRES& error, unsigned flags = 0);
LogText& operator<<(LogText& text, const HRES& error);

// Makes a failure the thread's error information (when that is impossible the thread's is cleared) and returns its
// code. A success code is only returned.
HRESULT PublishError(const HRES& error);

// The same with the error's full text, where it is known already.
HRESULT PublishError(const HRES& error, const std::wstring& text);

// The error information that a full error text stands for, so that it can be taken apart again; any other text becomes
// the description as it stands. Empty when it cannot be made.
Platform::ErrorInfo RestoreErrorInfo(const std::wstring& text);
