// kestrine-host: runs the module on a site that a file describes, and shows what it does.
#include "Host/Program/Run.h"
#include "Host/Support/PathText.h"
#include "Platform/Modules.h"

#include <CLI/CLI.hpp>
#include <algorithm>
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

// `path`: a path, optional or not.
template <class Path>
CLI::Option* AddPath(CLI::App* command, const char* name, const char* description, Path& path)
{
    const auto set = [&path](const std::string& text) { path = PathOf(std::string_view(text)); };
    return command->add_option_function<std::string>(name, set, description)->required(name[0] != '-');
}

std::string CheckSeconds(const std::string& text)
{
    double seconds = 0;
    const bool isNumber = CLI::detail::lexical_cast(text, seconds) && seconds >= 0 && seconds <= 1e9;
    return isNumber ? std::string() : '"' + text + "\", expected seconds from 0 to 1e9";
}

// The program's command line. Each command does its work as soon as the line has been read.
class CommandLine
{
public:
    CommandLine()
    {
        m_app.allow_windows_style_options(false); // paths may begin with a slash; the commands take it over
        m_options.module = DefaultModule();
        AddRun(m_app.add_subcommand("run", "Play a site's timeline"));
        AddDiff(m_app.add_subcommand("diff",
                                     "Show what a site's first cycle would change in a database; nothing is written"));
        CLI::App* const check = m_app.add_subcommand("check", "Check a site file");
        AddPath(check, "site", "Site file", m_file);
        check->callback([this] { CheckSite(m_file, m_console); });
        AddListing("table", "Print the access rights of a reporting database", &PrintTable);
        AddListing("roles", "Print the report server roles in a reporting database", &PrintRoles);
        AddGenerate(m_app.add_subcommand("generate", "Write a site with many accounts"));
        m_app.require_subcommand(1);
        m_app.set_version_flag("--version", "kestrine-host " KESTRINE_VERSION_TEXT);
        m_app.footer(Help); // the commands would take this over as well
    }

    // Returns the exit status.
    int Perform(std::vector<std::string> arguments)
    {
        std::string commands;
        bool isKnown = arguments.empty() || arguments[0].starts_with('-');
        for (const CLI::App* command : m_app.get_subcommands(nullptr)) {
            commands += (commands.empty() ? "" : ", ") + command->get_name();
            isKnown = isKnown || command->get_name() == arguments[0];
        }
        if (!isKnown)
            throw InputError("unknown command \"" + arguments[0] + "\", expected one of " + commands);
        try {
            std::reverse(arguments.begin(), arguments.end()); // as the library wants them
            m_app.parse(std::move(arguments));
        } catch (const CLI::ParseError& error) {
            if (m_app.exit(error) != 0)
                return WrongInput;
            std::cout.flush();
            m_console.Check();
        }
        return m_status;
    }

private:
    void AddRun(CLI::App* run)
    {
        AddSite(run);
        AddPath(run, "--db", "Reporting database (default: reporting.db in the data directory)",
                m_options.files.database);
        AddPath(run, "--data", "Data directory (default: a new temporary one)", m_options.files.dataDirectory);
        AddPath(run, "--sql-trace", "Write every SQL text to this file (default: none)", m_options.files.sqlTrace);
        CLI::Option* idle = run->add_flag("--until-idle", m_options.untilIdle, "Then run cycles until nothing changes");
        run->add_option("--for", m_options.seconds, "Then leave the module to itself for so many seconds (default: 0)")
            ->check(&CheckSeconds)
            ->excludes(idle);
        run->add_flag("--report-alive", m_options.reportAlive, "At the end list the live component objects in the log");
        AddFormat(run, "The summary's form (default: text); with json the events appear on standard error",
                  {{"text", Format::Text}, {"json", Format::Json}});
        run->callback([this] {
            Platform::KeepNewFilesFromOthers();
            m_status =
                m_format == Format::Json ? RunSite(m_options, m_errors, &m_console) : RunSite(m_options, m_console);
        });
    }

    void AddDiff(CLI::App* diff)
    {
        AddSite(diff);
        AddPath(diff, "--db", "Reporting database", m_options.files.database)->required();
        diff->callback([this] { m_status = DiffSite(m_options, m_console); });
    }

    void AddListing(const char* name, const char* description,
                    void (*print)(const std::filesystem::path&, Format, Console&))
    {
        CLI::App* const command = m_app.add_subcommand(name, description);
        AddPath(command, "database", "Database file", m_file);
        AddFormat(command, "Output (default: text)",
                  {{"text", Format::Text}, {"json", Format::Json}, {"csv", Format::Csv}});
        command->callback([this, print] { print(m_file, m_format, m_console); });
    }

    void AddGenerate(CLI::App* generate)
    {
        generate->add_option("--accounts", m_size.accounts, "Number of accounts")
            ->check(CLI::Range(1, 1000000))
            ->capture_default_str();
        generate->add_option("--containers", m_size.containers, "Containers of each account")
            ->check(CLI::Range(1, 100))
            ->capture_default_str();
        generate->add_option("--seed", m_size.seed, "Another seed gives other containers")->capture_default_str();
        AddPath(generate, "site", "Site file to write", m_file);
        generate->callback([this] { GenerateSite(m_size, m_file, m_console); });
    }

    void AddSite(CLI::App* command)
    {
        AddPath(command, "site", "Site file", m_options.site);
        AddPath(command, "--module", "The module (default: the one beside this program)", m_options.module);
    }

    void AddFormat(CLI::App* command, const char* description, const std::map<std::string, Format>& formats)
    {
        const char* const names = formats.contains("csv") ? "text|json|csv" : "text|json";
        command->add_option("--format", m_format, description)
            ->transform(CLI::CheckedTransformer(formats).description(names));
    }

    CLI::App m_app{"Runs the component module on a site and shows what happens to the access rights.", "kestrine-host"};
    Console m_console{std::cout, Platform::StyleFor(Platform::TerminalWidth(stdout))};
    Console m_errors{std::cerr, Platform::StyleFor(Platform::TerminalWidth(stderr))};
    int m_status = Success;
    RunOptions m_options;
    std::filesystem::path m_file;
    SiteSize m_size;
    Format m_format = Format::Text;
};

} // namespace

int main(int argc, char** argv)
{
    const auto complain = [](int status) {
        std::cerr << "kestrine-host: " << Said(std::current_exception()) << std::endl;
        return status;
    };
    try {
        return CommandLine().Perform(Platform::ProgramArguments(argc, argv));
    } catch (const ClosedPipe&) {
        return RunFailed;
    } catch (const InputError&) {
        return complain(WrongInput);
    } catch (...) {
        return complain(RunFailed);
    }
}
