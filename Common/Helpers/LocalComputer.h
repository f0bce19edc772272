// This computer's name.
#pragma once

#include <string>

// The NetBIOS name. Throws HRX when the platform does not tell it.
std::wstring GetLocalComputerName();
