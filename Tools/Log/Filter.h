// Which lines and cycles are wanted.
#pragma once

#include "Tools/Log/Cycles.h"
#include "Tools/Log/Line.h"

#include <optional>

namespace LogTool
{

struct Filter
{
    std::optional<std::size_t> severity; // that and graver
    std::string since;                   // the beginning of a time as lines have it; empty: from the first
    std::optional<unsigned> thread;

    // Banners have no columns: they pass where nothing is asked of a line.
    bool Passes(const Line& line) const;

    // A cycle passes by its start and thread, and when a line of the severity was written in it.
    bool Passes(const Cycle& cycle) const;
};

// Brings a date, or a date and a time with a blank or T between, into the form of Filter::since. Returns what is wrong
// with it, or an empty text.
std::string ReadSince(std::string& text);

} // namespace LogTool
