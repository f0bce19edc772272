#include "Host/Program/SitePlayer.h"

#include "Host/Program/Listing.h"

#include <algorithm>
#include <cmath>
#include <set>

namespace Host
{

namespace
{

constexpr int MostIdleCycles = 10;
constexpr std::size_t MostFindings = 8;

std::set<std::wstring> FirstColumn(const Rows& rows)
{
    std::set<std::wstring> values;
    for (const Row& row : rows)
        values.insert(row.front());
    return values;
}

class SitePlayer
{
public:
    SitePlayer(const Site& site, SiteHost& host, Console& console)
        : m_site(site),
          m_host(host),
          m_database(host.Database()),
          m_console(console),
          m_rows(AccessRightRows(m_database.Rows(), site.objectNames)),
          m_roles(RoleRows(m_database.Roles(), false))
    {}

    Totals PlayAll(const RunOptions& options, std::exception_ptr& failure)
    {
        Attempt(failure, [&] { PlayParts(options); });
        if (options.reportAlive)
            m_host.Module()->ReportAliveObjects();
        m_host.ReleaseComponents();
        m_totals.moduleLocked = m_host.Module().IsLocked();
        if (m_totals.moduleLocked && options.reportAlive)
            m_host.Module()->ReportAliveObjects();
        m_totals.failedGrants = m_host.ActivitySoFar().failedGrants;
        Attempt(failure, [&] { Finish(); });
        return m_totals;
    }

private:
    // Throws Failure when the site does not come to what is expected.
    void PlayParts(const RunOptions& options)
    {
        PlayTimeline();
        const bool isIdle = !options.untilIdle || RunUntilIdle();
        if (options.seconds)
            RunFor(*options.seconds);
        if (!isIdle)
            throw Failure{E_FAIL, L"the module did not come to rest: the table was still rewritten or cycles failed"};
        if (m_totals.unmet != 0)
            throw Failure{E_FAIL, Count(m_totals.unmet, L"event") + L" did not come to what the timeline expects"};
    }

    void PlayTimeline()
    {
        ShowFailures();
        for (const Event& event : m_site.timeline) {
            if (Interruption::IsRequested())
                return;
            Play(event);
        }
    }

    void Play(const Event& event)
    {
        Head(std::to_wstring(++m_number) + L". " + event.say);
        const Activity before = m_host.ActivitySoFar();
        if (event.perform)
            ShowFindings(event.perform(m_host));
        if (event.wait > 0)
            Wait(event.wait);
        m_host.WaitUntilDelivered();
        if (event.cycle && !Interruption::IsRequested())
            RunCycle();
        if (event.until)
            Await(*event.until, before, event.limit);
        ShowState();
    }

    // Failures are always shown.
    void ShowFindings(const std::vector<Finding>& findings)
    {
        for (std::size_t i = 0; i < findings.size(); ++i) {
            if (i < MostFindings || findings[i].isFailure)
                Say(findings[i].text, findings[i].isFailure ? Colour::Red : Colour::None);
        }
        if (findings.size() > MostFindings)
            Say(L"... " + std::to_wstring(findings.size()) + L" in all");
    }

    // Waits until the condition holds, `limit` seconds at most.
    void Await(const Condition& condition, const Activity& before, double limit)
    {
        using Clock = std::chrono::steady_clock;
        using Seconds = std::chrono::duration<double>;
        const auto start = Clock::now();
        while (!Interruption::IsRequested()) {
            const auto looked = Clock::now();
            const std::wstring unmet = Unmet(condition, before);
            if (unmet.empty())
                return;
            if (Seconds(looked - start).count() >= limit) {
                ++m_totals.unmet;
                Say(L"until: not so after " + std::to_wstring(std::lround(limit)) + L" s: " + unmet, Colour::Red);
                return;
            }
            m_console.Progress(L"    waiting: " + unmet);
            // Looking at long tables takes the module's time.
            Interruption::Wait(std::max<Seconds>(Seconds(0.02), 4 * Seconds(Clock::now() - looked)), [](auto) {});
        }
    }

    // What of the condition does not hold; empty when all of it does.
    std::wstring Unmet(const Condition& condition, const Activity& before) const
    {
        const Rows rows = AccessRightRows(m_database.Rows(), {});
        const std::set<std::wstring> listed = FirstColumn(rows);
        const std::set<std::wstring> granted = Granted();
        const Activity now = m_host.ActivitySoFar();
        std::wstring text;
        const auto number = [&](const wchar_t* what, const std::optional<std::uint64_t>& wanted, std::uint64_t found,
                                bool mayBeMore = false) {
            if (wanted && (mayBeMore ? found < *wanted : found != *wanted))
                text += L", " + std::to_wstring(found) + L" of " + Count(*wanted, what);
        };
        const auto names = [&](const wchar_t* what, const auto& accounts, const auto& present, bool wanted) {
            for (const std::wstring& account : accounts) {
                if (present.contains(account) != wanted)
                    text += L", " + account + L' ' + what;
            }
        };
        number(L"row", condition.rows, rows.size());
        number(L"role", condition.roles, granted.size());
        names(L"is not listed", condition.listed, listed, true);
        names(L"is listed", condition.unlisted, listed, false);
        names(L"has no role", condition.granted, granted, true);
        number(L"permission check", condition.activity.queries, now.queries - before.queries, true);
        number(L"token", condition.activity.tokens, now.tokens - before.tokens, true);
        number(L"failed grant", condition.activity.failedGrants, now.failedGrants - before.failedGrants, true);
        return text.empty() ? text : text.substr(2);
    }

    // Returns whether the cycle succeeded.
    bool RunCycle()
    {
        ++m_totals.cycles;
        const HRESULT result = m_host.RunCycle();
        if (SUCCEEDED(result)) {
            Say(L"cycle: ok");
            return true;
        }
        ++m_totals.failedCycles;
        Say(L"cycle: failed, " + FailureText(result, TakeErrorText()), Colour::Red);
        return false;
    }

    void ShowState()
    {
        ShowTable();
        ShowRoles();
        ShowFailures();
    }

    // Everything that has written the table since the last call counts, the module's own cycles included.
    void ShowTable()
    {
        const std::uint64_t rewrites = m_database.Rewrites();
        Rows rows = AccessRightRows(m_database.Rows(), m_site.objectNames);
        const RowChanges changes = CompareRows(m_rows, rows);
        const bool written = rewrites != std::exchange(m_rewrites, rewrites);
        std::wstring text = written ? L"table: rewritten, " : L"table: not rewritten, ";
        if (changes.Any())
            text +=
                L'+' + std::to_wstring(changes.added.size()) + L" -" + std::to_wstring(changes.removed.size()) + L", ";
        Say(text + Count(rows.size(), L"row"), written ? Colour::Yellow : Colour::None);
        ShowChanges(m_console, changes);
        m_rows = std::move(rows);
        m_totals.rowsAdded += changes.added.size();
        m_totals.rowsRemoved += changes.removed.size();
    }

    // Shows nothing when no role was asked for: most events have nothing to do with roles.
    void ShowRoles()
    {
        const std::uint64_t grants = m_database.Grants();
        if (grants == std::exchange(m_grants, grants))
            return;
        Rows roles = RoleRows(m_database.Roles(), false);
        const RowChanges changes = CompareRows(m_roles, roles);
        Say(L"roles: +" + std::to_wstring(changes.added.size()) + L", " + Count(roles.size(), L"role"), Colour::Yellow);
        ShowChanges(m_console, changes);
        m_roles = std::move(roles);
    }

    void ShowFailures()
    {
        auto failures = m_host.Failures();
        for (std::size_t i = 0; i < failures.size(); ++i) {
            const auto& [part, count] = failures[i];
            const std::uint64_t before = i < m_failures.size() ? m_failures[i].second.count : 0;
            if (count.count == before)
                continue;
            Say(part + L": " + Count(count.count - before, L"failure") + L", the last one: " + count.lastText,
                Colour::Red);
        }
        m_failures = std::move(failures);
    }

    // Runs cycles until two in a row succeeded without changing anything; false when that does not come.
    bool RunUntilIdle()
    {
        int unchanged = 0;
        for (int i = 0; i < MostIdleCycles && unchanged < 2 && !Interruption::IsRequested(); ++i) {
            Head(L"Until idle: cycle " + std::to_wstring(i + 1));
            const std::uint64_t rewrites = m_rewrites;
            const bool succeeded = RunCycle();
            ShowState();
            unchanged = succeeded && m_rewrites == rewrites ? unchanged + 1 : 0;
        }
        return unchanged == 2 || Interruption::IsRequested();
    }

    // Leaves the module to itself and shows the tables whenever they have changed.
    void RunFor(double seconds)
    {
        Head(L"The module runs by itself for " + std::to_wstring(std::lround(seconds)) + L" s");
        Wait(seconds);
    }

    void Wait(double seconds)
    {
        double shown = -1;
        Interruption::Wait(std::chrono::duration<double>(seconds), [&](std::chrono::duration<double> passed) {
            if (m_database.Rewrites() != m_rewrites || m_database.Grants() != m_grants)
                ShowState();
            if (std::floor(passed.count()) == shown)
                return;
            shown = std::floor(passed.count());
            m_console.Progress(L"    waiting: " + std::to_wstring(std::lround(shown)) + L" of " +
                               std::to_wstring(std::lround(std::ceil(seconds))) + L" s");
        });
    }

    // Shows and counts what the module has still done.
    void Finish()
    {
        if (m_database.Rewrites() != m_rewrites || m_database.Grants() != m_grants) {
            Head(L"What was still running");
            ShowState();
        }
        const Rows rows = AccessRightRows(m_database.Rows(), {});
        m_totals.tableRows = rows.size();
        std::set<std::wstring> pending;
        if (!ReportServer().empty())
            pending = FirstColumn(rows);
        pending.erase(EveryAccount);
        for (const std::wstring& account : Granted())
            pending.erase(account);
        m_totals.pendingGrants = pending.size();
    }

    // The one in use; empty when there is none.
    std::wstring ReportServer() const
    {
        const NodeDescription* entry = m_host.EnabledEntry();
        for (const Attribute& attribute : entry ? entry->attributes : std::vector<Attribute>()) {
            if (attribute.name == L"ReportServerUrl")
                return std::get<std::wstring>(attribute.value);
        }
        return {};
    }

    // The accounts with a role on it.
    std::set<std::wstring> Granted() const
    {
        const std::wstring reportServer = ReportServer();
        std::set<std::wstring> accounts;
        for (const ReportServerRole& role : m_database.Roles()) {
            if (role.reportServer == reportServer)
                accounts.insert(role.account);
        }
        return accounts;
    }

    void Head(const std::wstring& text)
    {
        m_console.Line();
        m_console.Line(text, Colour::Bold);
    }

    void Say(const std::wstring& text, Colour colour = Colour::None) { m_console.Line(L"    " + text, colour); }

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

} // namespace

Totals PlaySite(const Site& site, SiteHost& host, const RunOptions& options, Console& console,
                std::exception_ptr& failure)
{
    return SitePlayer(site, host, console).PlayAll(options, failure);
}

} // namespace Host
