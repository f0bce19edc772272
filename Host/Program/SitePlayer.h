// Plays a site's timeline and shows what came of it.
#pragma once

#include "Host/Program/Run.h"
#include "Host/Program/SiteHost.h"

namespace Host
{

// What a run amounted to.
struct Totals
{
    std::uint64_t cycles = 0;
    std::uint64_t failedCycles = 0;
    std::size_t rowsAdded = 0;
    std::size_t rowsRemoved = 0;
    std::size_t unmet = 0; // conditions of events that did not come true
    std::uint64_t failedGrants = 0;
    std::optional<std::size_t> tableRows;     // at the end, when the table can be read
    std::optional<std::size_t> pendingGrants; // accounts in it without role on the report server in use
    bool moduleLocked = false;                // when all components had been released
};

// Plays the timeline and what the options ask for behind it, releases all components, and shows and counts what the
// module has still done. Every part ends early when an interruption is requested. `failure` is the first one, also when
// the site does not come to what its timeline and the options expect.
Totals PlaySite(const Site& site, SiteHost& host, const RunOptions& options, Console& console,
                std::exception_ptr& failure);

} // namespace Host
