// Cycles as a page for a browser.
#pragma once

#include "Tools/Log/Cycles.h"

#include <ostream>

namespace LogTool
{

// A page that needs nothing beside itself: a chart of the cycles over time, and each cycle's lines on demand. `source`
// names the log, `remark` stands below the summary; may be empty. All texts are escaped.
void WriteHtml(std::ostream& out, const std::vector<Cycle>& cycles, std::string_view source, std::string_view remark);

} // namespace LogTool
