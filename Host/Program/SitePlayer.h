// Plays a site's timeline and shows what came of it.
#pragma once

#include "Host/Program/Console.h"
#include "Host/Program/SiteHost.h"
#include "Host/Program/TableView.h"

#include <cstdint>
#include <vector>

namespace Host
{

// What a run amounted to.
struct Totals
{
    std::uint64_t cycles = 0;
    std::uint64_t failedCycles = 0;
    RowChanges rows;
};

// Every part ends early when an interruption is requested. Failures of the host's own parts throw Failure.
class SitePlayer
{
public:
    SitePlayer(const Site& site, SiteHost& host, ReportingDatabase& database, Console& console);

    void PlayTimeline();

    // Runs cycles until two in a row succeeded without changing anything; false when that does not come.
    bool RunUntilIdle();

    // Leaves the module to itself and shows the table whenever it was written.
    void RunFor(double seconds);

    const Totals& Result() const { return m_totals; }
    std::size_t RowCount() const { return m_rows.size(); }

private:
    void Play(const Event& event);
    void Perform(const Action& action);
    // Returns whether the cycle succeeded.
    bool RunCycle();
    void ShowTableState();
    void ShowFailedDeliveries();
    void Say(const std::wstring& text, Colour colour = Colour::None);
    void Wait(double seconds);

    const Site& m_site;
    SiteHost& m_host;
    ReportingDatabase& m_database;
    Console& m_console;
    std::vector<AccessRight> m_rows; // as shown last
    std::uint64_t m_rewrites = 0;
    std::vector<DeliveryFailures> m_failures;
    Totals m_totals;
    std::size_t m_number = 0;
};

} // namespace Host
