// kestrine-host: runs the module on a site that a file describes, and shows what it does.
#include "Host/Program/JsonCursor.h"
#include "Host/Program/Run.h"
#include "Host/Support/Failure.h"
#include "Platform/Modules.h"
#include "Platform/Program.h"
#include "Platform/Text.h"

#include <CLI/CLI.hpp>
#include <algorithm>
#include <iostream>

namespace
{

using namespace Host;

// The module lies beside the program.
std::filesystem::path DefaultModule()
{
    std::wstring program = Platform::ModulePath(Platform::MainModule());
    std::replace(program.begin(), program.end(), L'\\', L'/');
    return std::filesystem::path(program).parent_path() / KESTRINE_MODULE_FILE;
}

int Complain(const std::string& text, ExitStatus status)
{
    std::cerr << "kestrine-host: " << text << std::endl;
    return status;
}

int RunProgram(int argc, char** argv)
{
    CLI::App app("Runs the component module on a site and shows what happens to the access rights.", "kestrine-host");
    app.allow_windows_style_options(false); // paths may begin with a slash
    app.require_subcommand(1);
    RunOptions options;
    std::filesystem::path file;

    CLI::App* run = app.add_subcommand("run", "Play a site's timeline");
    run->add_option("site", options.site, "Site file")->required();
    run->add_option("--db", options.database, "Reporting database (default: reporting.db in the data directory)");
    run->add_option("--data", options.dataDirectory, "Data directory (default: a new temporary one)");
    run->add_option("--module", options.module, "The module (default: the one beside this program)");
    run->add_option("--sql-trace", options.sqlTrace, "Write every SQL text to this file");
    CLI::Option* idle = run->add_flag("--until-idle", options.untilIdle, "Then run cycles until nothing changes");
    run->add_option("--for", options.seconds, "Then leave the module to itself for so many seconds")
        ->check(CLI::Range(0.0, 1e9))
        ->excludes(idle);
    run->add_flag("--report-alive", options.reportAlive, "At the end list the live component objects in the log");

    CLI::App* check = app.add_subcommand("check", "Check a site file");
    check->add_option("site", file, "Site file")->required();
    CLI::App* table = app.add_subcommand("table", "Print the access rights of a reporting database");
    table->add_option("database", file, "Database file")->required();
    CLI::App* roles = app.add_subcommand("roles", "Print the report server roles in a reporting database");
    roles->add_option("database", file, "Database file")->required();
    SiteSize size;
    CLI::App* generate = app.add_subcommand("generate", "Write a site with many accounts");
    generate->add_option("--accounts", size.accounts, "Number of accounts")->check(CLI::Range(1, 1000000));
    generate->add_option("--containers", size.containers, "Containers of each account")->check(CLI::Range(1, 100));
    generate->add_option("--seed", size.seed, "Another seed gives other containers");
    generate->add_option("site", file, "Site file to write")->required();

    try {
        app.parse(argc, argv);
    } catch (const CLI::ParseError& error) {
        return app.exit(error) == 0 ? Success : WrongInput;
    }

    Console console(std::cout, Platform::OutputIsTerminal());
    if (run->parsed()) {
        Platform::KeepNewFilesFromOthers();
        if (options.module.empty())
            options.module = DefaultModule();
        return RunSite(options, console);
    }
    if (check->parsed())
        CheckSite(file, console);
    if (table->parsed())
        PrintTable(file, console);
    if (roles->parsed())
        PrintRoles(file, console);
    if (generate->parsed())
        WriteGeneratedSite(size, file, console);
    return Success;
}

} // namespace

int main(int argc, char** argv)
{
    try {
        return RunProgram(argc, argv);
    } catch (const InputError& error) {
        return Complain(error.what(), WrongInput);
    } catch (const Failure& failure) {
        return Complain(Text::ToUtf8(failure.text.empty() ? FailureText(failure.result, {}) : failure.text), RunFailed);
    } catch (const std::exception& error) {
        return Complain(error.what(), RunFailed);
    }
}
