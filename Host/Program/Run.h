// The program's commands.
#pragma once

#include "Host/Program/Console.h"
#include "Host/Program/Generate.h"

#include <filesystem>
#include <optional>

namespace Host
{

enum ExitStatus
{
    Success = 0,
    RunFailed = 1,
    WrongInput = 2,
    Leaked = 3,
    Interrupted = 130,
};

struct RunOptions
{
    std::filesystem::path site;
    std::filesystem::path module;
    std::optional<std::filesystem::path> database;      // default: in the data directory
    std::optional<std::filesystem::path> dataDirectory; // default: a new temporary one
    std::optional<std::filesystem::path> sqlTrace;
    std::optional<double> seconds; // how long the module runs by itself after the timeline
    bool untilIdle = false;
    bool reportAlive = false;
};

// They throw InputError for what a person has to mend before anything runs, and Failure when the run fails.
ExitStatus RunSite(const RunOptions& options, Console& console);
void CheckSite(const std::filesystem::path& site, Console& console);
void PrintTable(const std::filesystem::path& database, Console& console);
void PrintRoles(const std::filesystem::path& database, Console& console);
void WriteGeneratedSite(const SiteSize& size, const std::filesystem::path& file, Console& console);

} // namespace Host
