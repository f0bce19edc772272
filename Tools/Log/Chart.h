// The cycles over time as a drawing.
#pragma once

#include "Tools/Log/Cycles.h"

#include <ostream>

namespace LogTool
{

// An SVG element: durations above, on a logarithmic scale, the items of the table below. A cycle's mark is a link to
// "#c" + its index and has its style.
void WriteChart(std::ostream& out, const std::vector<Cycle>& cycles);

// The style's class: failed, partly (without some sources), wrote, kept.
const char* StyleOf(const Cycle& cycle);

} // namespace LogTool
