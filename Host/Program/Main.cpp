// kestrine-host: runs the module on a site that a file describes, and shows what it does.
#include "Host/Program/Files.h"
#include "Host/Program/Run.h"
#include "Host/Support/Failure.h"
#include "Host/Support/PathText.h"
#include "Platform/Modules.h"
#include "Platform/Program.h"

#include <CLI/CLI.hpp>
#include <algorithm>
#include <cmath>
#include <iostream>

namespace
{

using namespace Host;

constexpr char Help[] = R"(Exit status: 0 all went as the timeline says (diff: no differences)
             1 the run failed, or output could not be written (diff: there are differences)
             2 wrong input; nothing has run, and nothing is left behind
             3 something was still alive after everything had been released
             130 interrupted
Example: kestrine-host run Samples/site.json --data /tmp/site --until-idle
The commands' own options: kestrine-host COMMAND --help)";

// The module lies beside the program.
std::filesystem::path DefaultModule()
{
    std::wstring program = Platform::ModulePath(Platform::MainModule());
    std::replace(program.begin(), program.end(), L'\\', L'/');
    return PathOf(program).parent_path() / KESTRINE_MODULE_FILE;
}

struct CommandLine
{
    explicit CommandLine(CLI::App& app);

    // `path`: a path, optional or not.
    template <class Path>
    void AddPath(CLI::App* command, const char* name, const char* description, Path& path);
    void AddFormat(CLI::App* command, bool withCsv);

    RunOptions options;
    std::filesystem::path file;
    SiteSize size;
    Format format = Format::Text;
    CLI::App* run;
    CLI::App* diff;
    CLI::App* check;
    CLI::App* table;
    CLI::App* roles;
    CLI::App* generate;
};

CommandLine::CommandLine(CLI::App& app)
    : run(app.add_subcommand("run", "Play a site's timeline")),
      diff(app.add_subcommand("diff", "Show what a site's first cycle would change in a database; nothing is written")),
      check(app.add_subcommand("check", "Check a site file")),
      table(app.add_subcommand("table", "Print the access rights of a reporting database")),
      roles(app.add_subcommand("roles", "Print the report server roles in a reporting database")),
      generate(app.add_subcommand("generate", "Write a site with many accounts"))
{
    app.require_subcommand(1);
    app.set_version_flag("--version", "kestrine-host " KESTRINE_VERSION_TEXT);
    app.footer(Help);

    options.module = DefaultModule();
    for (CLI::App* command : {run, diff}) {
        AddPath(command, "site", "Site file", options.site);
        AddPath(command, "--module", "The module (default: the one beside this program)", options.module);
    }
    AddPath(run, "--db", "Reporting database (default: reporting.db in the data directory)", options.files.database);
    AddPath(run, "--data", "Data directory (default: a new temporary one)", options.files.dataDirectory);
    AddPath(run, "--sql-trace", "Write every SQL text to this file (default: none)", options.files.sqlTrace);
    CLI::Option* idle = run->add_flag("--until-idle", options.untilIdle, "Then run cycles until nothing changes");
    run->add_option("--for", options.seconds, "Then leave the module to itself for so many seconds (default: 0)")
        ->check([](const std::string& text) {
            double seconds = 0;
            const bool isNumber = CLI::detail::lexical_cast(text, seconds) && seconds >= 0 && seconds <= 1e9;
            return isNumber ? std::string() : '"' + text + "\", expected seconds from 0 to 1e9";
        })
        ->excludes(idle);
    run->add_flag("--report-alive", options.reportAlive, "At the end list the live component objects in the log");
    AddFormat(run, false);
    AddPath(diff, "--db", "Reporting database", options.files.database);
    diff->get_option("--db")->required();
    AddPath(check, "site", "Site file", file);
    for (CLI::App* command : {table, roles}) {
        AddPath(command, "database", "Database file", file);
        AddFormat(command, true);
    }
    generate->add_option("--accounts", size.accounts, "Number of accounts")
        ->check(CLI::Range(1, 1000000))
        ->capture_default_str();
    generate->add_option("--containers", size.containers, "Containers of each account")
        ->check(CLI::Range(1, 100))
        ->capture_default_str();
    generate->add_option("--seed", size.seed, "Another seed gives other containers")->capture_default_str();
    AddPath(generate, "site", "Site file to write", file);
}

template <class Path>
void CommandLine::AddPath(CLI::App* command, const char* name, const char* description, Path& path)
{
    CLI::Option* option = command->add_option_function<std::string>(
        name, [&path](const std::string& text) { path = PathOf(std::string_view(text)); }, description);
    option->required(name[0] != '-');
}

void CommandLine::AddFormat(CLI::App* command, bool withCsv)
{
    std::map<std::string, Format> formats{{"text", Format::Text}, {"json", Format::Json}};
    if (withCsv)
        formats["csv"] = Format::Csv;
    command
        ->add_option("--format", format,
                     withCsv ? "Output (default: text)"
                             : "The summary's form (default: text); with json the events appear on standard error")
        ->transform(CLI::CheckedTransformer(formats).description(withCsv ? "text|json|csv" : "text|json"));
}

ExitStatus Perform(const CommandLine& line)
{
    Console console(std::cout, Platform::StyleFor(Platform::OutputTerminalWidth()));
    Console errors(std::cerr, Platform::StyleFor(Platform::ErrorTerminalWidth()));
    if (line.run->parsed()) {
        Platform::KeepNewFilesFromOthers();
        return line.format == Format::Json ? RunSite(line.options, errors, &console) : RunSite(line.options, console);
    }
    if (line.diff->parsed())
        return DiffSite(line.options, console);
    if (line.check->parsed())
        CheckSite(line.file, console);
    if (line.table->parsed())
        PrintTable(line.file, line.format, console);
    if (line.roles->parsed())
        PrintRoles(line.file, line.format, console);
    if (line.generate->parsed())
        WriteGeneratedSite(line.size, line.file, console);
    return Success;
}

int RunProgram(std::vector<std::string> arguments)
{
    CLI::App app("Runs the component module on a site and shows what happens to the access rights.", "kestrine-host");
    app.allow_windows_style_options(false); // paths may begin with a slash; the commands take it over
    CommandLine line(app);
    std::string commands;
    bool isKnown = arguments.empty() || arguments[0].starts_with('-');
    for (const CLI::App* command : app.get_subcommands(nullptr)) {
        commands += (commands.empty() ? "" : ", ") + command->get_name();
        isKnown = isKnown || command->get_name() == arguments[0];
    }
    if (!isKnown)
        throw InputError("unknown command \"" + arguments[0] + "\", expected one of " + commands);
    try {
        std::reverse(arguments.begin(), arguments.end()); // as the library wants them
        app.parse(std::move(arguments));
    } catch (const CLI::ParseError& error) {
        if (app.exit(error) != 0)
            return WrongInput;
        if (!std::cout.flush())
            throw std::runtime_error("the output cannot be written");
        return Success;
    }
    return Perform(line);
}

} // namespace

int main(int argc, char** argv)
{
    std::exception_ptr error;
    int status = RunFailed;
    try {
        return RunProgram(Platform::ProgramArguments(argc, argv));
    } catch (const InputError&) {
        status = WrongInput;
        error = std::current_exception();
    } catch (...) {
        error = std::current_exception();
    }
    std::cerr << "kestrine-host: " << Said(error) << std::endl;
    return status;
}
