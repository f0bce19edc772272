#include "Host/Program/Run.h"

#include "Host/Nodwell/TestControls.h"
#include "Host/Program/Listing.h"
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

Json Optional(const std::optional<std::size_t>& number)
{
    return number ? Json(*number) : Json();
}

void ShowSummary(const Json& summary, Console& console)
{
    const auto number = [&](const char* place) {
        const Json& value = summary[Json::json_pointer(place)];
        return value.is_null() ? L"an unknown number" : Text::FromUtf8(value.dump());
    };
    const auto text = [&](const char* key) { return Text::FromUtf8(summary[key].get<std::string>()); };
    const bool isLocked = summary["leaks"]["moduleLocked"];
    console.Line();
    console.Line(!summary["failure"].is_null() ? L"Summary (failed)"
                 : summary["interrupted"]      ? L"Summary (interrupted)"
                                               : L"Summary",
                 Colour::Bold);
    console.Line(L"    cycles    " + number("/cycles/asked") + L" asked for, " + number("/cycles/failed") + L" failed");
    console.Line(L"    rewrites  " + number("/rewrites"));
    console.Line(L"    rows      " + number("/rows/added") + L" added, " + number("/rows/removed") + L" removed, " +
                 number("/rows/now") + L" in the table");
    console.Line(L"    roles     " + number("/roles/granted") + L" granted, " + number("/roles/failed") + L" failed, " +
                 number("/roles/pending") + L" pending");
    if (isLocked || summary["leaks"]["nodes"] != 0)
        console.Line(std::wstring(L"    released  LEAK: the module ") + (isLocked ? L"is" : L"is not") + L" locked, " +
                         number("/leaks/nodes") + L" nodes alive",
                     Colour::Red);
    else
        console.Line(L"    released  completely: module not locked and unloaded, no node alive");
    console.Line(L"    database  " + text("database"));
    if (!summary["sqlTrace"].is_null())
        console.Line(L"    SQL       " + text("sqlTrace"));
    console.Line(L"    log       " + text("log") + (fs::exists(PathOf(text("log"))) ? L"" : L" (nothing logged)"));
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

    const fs::path log = LogFile(options.module, files.DataDirectory());
    Totals totals;
    std::exception_ptr failure;
    Attempt(failure, [&] {
        console.Line(site.title, Colour::Bold);
        console.Line(L"    data      " + PathText(files.DataDirectory()));
        console.Line(L"    module    " + PathText(options.module));
        console.Line(L"    log       " + PathText(log));
        SiteHost host(site, files.Database(), options.module, files.AccountsFile());
        totals = PlaySite(site, host, options, console, failure);
    });
    Attempt(failure, [&] { files.Database()->CheckTrace(); });
    const std::uint64_t nodes = NodwellLiveNodes();
    const bool isInterrupted = Interruption::IsRequested();
    const std::optional<fs::path>& trace = options.files.sqlTrace;
    const Json summary{
        {"site", Text::ToUtf8(site.title)},
        {"failure", failure ? Json(Said(failure)) : Json()},
        {"interrupted", isInterrupted},
        {"unmet", totals.unmet},
        {"cycles", {{"asked", totals.cycles}, {"failed", totals.failedCycles}}},
        {"rewrites", files.Database()->Rewrites()},
        {"rows", {{"added", totals.rowsAdded}, {"removed", totals.rowsRemoved}, {"now", Optional(totals.tableRows)}}},
        {"roles",
         {{"granted", files.Database()->Grants()},
          {"failed", totals.failedGrants},
          {"pending", Optional(totals.pendingGrants)}}},
        {"leaks", {{"moduleLocked", totals.moduleLocked}, {"nodes", nodes}}},
        {"database", Utf8PathText(files.Database()->File())},
        {"sqlTrace", trace ? Json(Utf8PathText(fs::absolute(*trace))) : Json()},
        {"log", Utf8PathText(log)}};
    if (json)
        json->Line(Text::FromUtf8(summary.dump(1)));
    else
        ShowSummary(summary, console);
    if (totals.moduleLocked || nodes != 0)
        return Leaked;
    if (isInterrupted)
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
        SiteHost host(site, database, options.module, folder / "accounts.txt");
        if (const HRESULT result = host.RunCycle(); FAILED(result))
            throw Failure{result, L"the cycle failed: " + FailureText(result, TakeErrorText())};
        after = AccessRightRows(database->Rows(), site.objectNames);
    });
    std::error_code ignored;
    fs::remove_all(folder, ignored);
    if (failure)
        throw InputError(Said(failure));
    const RowChanges changes = CompareRows(before, after);
    ShowChanges(console, changes, before.size() + after.size());
    console.Line(Count(changes.added.size(), L"row") + L" to add, " + std::to_wstring(changes.removed.size()) +
                 L" to remove");
    return changes.Any() ? Different : Success;
}

} // namespace Host
