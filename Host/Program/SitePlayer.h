// Plays a site's timeline and shows what came of it.
#pragma once

#include "Host/Program/Console.h"
#include "Host/Program/Listing.h"
#include "Host/Program/SiteHost.h"

#include <set>

namespace Host
{

// What a run amounted to.
struct Totals
{
    std::uint64_t cycles = 0;
    std::uint64_t failedCycles = 0;
    RowChanges rows;
    std::size_t unmet = 0;                    // conditions of events that did not come true
    std::optional<std::size_t> tableRows;     // at the end, when the table can be read
    std::optional<std::size_t> pendingGrants; // accounts in it without role on the report server in use
};

// Every part ends early when an interruption is requested. Failures of the host's own parts throw Failure.
class SitePlayer
{
public:
    SitePlayer(const Site& site, SiteHost& host, ReportingDatabase& database, Console& console);

    void PlayTimeline();

    // Runs cycles until two in a row succeeded without changing anything; false when that does not come.
    bool RunUntilIdle();

    // Leaves the module to itself and shows the tables whenever they have changed.
    void RunFor(double seconds);

    // Shows and counts what the module has still done, once its components have been released.
    void Finish();

    const Totals& Result() const { return m_totals; }

private:
    void Play(const Event& event);
    void ShowFindings(const std::vector<Finding>& findings);
    // Waits until the condition holds, `limit` seconds at most.
    void Await(const Condition& condition, const Activity& before, double limit);
    // What of the condition does not hold; empty when all of it does.
    std::wstring Unmet(const Condition& condition, const Activity& before) const;
    // Returns whether the cycle succeeded.
    bool RunCycle();
    void ShowState();
    void ShowTable();
    void ShowRoles();
    void ShowFailures();
    void Head(const std::wstring& text);
    void Say(const std::wstring& text, Colour colour = Colour::None) { m_console.Line(L"    " + text, colour); }
    void Wait(double seconds);
    // The one in use; empty when there is none.
    std::wstring ReportServer() const;
    // The accounts with a role on it.
    std::set<std::wstring> Granted() const;

    const Site& m_site;
    SiteHost& m_host;
    ReportingDatabase& m_database;
    Console& m_console;
    Rows m_rows; // as shown last
    Rows m_roles;
    std::uint64_t m_rewrites = 0;
    std::uint64_t m_grants = 0;
    std::vector<std::pair<std::wstring, FailureCount>> m_failures;
    Totals m_totals;
    std::size_t m_number = 0;
};

} // namespace Host
