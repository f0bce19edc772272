// The system's message texts. Internal to the platform.
#pragma once

#include "Platform/Types.h"

// The text, without the period and line break that end each of them; null when there is none. Codes that wrap a Win32
// error (0x8007....) have that error's text.
const wchar_t* SystemMessage(DWORD id);
