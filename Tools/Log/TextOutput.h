// Lines and cycles as text for people and pipes.
#pragma once

#include "Tools/Log/Cycles.h"

#include <ostream>

namespace LogTool
{

// `colour`: for a terminal.
void WriteLine(std::ostream& out, const Line& line, bool colour);

// A line for each cycle below a heading, and one that sums them up.
void WriteCycles(std::ostream& out, const std::vector<Cycle>& cycles);

// "25 cycles, 11 rewrote the table, 2 failed, …"
std::string Summary(const std::vector<Cycle>& cycles);

// "2026-11-22 14:03:07.118"
std::string_view ToMilliseconds(std::string_view time);

// An error without the call stack behind it.
std::string WithoutCallStack(std::string_view error);

// "1 source failed; 0x80004005 …"; empty for none.
std::string Failures(const Cycle& cycle);

} // namespace LogTool
