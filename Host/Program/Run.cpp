#include "Host/Program/Run.h"

#include "Host/Nodwell/TestControls.h"
#include "Host/Program/Interruption.h"
#include "Host/Program/JsonCursor.h"
#include "Host/Program/SitePlayer.h"
#include "Host/Support/Failure.h"
#include "Host/Support/PathText.h"
#include "Platform/Settings.h"
#include "Platform/Text.h"

#include <algorithm>
#include <fstream>
#include <random>

namespace Host
{

namespace
{

namespace fs = std::filesystem;

std::string Utf8(const fs::path& path)
{
    return Text::ToUtf8(PathText(path));
}

fs::path NewTemporaryFolder()
{
    std::random_device random;
    for (;;) {
        const fs::path folder = fs::temp_directory_path() / ("kestrine-host-" + std::to_string(random()));
        if (fs::create_directory(folder))
            return folder;
    }
}

// The data directory, there and writable.
fs::path PrepareDataDirectory(const std::optional<fs::path>& wanted)
{
    try {
        const fs::path folder = wanted ? fs::absolute(*wanted) : NewTemporaryFolder();
        fs::create_directories(folder / "Logs");
        const fs::path probe = folder / "Logs" / "kestrine-host.probe";
        if (!(std::ofstream(probe) << "probe" << std::flush))
            throw InputError(Utf8(folder) + ": cannot be written, expected a data directory");
        fs::remove(probe);
        return folder;
    } catch (const fs::filesystem_error& error) {
        throw InputError((wanted ? Utf8(*wanted) : "The folder for temporary files") +
                         ": cannot be used as data directory: " + error.code().message());
    }
}

std::shared_ptr<ReportingDatabase> OpenDatabase(const RunOptions& options, const fs::path& dataDirectory)
{
    const fs::path file = fs::absolute(options.database.value_or(dataDirectory / "reporting.db"));
    if (options.sqlTrace && fs::absolute(*options.sqlTrace) == file)
        throw InputError(Utf8(file) + ": is the database, expected another file for the SQL texts");
    try {
        auto database = std::make_shared<ReportingDatabase>(file);
        if (options.sqlTrace)
            database->TraceTo(*options.sqlTrace);
        return database;
    } catch (const Failure& failure) {
        throw InputError(Text::ToUtf8(failure.text));
    }
}

void SetEnvironment(const std::wstring& name, const std::wstring& value)
{
    if (const HRESULT hr = Platform::SetVariable(name, value.c_str()); FAILED(hr))
        throw Failure{hr, L"cannot set the environment variable '" + name + L"' to '" + value + L"'"};
}

// The module reads its settings when it is loaded, and the accounts whenever it asks for one. What whoever starts the
// host has set already goes before the site's settings.
void PrepareEnvironment(const Site& site, const RunOptions& options, const fs::path& dataDirectory,
                        const fs::path& accountsFile)
{
    WriteAccounts(site.accounts, accountsFile);
    SetEnvironment(L"KESTRINE_ACCOUNTS_FILE", PathText(accountsFile));
    for (const auto& [name, value] : site.moduleSettings) {
        if (!Platform::EnvironmentVariable(name))
            SetEnvironment(name, value);
    }
    SetEnvironment(L"GS_General_DataDirectoryPath", PathText(dataDirectory));
    if (options.reportAlive)
        SetEnvironment(L"GS_Debug_EnableAliveObjectsTracking", L"1");
}

// Where the module writes its log.
fs::path LogFile(const RunOptions& options, const fs::path& dataDirectory)
{
    std::wstring folder = Platform::EnvironmentVariable(L"GS_Logger_Path").value_or(L"Logs");
    std::replace(folder.begin(), folder.end(), L'\\', L'/');
    return dataDirectory / folder / options.module.filename().replace_extension(".log");
}

// What is true once everything has been released.
struct Leftovers
{
    bool moduleLocked = false;
    std::uint64_t nodes = 0;

    bool Any() const { return moduleLocked || nodes != 0; }
};

struct Outcome
{
    Totals totals;
    std::size_t rows = 0;
    std::uint64_t failedGrants = 0;
    bool idle = true;
    Leftovers leftovers;
};

Outcome Play(const Site& site, const RunOptions& options, const fs::path& accountsFile,
             const std::shared_ptr<ReportingDatabase>& database, Console& console)
{
    Outcome outcome;
    {
        SiteHost host(site, database, {options.module, accountsFile});
        SitePlayer player(site, host, *database, console);
        player.PlayTimeline();
        if (options.untilIdle)
            outcome.idle = player.RunUntilIdle();
        if (options.seconds)
            player.RunFor(*options.seconds);
        if (options.reportAlive)
            host.Module().ReportAliveObjects();
        host.ReleaseComponents();
        outcome.leftovers.moduleLocked = host.Module().IsLocked();
        if (outcome.leftovers.moduleLocked && options.reportAlive)
            host.Module().ReportAliveObjects();
        outcome.totals = player.Result();
        outcome.rows = player.RowCount();
        outcome.failedGrants = host.ActivitySoFar().failedGrants;
    }
    outcome.leftovers.nodes = NodwellLiveNodes();
    return outcome;
}

void Summarize(const Outcome& outcome, const RunOptions& options, const ReportingDatabase& database,
               const fs::path& dataDirectory, Console& console)
{
    const Totals& totals = outcome.totals;
    const fs::path log = LogFile(options, dataDirectory);
    console.Line();
    console.Line(Interruption::IsRequested() ? L"Summary (interrupted)" : L"Summary", Colour::Bold);
    console.Line(L"    cycles    " + std::to_wstring(totals.cycles) + L" asked for, " +
                 std::to_wstring(totals.failedCycles) + L" failed");
    console.Line(L"    rewrites  " + std::to_wstring(database.Rewrites()));
    console.Line(L"    rows      " + std::to_wstring(totals.rows.added) + L" added, " +
                 std::to_wstring(totals.rows.removed) + L" removed, " + std::to_wstring(outcome.rows) +
                 L" in the table");
    console.Line(L"    roles     " + std::to_wstring(database.Grants()) + L" granted, " +
                 std::to_wstring(outcome.failedGrants) + L" failed, " + std::to_wstring(totals.pendingGrants) +
                 L" pending");
    const Leftovers& leftovers = outcome.leftovers;
    if (leftovers.Any())
        console.Line(std::wstring(L"    released  LEAK: the module ") + (leftovers.moduleLocked ? L"is" : L"is not") +
                         L" locked, " + std::to_wstring(leftovers.nodes) + L" nodes alive",
                     Colour::Red);
    else
        console.Line(L"    released  completely: module not locked and unloaded, no node alive");
    console.Line(L"    database  " + PathText(database.File()));
    if (options.sqlTrace)
        console.Line(L"    SQL       " + PathText(fs::absolute(*options.sqlTrace)));
    console.Line(L"    log       " + PathText(log) + (fs::exists(log) ? L"" : L" (nothing logged)"));
}

// What `read` makes of a database file.
template <class Read>
Rows ReadRows(const fs::path& database, const Read& read)
{
    try {
        return read();
    } catch (const Sqlite::Error& error) {
        throw InputError(Utf8(database) + ": cannot be read as a reporting database: " + error.what());
    }
}

} // namespace

ExitStatus RunSite(const RunOptions& options, Console& console)
{
    const Site site = LoadSite(options.site);
    const fs::path dataDirectory = PrepareDataDirectory(options.dataDirectory);
    const std::shared_ptr<ReportingDatabase> database = OpenDatabase(options, dataDirectory);
    const fs::path accountsFile = dataDirectory / "accounts.txt";
    PrepareEnvironment(site, options, dataDirectory, accountsFile);
    Interruption::Install();

    console.Line(site.title, Colour::Bold);
    console.Line(L"    data      " + PathText(dataDirectory));
    console.Line(L"    module    " + PathText(options.module));
    console.Line(L"    log       " + PathText(LogFile(options, dataDirectory)));
    const Outcome outcome = Play(site, options, accountsFile, database, console);
    Summarize(outcome, options, *database, dataDirectory, console);
    if (outcome.leftovers.Any())
        return Leaked;
    if (Interruption::IsRequested())
        return Interrupted;
    if (!outcome.idle)
        throw Failure{E_FAIL, L"the module did not come to rest: the table was still rewritten or cycles failed"};
    if (outcome.totals.unmet != 0)
        throw Failure{E_FAIL, Count(outcome.totals.unmet, L"event") + L" did not come to what the timeline expects"};
    return Success;
}

void CheckSite(const fs::path& file, Console& console)
{
    const Site site = LoadSite(file);
    console.Line(PathText(file) + L": ok (" + std::to_wstring(site.components.size()) + L" components, " +
                 std::to_wstring(site.timeline.size()) + L" events)");
}

void PrintTable(const fs::path& database, Console& console)
{
    ShowRows(console, ReadRows(database, [&] { return AccessRightRows(ReadAccessRights(database), {}); }));
}

void PrintRoles(const fs::path& database, Console& console)
{
    ShowRows(console, ReadRows(database, [&] { return RoleRows(ReadReportServerRoles(database), true); }));
}

void WriteGeneratedSite(const SiteSize& size, const fs::path& file, Console& console)
{
    if (!(std::ofstream(file, std::ios::binary) << GenerateSite(size).dump(1) << '\n' << std::flush))
        throw InputError(Utf8(file) + ": cannot be written");
    console.Line(PathText(file) + L": " + Count(size.accounts, L"account"));
}

} // namespace Host
