// What a run amounted to, for people and for programs.
#pragma once

#include "Host/Program/Console.h"
#include "Host/Program/SitePlayer.h"

#include <nlohmann/json.hpp>

namespace Host
{

struct Summary
{
    std::wstring site;
    Totals totals;
    std::uint64_t rewrites = 0;
    std::uint64_t grants = 0;
    std::uint64_t failedGrants = 0;
    bool moduleLocked = false; // once everything has been released
    std::uint64_t nodes = 0;   // alive then
    std::optional<std::string> failure;
    bool interrupted = false;
    std::filesystem::path database;
    std::optional<std::filesystem::path> sqlTrace;
    std::filesystem::path log;

    bool Leaks() const { return moduleLocked || nodes != 0; }
};

void ShowSummary(const Summary& summary, Console& console);

// One object; null stands for what is not known.
nlohmann::ordered_json SummaryJson(const Summary& summary);

} // namespace Host
