#include "Tools/Log/Cycles.h"

#include "Tools/Log/TextOutput.h"

#include <algorithm>

namespace LogTool
{

namespace
{

constexpr std::size_t MaxLines = 400;
constexpr std::size_t MaxFurtherLines = 20;
constexpr std::size_t StepIndentation = 4;
constexpr std::string_view Scope = "CReportAccessInfoUpdater::UpdateAction";

// Whether `text` is `prefix` + the scope's name, with or without something behind it.
bool IsScope(std::string_view text, std::string_view prefix)
{
    return text.starts_with(prefix) && text.substr(prefix.size()).starts_with(Scope);
}

// "1 234.567" of "… [1 234.567 ms]".
std::string Duration(std::string_view message)
{
    const std::size_t begin = message.rfind('[') + 1;
    return std::string(message.substr(begin, message.rfind(" ms]") - begin));
}

} // namespace

std::string_view Cycle::Outcome() const
{
    switch (end) {
    case End::Missing:
        return "did not end";
    case End::Failed:
        return "failed";
    default:
        return wrote ? "rewritten" : unchanged ? "not rewritten" : "no settings";
    }
}

void CycleCollector::Take(const Line& line)
{
    if (line.kind == LineKind::Banner)
        return;
    m_hasDebugLines = m_hasDebugLines || (line.severity >= SeverityDbg && line.severity != SeverityUnknown);
    Thread& thread = m_threads[{line.process, line.thread}];
    if (line.kind == LineKind::Entry)
        TakeEntry(thread, line);
    else if (!thread.open.empty())
        Keep(thread.open.back(), line);
    if (line.kind == LineKind::Further && !thread.open.empty() && thread.open.back().inItems)
        thread.open.back().items.TakeLine(line.text);
}

void CycleCollector::TakeEntry(Thread& thread, const Line& line)
{
    if (thread.failed && IsScope(line.message, "")) {
        constexpr std::size_t separator = std::string_view(" failed: ").size();
        Cycle& cycle = m_cycles[*thread.failed];
        cycle.failure = WithoutCallStack(std::string_view(line.message).substr(Scope.size() + separator));
        cycle.gravest = std::min(cycle.gravest, line.severity);
        if (m_keepLines)
            cycle.lines.push_back(line.text);
    }
    thread.failed.reset();
    while (!thread.open.empty() && thread.open.back().indentation > line.indentation)
        thread.open.pop_back(); // its last line was lost
    if (IsScope(line.message, "Entering: "))
        Begin(thread, line);
    if (thread.open.empty())
        return;
    Keep(thread.open.back(), line);
    Note(thread.open.back(), line);
    if (IsScope(line.message, "Exiting: "))
        End(thread, line, Cycle::End::Completed);
    else if (IsScope(line.message, "EXCEPTION at: "))
        End(thread, line, Cycle::End::Failed);
}

void CycleCollector::Begin(Thread& thread, const Line& line)
{
    if (!thread.open.empty() && thread.open.back().indentation == line.indentation)
        thread.open.pop_back();
    thread.open.push_back({m_cycles.size(), line.indentation, {}});
    Cycle& cycle = m_cycles.emplace_back();
    cycle.start = line.time;
    cycle.thread = line.thread;
}

void CycleCollector::End(Thread& thread, const Line& line, Cycle::End end)
{
    const Open open = thread.open.back();
    thread.open.pop_back();
    m_cycles[open.index].end = end;
    m_cycles[open.index].milliseconds = Duration(line.message);
    if (end == Cycle::End::Failed)
        thread.failed = open.index;
}

void CycleCollector::Note(Open& open, const Line& line)
{
    Cycle& cycle = m_cycles[open.index];
    const std::string_view message = line.message;
    cycle.gravest = std::min(cycle.gravest, line.severity);
    open.inItems = message.starts_with("Processing AccessRights: ");
    if (message.starts_with("Unable to query access info source="))
        ++cycle.sourcesFailed;
    else if (message == "Updating access rights table is not required")
        cycle.unchanged = true;
    else if (message == "Removing local-only account items")
        cycle.written = open.items.Written(false);
    else if (message == "Populating access rights table")
        cycle.wrote = true;
    if (cycle.wrote && !cycle.written)
        cycle.written = open.items.Written(true);
}

// Warnings and the updater's own steps are always kept.
void CycleCollector::Keep(Open& open, const Line& line)
{
    if (!m_keepLines)
        return;
    std::vector<std::string>& lines = m_cycles[open.index].lines;
    const bool isEntry = line.kind == LineKind::Entry;
    if (isEntry && open.further > MaxFurtherLines)
        lines.push_back("  … " + std::to_string(open.further - MaxFurtherLines) + " more lines");
    open.further = isEntry ? 0 : open.further + 1;
    if (open.further > MaxFurtherLines)
        return;
    const bool isStep = isEntry && line.indentation <= open.indentation + StepIndentation;
    if (isStep || line.severity <= SeverityWarn || lines.size() < MaxLines)
        lines.push_back(line.text);
    else if (!std::exchange(open.shortened, true))
        lines.push_back("  … further lines of sources and consumers are in the log");
}

} // namespace LogTool
