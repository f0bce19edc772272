#include "Host/Program/Run.h"

#include "Host/Nodwell/TestControls.h"
#include "Host/Program/SitePlayer.h"
#include "Host/Support/PathText.h"
#include "Platform/Settings.h"

#include <algorithm>
#include <nlohmann/json.hpp>

namespace Host
{

namespace
{

namespace fs = std::filesystem;
using Json = nlohmann::ordered_json;

// What a run amounted to.
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

std::wstring Known(const std::optional<std::size_t>& number)
{
    return number ? std::to_wstring(*number) : L"an unknown number";
}

Json Optional(const auto& value)
{
    return value ? Json(*value) : Json();
}

void ShowSummary(const Summary& summary, Console& console)
{
    const Totals& totals = summary.totals;
    console.Line();
    console.Line(summary.failure       ? L"Summary (failed)"
                 : summary.interrupted ? L"Summary (interrupted)"
                                       : L"Summary",
                 Colour::Bold);
    console.Line(L"    cycles    " + std::to_wstring(totals.cycles) + L" asked for, " +
                 std::to_wstring(totals.failedCycles) + L" failed");
    console.Line(L"    rewrites  " + std::to_wstring(summary.rewrites));
    console.Line(L"    rows      " + std::to_wstring(totals.rows.added) + L" added, " +
                 std::to_wstring(totals.rows.removed) + L" removed, " + Known(totals.tableRows) + L" in the table");
    console.Line(L"    roles     " + std::to_wstring(summary.grants) + L" granted, " +
                 std::to_wstring(summary.failedGrants) + L" failed, " + Known(totals.pendingGrants) + L" pending");
    if (summary.Leaks())
        console.Line(std::wstring(L"    released  LEAK: the module ") + (summary.moduleLocked ? L"is" : L"is not") +
                         L" locked, " + std::to_wstring(summary.nodes) + L" nodes alive",
                     Colour::Red);
    else
        console.Line(L"    released  completely: module not locked and unloaded, no node alive");
    console.Line(L"    database  " + PathText(summary.database));
    if (summary.sqlTrace)
        console.Line(L"    SQL       " + PathText(*summary.sqlTrace));
    console.Line(L"    log       " + PathText(summary.log) +
                 (std::filesystem::exists(summary.log) ? L"" : L" (nothing logged)"));
}

Json SummaryJson(const Summary& summary)
{
    const Totals& totals = summary.totals;
    return {
        {"site", Text::ToUtf8(summary.site)},
        {"failure", Optional(summary.failure)},
        {"interrupted", summary.interrupted},
        {"unmet", totals.unmet},
        {"cycles", {{"asked", totals.cycles}, {"failed", totals.failedCycles}}},
        {"rewrites", summary.rewrites},
        {"rows", {{"added", totals.rows.added}, {"removed", totals.rows.removed}, {"now", Optional(totals.tableRows)}}},
        {"roles",
         {{"granted", summary.grants}, {"failed", summary.failedGrants}, {"pending", Optional(totals.pendingGrants)}}},
        {"leaks", {{"moduleLocked", summary.moduleLocked}, {"nodes", summary.nodes}}},
        {"database", Utf8PathText(summary.database)},
        {"sqlTrace", summary.sqlTrace ? Json(Utf8PathText(*summary.sqlTrace)) : Json()},
        {"log", Utf8PathText(summary.log)}};
}

void SetEnvironment(const std::wstring& name, const std::wstring& value)
{
    if (const HRESULT hr = Platform::SetVariable(name, value.c_str()); FAILED(hr))
        throw Failure{hr, L"cannot set the environment variable '" + name + L"' to '" + value + L"'"};
}

// The module reads its settings when it is loaded, and the accounts whenever it asks for one. Variables that
// are set already take precedence over the site's settings.
void PrepareEnvironment(const Site& site, const fs::path& dataDirectory, const fs::path& accountsFile, bool reportAlive)
{
    ReplaceFile(accountsFile, site.accounts);
    SetEnvironment(L"KESTRINE_ACCOUNTS_FILE", PathText(accountsFile));
    for (const auto& [name, value] : site.moduleSettings) {
        if (!Platform::EnvironmentVariable(name))
            SetEnvironment(name, value);
    }
    SetEnvironment(L"GS_General_DataDirectoryPath", PathText(dataDirectory));
    if (reportAlive)
        SetEnvironment(L"GS_Debug_EnableAliveObjectsTracking", L"1");
}

// Where the module writes its log.
fs::path LogFile(const fs::path& module, const fs::path& dataDirectory)
{
    std::wstring folder = Platform::EnvironmentVariable(L"GS_Logger_Path").value_or(L"Logs");
    std::replace(folder.begin(), folder.end(), L'\\', L'/');
    return dataDirectory / PathOf(folder) / module.filename().replace_extension(".log");
}

// Locks of other processes are waited for to the end of the run, a minute at least, unless the run is interrupted.
Sqlite::Patience PatienceOf(const RunOptions& options)
{
    const std::chrono::duration<double> run(options.seconds.value_or(0));
    Sqlite::Patience patience;
    patience.limit = std::max(patience.limit, std::chrono::duration_cast<std::chrono::milliseconds>(run));
    patience.isStopped = &Interruption::IsRequested;
    return patience;
}

// Keeps the first exception.
template <class Step>
void Attempt(std::exception_ptr& failure, const Step& step)
{
    try {
        step();
    } catch (...) {
        if (!failure)
            failure = std::current_exception();
    }
}

// Throws Failure when the site does not come to what its timeline and the options expect.
void PlayParts(const RunOptions& options, SitePlayer& player)
{
    player.PlayTimeline();
    const bool isIdle = !options.untilIdle || player.RunUntilIdle();
    if (options.seconds)
        player.RunFor(*options.seconds);
    if (!isIdle)
        throw Failure{E_FAIL, L"the module did not come to rest: the table was still rewritten or cycles failed"};
    if (const std::size_t unmet = player.Result().unmet; unmet != 0)
        throw Failure{E_FAIL, Count(unmet, L"event") + L" did not come to what the timeline expects"};
}

// Runs the site and releases everything again.
void Play(const Site& site, const RunOptions& options, const RunFiles& files, Console& console, Summary& summary,
          std::exception_ptr& failure)
{
    SiteHost host(site, files.Database(), {options.module, files.AccountsFile()});
    SitePlayer player(site, host, *files.Database(), console);
    Attempt(failure, [&] { PlayParts(options, player); });
    if (options.reportAlive)
        host.Module().ReportAliveObjects();
    host.ReleaseComponents();
    summary.moduleLocked = host.Module().IsLocked();
    if (summary.moduleLocked && options.reportAlive)
        host.Module().ReportAliveObjects();
    Attempt(failure, [&] { player.Finish(); });
    summary.totals = player.Result();
    summary.failedGrants = host.ActivitySoFar().failedGrants;
}

} // namespace

std::string Said(const std::exception_ptr& error)
{
    try {
        std::rethrow_exception(error);
    } catch (const Failure& failure) {
        return Text::ToUtf8(failure.text.empty() ? FailureText(failure.result, {}) : failure.text);
    } catch (const std::exception& exception) {
        return exception.what();
    }
}

ExitStatus RunSite(const RunOptions& options, Console& console, Console* json)
{
    const Site site = LoadSite(options.site);
    CheckReadable(options.module);
    Interruption::Install();
    WantedFiles wanted = options.files;
    wanted.patience = PatienceOf(options);
    const RunFiles files(wanted);
    PrepareEnvironment(site, files.DataDirectory(), files.AccountsFile(), options.reportAlive);

    Summary summary;
    summary.site = site.title;
    summary.database = files.Database()->File();
    if (options.files.sqlTrace)
        summary.sqlTrace = fs::absolute(*options.files.sqlTrace);
    summary.log = LogFile(options.module, files.DataDirectory());
    std::exception_ptr failure;
    Attempt(failure, [&] {
        console.Line(site.title, Colour::Bold);
        console.Line(L"    data      " + PathText(files.DataDirectory()));
        console.Line(L"    module    " + PathText(options.module));
        console.Line(L"    log       " + PathText(summary.log));
        Play(site, options, files, console, summary, failure);
    });
    Attempt(failure, [&] { files.Database()->CheckTrace(); });
    summary.nodes = NodwellLiveNodes();
    summary.rewrites = files.Database()->Rewrites();
    summary.grants = files.Database()->Grants();
    summary.interrupted = Interruption::IsRequested();
    if (failure)
        summary.failure = Said(failure);
    if (json)
        json->Line(Text::FromUtf8(SummaryJson(summary).dump(1)));
    else
        ShowSummary(summary, console);
    if (summary.Leaks())
        return Leaked;
    if (summary.interrupted)
        return Interrupted;
    if (failure)
        std::rethrow_exception(failure);
    return Success;
}

ExitStatus DiffSite(const RunOptions& options, Console& console)
{
    const Site site = LoadSite(options.site);
    CheckReadable(options.module);
    CheckReadable(*options.files.database);
    const fs::path folder = NewTemporaryFolder();
    std::exception_ptr failure;
    Rows before;
    Rows after;
    Attempt(failure, [&] {
        const auto database = MakeComponent<ReportingDatabase>(*options.files.database, Sqlite::Patience{},
                                                               ReportingDatabase::Use::Rehearse);
        before = AccessRightRows(database->Rows(), site.objectNames);
        fs::create_directories(folder);
        PrepareEnvironment(site, folder, folder / "accounts.txt", false);
        SiteHost host(site, database, {options.module, folder / "accounts.txt"});
        if (const HRESULT result = host.RunCycle(); FAILED(result))
            throw Failure{result, L"the cycle failed: " + FailureText(result, TakeErrorText())};
        after = AccessRightRows(database->RehearsedRows(), site.objectNames);
    });
    std::error_code ignored;
    fs::remove_all(folder, ignored);
    if (failure)
        throw InputError(Said(failure));
    const RowChanges changes = CountChanges(before, after);
    ShowChanges(console, before, after, before.size() + after.size());
    console.Line(Count(changes.added, L"row") + L" to add, " + std::to_wstring(changes.removed) + L" to remove");
    return changes.Any() ? Different : Success;
}

} // namespace Host
