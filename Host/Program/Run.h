// The program's commands.
#pragma once

#include "Host/Program/Console.h"
#include "Host/Program/Files.h"

namespace Host
{

enum ExitStatus
{
    Success = 0,
    RunFailed = 1,
    Different = 1,
    WrongInput = 2,
    Leaked = 3,
    Interrupted = 130,
};

struct RunOptions
{
    std::filesystem::path site;
    std::filesystem::path module;
    WantedFiles files;
    std::optional<double> seconds; // how long the module runs by itself after the timeline
    bool untilIdle = false;
    bool reportAlive = false;
};

// Of a generated site. Equal sizes give equal sites.
struct SiteSize
{
    std::uint32_t accounts = 1000;
    std::uint32_t containers = 3; // of each account
    std::uint32_t seed = 1;
};

enum class Format
{
    Text,
    Json,
    Csv,
};

// They throw InputError for what a person has to mend before anything runs, and Failure when something fails later.

// With `json` the summary is an object, in which null stands for what is not known, and appears there.
ExitStatus RunSite(const RunOptions& options, Console& console, Console* json = nullptr);
// What the first cycle of the site would change in the database; files.database names it.
ExitStatus DiffSite(const RunOptions& options, Console& console);
void CheckSite(const std::filesystem::path& site, Console& console);
void PrintTable(const std::filesystem::path& database, Format format, Console& console);
void PrintRoles(const std::filesystem::path& database, Format format, Console& console);
// A site whose accounts are named in its configuration, with a timeline that lists them all, takes some away and lets
// some ask for reports.
void GenerateSite(const SiteSize& size, const std::filesystem::path& file, Console& console);

// What an exception says to a person, in UTF-8.
std::string Said(const std::exception_ptr& error);

} // namespace Host
