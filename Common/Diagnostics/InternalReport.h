// Where the logging machinery tells of its own troubles: the debugger output.
#pragma once

#include <string>

// Never logs, never throws; keeps the thread's last error.
void InternalReport(const std::wstring& message) noexcept;
