// kestrine-log: shows operators the module's log and the update cycles in it.
#include "Platform/Program.h"
#include "Platform/Threads.h"
#include "Tools/Log/AccountTrail.h"
#include "Tools/Log/Changes.h"
#include "Tools/Log/Filter.h"
#include "Tools/Log/HtmlPage.h"
#include "Tools/Log/LogFile.h"
#include "Tools/Log/TextOutput.h"

#include <CLI/CLI.hpp>
#include <algorithm>
#include <cerrno>
#include <iostream>
#include <system_error>

namespace
{

using namespace LogTool;

enum ExitStatus
{
    Success = 0,
    OutputFailed = 1,
    WrongInput = 2,
};

constexpr std::chrono::milliseconds PauseBetweenLooks{250};
constexpr std::string_view NoDebugLines =
    "The log has no DBG lines, which tell of the cycles: the setting MaxSeverity of [Logger] was below DBG.";
constexpr const char* Footer =
    R"(Without options every line is printed, as UTF-8. Filters combine, also with the summaries.
Exit status: 0 success, 1 the output cannot be written, 2 wrong input or options.
Example, what went wrong since the afternoon:
  kestrine-log --severity WARN --since "2026-11-22 14:00" Logs/Kestrine.log)";

struct Options
{
    std::vector<std::filesystem::path> files;
    Filter filter;
    bool follow = false;
    bool cycles = false;
    std::optional<std::string> changesOf; // an account; empty: all of them
    std::string why;                      // an account
    std::filesystem::path html;           // empty: no page
};

struct OutputError : std::system_error
{
    using std::system_error::system_error;
};

void CheckOutput(const std::ostream& out, const std::string& name)
{
    if (!out)
        throw OutputError(errno, std::generic_category(), name);
}

void Print(const Filter& filter, const Line& line)
{
    static const bool colour = Platform::StyleFor(Platform::TerminalWidth(stdout)).colours;
    if (!filter.Passes(line))
        return;
    WriteLine(std::cout, line, colour);
    CheckOutput(std::cout, "standard output");
}

void Follow(const Options& options)
{
    FollowedLog log(options.files.front());
    LineReader reader([&](const Line& line) { Print(options.filter, line); });
    for (;;) {
        log.ReadNew(reader);
        CheckOutput(std::cout.flush(), "standard output");
        Platform::SleepFor(PauseBetweenLooks);
    }
}

void WritePage(const Options& options, const std::vector<Cycle>& cycles, std::string_view remark)
{
    Platform::KeepNewFilesFromOthers(); // it may hold secrets, as the log may
    std::string source;
    for (const std::filesystem::path& file : options.files)
        source += (source.empty() ? "" : ", ") + file.filename().string();
    std::ofstream page(options.html, std::ios::binary);
    CheckOutput(page, options.html.string());
    WriteHtml(page, cycles, source, remark);
    page.close();
    CheckOutput(page, options.html.string());
}

void Summarize(const Options& options, std::vector<LogFile>& logs)
{
    CycleCollector collector(!options.html.empty());
    for (LogFile& log : logs)
        log.Read([&](const Line& line) { collector.Take(line); });
    std::vector<Cycle> cycles;
    std::copy_if(collector.Cycles().begin(), collector.Cycles().end(), std::back_inserter(cycles),
                 [&](const Cycle& cycle) { return options.filter.Passes(cycle); });
    const std::string_view remark = collector.HasDebugLines() ? std::string_view() : NoDebugLines;
    if (!options.html.empty())
        WritePage(options, cycles, remark);
    if (!options.cycles)
        return;
    if (remark.empty())
        WriteCycles(std::cout, cycles);
    else
        std::cout << remark << '\n';
}

void WriteChanges(const Options& options, std::vector<LogFile>& logs)
{
    ChangeHistory history(*options.changesOf);
    for (LogFile& log : logs) {
        log.Read([&](const Line& line) {
            if (options.filter.Passes(line))
                history.Take(line);
        });
    }
    history.Write(std::cout);
}

// Reads the files twice: what is known of the account by its SID may stand ahead of the line that names both.
void WriteWhy(const Options& options, std::vector<LogFile>& logs)
{
    std::vector<LogFile> again(options.files.begin(), options.files.end());
    AccountTrail trail(options.why);
    for (std::vector<LogFile>* pass : {&logs, &again}) {
        trail.BeginPass();
        for (LogFile& log : *pass) {
            log.Read([&](const Line& line) {
                if (options.filter.Passes(line))
                    trail.Take(line);
            });
        }
    }
    trail.Write(std::cout);
}

void CheckPageIsNoLog(const Options& options)
{
    std::error_code ignored;
    for (const std::filesystem::path& file : options.files) {
        if (std::filesystem::equivalent(file, options.html, ignored))
            throw InputError(file.string() + ": the page would overwrite the log");
    }
}

void Run(const Options& options)
{
    if (options.follow)
        Follow(options);
    CheckPageIsNoLog(options);
    std::vector<LogFile> logs(options.files.begin(), options.files.end());
    if (options.cycles || !options.html.empty())
        Summarize(options, logs);
    else if (options.changesOf)
        WriteChanges(options, logs);
    else if (!options.why.empty())
        WriteWhy(options, logs);
    else
        for (LogFile& log : logs)
            log.Read([&](const Line& line) { Print(options.filter, line); });
    CheckOutput(std::cout.flush(), "standard output");
}

// Of a text in UTF-8.
std::filesystem::path ToPath(const std::string& text)
{
    return std::u8string(text.begin(), text.end());
}

int RunProgram(int argc, char** argv)
{
    CLI::App app("Prints the module's log, and the update cycles in it.", "kestrine-log");
    app.allow_windows_style_options(false); // paths may begin with a slash
    app.set_version_flag("--version", "kestrine-log " KESTRINE_VERSION_TEXT);
    app.footer(Footer);
    Options options;
    std::vector<std::string> files;
    std::string html;
    std::string severity;
    app.add_option("FILE", files, "Log files, the oldest first");
    app.add_option("--severity", severity, "That and graver: CRIT, ERR, WARN, INFO, DBG, DBG2 or DBG3 (default: all)")
        ->transform(CLI::IsMember(std::vector<std::string>(Severities.begin(), Severities.end()), CLI::ignore_case)
                        .description(""));
    app.add_option("--since", options.filter.since, "Date, or date and local time as in the log (default: the first)")
        ->transform(CLI::Validator(ReadSince, ""));
    app.add_option("--thread", options.filter.thread, "Thread as the log shows it (default: all)");
    CLI::Option* cycles = app.add_flag("--cycles", options.cycles, "A line for each update cycle instead of the log's");
    CLI::Option* page = app.add_option("--html", html, "Write a page with the update cycles to this file");
    CLI::Option* changes = app.add_option("--changes", options.changesOf,
                                          "Who gained and who lost rights: all accounts, or this one (FILE goes first)")
                               ->expected(0, 1)
                               ->type_name("[ACCOUNT]");
    CLI::Option* why = app.add_option("--why", options.why, "What the log knows of the account, the newest first")
                           ->type_name("ACCOUNT");
    CLI::Option* follow =
        app.add_flag("--follow", options.follow, "Print what is added to FILE from now on, until interrupted");
    for (CLI::Option* const one : {cycles, changes, why, follow}) {
        for (CLI::Option* const other : {cycles, changes, why, follow}) {
            if (one != other)
                one->excludes(other);
        }
    }
    page->excludes(changes)->excludes(why)->excludes(follow);
    try {
        std::vector<std::string> arguments = Platform::ProgramArguments(argc, argv);
        std::reverse(arguments.begin(), arguments.end()); // as the parser takes them
        app.parse(arguments);
        // Behind --changes a file may stand where an account would: it is one when there is no other.
        if (files.empty() && options.changesOf)
            files.push_back(std::exchange(*options.changesOf, {}));
        if (files.empty() || files.front().empty())
            throw CLI::RequiredError("FILE");
        options.html = ToPath(html);
        std::transform(files.begin(), files.end(), std::back_inserter(options.files), ToPath);
        if (options.follow && options.files.size() != 1)
            throw CLI::ValidationError("--follow", "takes one FILE");
    } catch (const CLI::ParseError& error) {
        return app.exit(error) == 0 ? Success : WrongInput;
    }
    const auto* const found = std::find(Severities.begin(), Severities.end(), severity);
    if (found != Severities.end())
        options.filter.severity = static_cast<std::size_t>(found - Severities.begin());
    Run(options);
    return Success;
}

} // namespace

int main(int argc, char** argv)
{
    std::ios::sync_with_stdio(false);
    try {
        return RunProgram(argc, argv);
    } catch (const InputError& error) {
        std::cerr << "kestrine-log: " << error.what() << std::endl;
        return WrongInput;
    } catch (const OutputError& error) {
        if (error.code() == std::errc::broken_pipe)
            return Success; // whoever reads has enough
        std::cerr << "kestrine-log: " << error.what() << std::endl;
    } catch (const std::exception& error) {
        std::cerr << "kestrine-log: " << error.what() << std::endl;
    }
    return OutputFailed;
}
