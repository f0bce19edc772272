// Message texts of HRESULTs, from message modules and from the system.
#pragma once

#include "Common/ErrorHandling/MessageModules.h"

#include <string>

// The text without trailing blanks, periods and line breaks; "<no description>" when there is none anywhere. Answers
// are remembered for the life of the module. Any thread.
std::wstring GetErrorMessage(HRESULT code);

// The same look-up in given modules, without remembering: for the modules that are still being loaded.
std::wstring FindErrorMessage(HRESULT code, const MessageModules& modules);
