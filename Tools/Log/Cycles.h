// The updater's cycles, as its lines at DBG tell them.
#pragma once

#include "Tools/Log/AccessItems.h"
#include "Tools/Log/Line.h"

#include <map>
#include <optional>
#include <string>
#include <utility>
#include <vector>

namespace LogTool
{

struct Cycle
{
    enum class End
    {
        Missing, // the log ends before, or the thread began another one
        Completed,
        Failed,
    };

    std::string start; // as Line::time
    unsigned thread = 0;
    End end = End::Missing;
    std::string milliseconds; // "1 234.567"; empty without an end
    unsigned sourcesFailed = 0;
    bool unchanged = false; // the list was the last one: nothing was written
    bool wrote = false;     // came as far as writing the table
    std::optional<AccessItems::Count> written;
    std::string failure; // without the call stack
    std::size_t gravest = SeverityUnknown;
    std::vector<std::string> lines; // of its thread, where they are kept

    bool Rewrote() const { return wrote && end == End::Completed; }

    // One of: rewritten, not rewritten, no settings, failed, did not end.
    std::string_view Outcome() const;
};

class CycleCollector
{
public:
    // Of the lines that are kept, long nodes and long cycles are shortened.
    explicit CycleCollector(bool keepLines) : m_keepLines(keepLines) {}

    void Take(const Line& line);

    // In the order of their starts.
    const std::vector<Cycle>& Cycles() const { return m_cycles; }

    // Cycles are told at DBG: a log without such lines says nothing about them.
    bool HasDebugLines() const { return m_hasDebugLines; }

private:
    struct Open
    {
        std::size_t index; // into m_cycles
        std::size_t indentation;
        AccessItems items;
        bool inItems = false;
        std::size_t further = 0; // lines behind the present entry
        bool shortened = false;
    };
    struct Thread
    {
        std::vector<Open> open;            // innermost last: a source may ask for a cycle from within one
        std::optional<std::size_t> failed; // the cycle whose failure the next line tells
    };

    void TakeEntry(Thread& thread, const Line& line);
    void Begin(Thread& thread, const Line& line);
    void End(Thread& thread, const Line& line, Cycle::End end);
    void Note(Open& open, const Line& line);
    void Keep(Open& open, const Line& line);

    const bool m_keepLines;
    bool m_hasDebugLines = false;
    std::vector<Cycle> m_cycles;
    std::map<std::pair<unsigned, unsigned>, Thread> m_threads; // by process and thread
};

} // namespace LogTool
