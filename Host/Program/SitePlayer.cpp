#include "Host/Program/SitePlayer.h"

#include <algorithm>
#include <cmath>

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

} // namespace

SitePlayer::SitePlayer(const Site& site, SiteHost& host, ReportingDatabase& database, Console& console)
    : m_site(site),
      m_host(host),
      m_database(database),
      m_console(console),
      m_rows(AccessRightRows(database.Rows(), site.objectNames)),
      m_roles(RoleRows(database.Roles(), false))
{}

void SitePlayer::PlayTimeline()
{
    ShowFailures();
    for (const Event& event : m_site.timeline) {
        if (Interruption::IsRequested())
            return;
        Play(event);
    }
}

void SitePlayer::Play(const Event& event)
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
void SitePlayer::ShowFindings(const std::vector<Finding>& findings)
{
    for (std::size_t i = 0; i < findings.size(); ++i) {
        if (i < MostFindings || findings[i].isFailure)
            Say(findings[i].text, findings[i].isFailure ? Colour::Red : Colour::None);
    }
    if (findings.size() > MostFindings)
        Say(L"... " + std::to_wstring(findings.size()) + L" in all");
}

void SitePlayer::Await(const Condition& condition, const Activity& before, double limit)
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

std::wstring SitePlayer::Unmet(const Condition& condition, const Activity& before) const
{
    const Rows rows = AccessRightRows(m_database.Rows(), {});
    const std::set<std::wstring> listed = FirstColumn(rows);
    const std::set<std::wstring> granted = Granted();
    const Activity now = m_host.ActivitySoFar();
    std::wstring text;
    const auto number = [&](const wchar_t* what, std::uint64_t wanted, std::uint64_t found, bool holds) {
        if (!holds)
            text += L", " + std::to_wstring(found) + L" of " + Count(wanted, what);
    };
    const auto exactly = [&](const wchar_t* what, const std::optional<std::uint64_t>& wanted, std::uint64_t found) {
        number(what, wanted.value_or(0), found, !wanted || *wanted == found);
    };
    const auto atLeast = [&](const wchar_t* what, std::uint64_t wanted, std::uint64_t found) {
        number(what, wanted, found, found >= wanted);
    };
    const auto names = [&](const wchar_t* what, const auto& accounts, const auto& present, bool wanted) {
        for (const std::wstring& account : accounts) {
            if (present.contains(account) != wanted)
                text += L", " + account + L' ' + what;
        }
    };
    exactly(L"row", condition.rows, rows.size());
    exactly(L"role", condition.roles, granted.size());
    names(L"is not listed", condition.listed, listed, true);
    names(L"is listed", condition.unlisted, listed, false);
    names(L"has no role", condition.granted, granted, true);
    atLeast(L"permission check", condition.activity.queries, now.queries - before.queries);
    atLeast(L"token", condition.activity.tokens, now.tokens - before.tokens);
    atLeast(L"failed grant", condition.activity.failedGrants, now.failedGrants - before.failedGrants);
    return text.empty() ? text : text.substr(2);
}

bool SitePlayer::RunCycle()
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

void SitePlayer::ShowState()
{
    ShowTable();
    ShowRoles();
    ShowFailures();
}

// Everything that has written the table since the last call counts, the module's own cycles included.
void SitePlayer::ShowTable()
{
    const std::uint64_t rewrites = m_database.Rewrites();
    Rows rows = AccessRightRows(m_database.Rows(), m_site.objectNames);
    const RowChanges changes = CountChanges(m_rows, rows);
    const bool written = rewrites != std::exchange(m_rewrites, rewrites);
    std::wstring text = written ? L"table: rewritten, " : L"table: not rewritten, ";
    if (changes.Any())
        text += L'+' + std::to_wstring(changes.added) + L" -" + std::to_wstring(changes.removed) + L", ";
    Say(text + Count(rows.size(), L"row"), written ? Colour::Yellow : Colour::None);
    ShowChanges(m_console, m_rows, rows);
    m_rows = std::move(rows);
    m_totals.rows.added += changes.added;
    m_totals.rows.removed += changes.removed;
}

// Shows nothing when no role was asked for: most events have nothing to do with roles.
void SitePlayer::ShowRoles()
{
    const std::uint64_t grants = m_database.Grants();
    if (grants == std::exchange(m_grants, grants))
        return;
    Rows roles = RoleRows(m_database.Roles(), false);
    const RowChanges changes = CountChanges(m_roles, roles);
    Say(L"roles: +" + std::to_wstring(changes.added) + L", " + Count(roles.size(), L"role"), Colour::Yellow);
    ShowChanges(m_console, m_roles, roles);
    m_roles = std::move(roles);
}

void SitePlayer::ShowFailures()
{
    auto failures = m_host.Failures();
    for (std::size_t i = 0; i < failures.size(); ++i) {
        const auto& [part, count] = failures[i];
        const std::uint64_t before = i < m_failures.size() ? m_failures[i].second.count : 0;
        if (count.count == before)
            continue;
        Say(part + L": " + Count(count.count - before, L"failure") + L", the last one: " + count.lastText, Colour::Red);
    }
    m_failures = std::move(failures);
}

bool SitePlayer::RunUntilIdle()
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

void SitePlayer::RunFor(double seconds)
{
    Head(L"The module runs by itself for " + std::to_wstring(std::lround(seconds)) + L" s");
    Wait(seconds);
}

void SitePlayer::Wait(double seconds)
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

void SitePlayer::Finish()
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

std::wstring SitePlayer::ReportServer() const
{
    const NodeDescription* entry = m_host.EnabledEntry();
    for (const Attribute& attribute : entry ? entry->attributes : std::vector<Attribute>()) {
        if (attribute.name == L"ReportServerUrl")
            return std::get<std::wstring>(attribute.value);
    }
    return {};
}

std::set<std::wstring> SitePlayer::Granted() const
{
    const std::wstring reportServer = ReportServer();
    std::set<std::wstring> accounts;
    for (const ReportServerRole& role : m_database.Roles()) {
        if (role.reportServer == reportServer)
            accounts.insert(role.account);
    }
    return accounts;
}

void SitePlayer::Head(const std::wstring& text)
{
    m_console.Line();
    m_console.Line(text, Colour::Bold);
}

} // namespace Host
