#include "Tools/Log/TextOutput.h"

#include <algorithm>
#include <iomanip>

namespace LogTool
{

void WriteLine(std::ostream& out, const Line& line, bool colour)
{
    const char* const code = !colour || line.severity > SeverityWarn ? nullptr
                             : line.severity == SeverityWarn         ? "\x1b[33m"
                                                                     : "\x1b[31m";
    if (code)
        out << code << line.text << "\x1b[0m\n";
    else
        out << line.text << '\n';
}

void WriteCycles(std::ostream& out, const std::vector<Cycle>& cycles)
{
    if (!cycles.empty())
        out << "start                    duration ms  table          items    rows  failures\n";
    for (const Cycle& cycle : cycles) {
        out << ToMilliseconds(cycle.start) << "  " << std::setw(11) << cycle.milliseconds << "  " << cycle.Outcome();
        const std::string failures = Failures(cycle);
        if (cycle.Rewrote() && cycle.written)
            out << std::setw(11) << cycle.written->items << std::setw(8) << cycle.written->rows;
        else if (!failures.empty())
            out << std::setw(28 - static_cast<int>(cycle.Outcome().size())) << "";
        out << (failures.empty() ? "" : "  ") << failures << '\n';
    }
    out << Summary(cycles) << '\n';
}

std::string Summary(const std::vector<Cycle>& cycles)
{
    std::string text = std::to_string(cycles.size()) + (cycles.size() == 1 ? " cycle" : " cycles");
    const auto add = [&](const char* what, const auto& isMeant) {
        if (const auto count = std::count_if(cycles.begin(), cycles.end(), isMeant))
            text += ", " + std::to_string(count) + what;
    };
    add(" rewrote the table", [](const Cycle& cycle) { return cycle.Rewrote(); });
    add(" failed", [](const Cycle& cycle) { return cycle.end == Cycle::End::Failed; });
    add(" without end", [](const Cycle& cycle) { return cycle.end == Cycle::End::Missing; });
    add(" with failed sources", [](const Cycle& cycle) { return cycle.sourcesFailed != 0; });
    return text;
}

std::string_view ToMilliseconds(std::string_view time)
{
    return time.substr(0, time.find('.') + 4);
}

std::string WithoutCallStack(std::string_view error)
{
    return std::string(error.ends_with(']') ? error.substr(0, error.rfind(" [")) : error);
}

std::string Failures(const Cycle& cycle)
{
    std::string text;
    if (cycle.sourcesFailed != 0)
        text = std::to_string(cycle.sourcesFailed) + (cycle.sourcesFailed == 1 ? " source failed" : " sources failed");
    return text + (text.empty() || cycle.failure.empty() ? "" : "; ") + cycle.failure;
}

} // namespace LogTool
