#include "Tests/Fuzz/Fuzz.h"
#include "Tools/Log/Cycles.h"
#include "Tools/Log/LineReader.h"

// A log that arrives in pieces of the size that the first byte says.
void Try(std::string_view input)
{
    if (input.empty())
        return;
    const std::size_t piece = static_cast<unsigned char>(input.front()) + 1U;
    LogTool::CycleCollector cycles(true);
    LogTool::LineReader lines([&cycles](const LogTool::Line& line) { cycles.Take(line); });
    for (std::size_t i = 1; i < input.size(); i += piece)
        lines.Add(input.substr(i, piece));
    lines.Finish();
    Require(cycles.Cycles().size() <= input.size(), "a cycle takes a line");
}
