// What failing calls leave for a person to read.
#pragma once

#include "Platform/Types.h"

#include <string>

namespace Host
{

// The description in the thread's error information, which is taken; empty when there is none.
std::wstring TakeErrorText();

// "0x80070490 " and `text`, which may begin with the code already.
std::wstring FailureText(HRESULT result, const std::wstring& text);

// Throws Failure with the thread's error information when `result` is a failure.
void Check(HRESULT result);

} // namespace Host
