#include "Host/Program/JsonCursor.h"
#include "Host/Program/Run.h"
#include "Host/Support/Failure.h"
#include "Platform/Settings.h"
#include "Platform/Testing/Process.h"
#include "Platform/Testing/TemporaryFolder.h"
#include "Platform/Text.h"
#include "Tests/Host/NodwellFixture.h"

#include <csignal>
#include <gmock/gmock.h>

namespace fs = std::filesystem;
using testing::AllOf;
using testing::EndsWith;
using testing::HasSubstr;
using testing::Not;

namespace
{

const fs::path Sample = fs::path(KESTRINE_SAMPLES) / "site.json";

std::string Quoted(const fs::path& path)
{
    return '"' + path.string() + '"';
}

// A part of the output, from the line that begins with `begin` to the next empty one.
std::string Section(const std::string& output, const std::string& begin)
{
    const std::size_t start = ('\n' + output).find('\n' + begin);
    return start == output.npos ? "(none)" : output.substr(start, output.find("\n\n", start) - start + 1);
}

void KeepEvents(nlohmann::json& site, int count)
{
    site["timeline"].erase(site["timeline"].begin() + count, site["timeline"].end());
}

// Does something when the text of the third event goes through.
struct ActingBuffer : std::stringbuf
{
    std::streamsize xsputn(const char* text, std::streamsize size) override
    {
        if (act && std::string_view(text, static_cast<std::size_t>(size)).starts_with("3. "))
            act();
        return std::stringbuf::xsputn(text, size);
    }

    std::function<void()> act;
};

class HostProgram : public testing::Test
{
protected:
    // Runs the program as a shell does; returns its exit status.
    int Run(const std::string& arguments)
    {
        const fs::path out = folder.Path() / "out.txt";
        const fs::path err = folder.Path() / "err.txt";
        const std::string command = Quoted(program) + ' ' + arguments + " >" + Quoted(out) + " 2>" + Quoted(err);
        const int status = RunInShell(command);
        output = ReadAll(out);
        errors = ReadAll(err);
        return status;
    }

    // Runs a site inside the test and writes to `here`; `act` is called when the third event begins.
    Host::ExitStatus RunHere(const fs::path& site, std::function<void()> act = nullptr)
    {
        here.act = std::move(act);
        std::ostream out(&here);
        Host::RunOptions options;
        options.site = site;
        options.module = KESTRINE_MODULE;
        options.files.dataDirectory = data;
        Host::Console console(out, {80, true});
        return RunSite(options, console);
    }

    fs::path WriteSite(const std::function<void(nlohmann::json&)>& change)
    {
        nlohmann::json site = nlohmann::json::parse(ReadAll(Sample));
        change(site);
        std::ofstream(folder.Path() / "site.json") << site.dump();
        return folder.Path() / "site.json";
    }

    // The sample with its first events only.
    fs::path FirstEvents(int count)
    {
        return WriteSite([=](auto& json) { KeepEvents(json, count); });
    }

    // Runs the program on a site, in the data directory `data`.
    int RunSiteFile(const fs::path& site, const std::string& options = {})
    {
        return Run("run " + Quoted(site) + options + " --data " + Quoted(data));
    }

    const TemporaryFolder folder;
    const fs::path none = folder.Path() / "none";
    const fs::path data = folder.Path() / "data";
    const fs::path database = data / "reporting.db";
    fs::path program = KESTRINE_HOST_PROGRAM;
    std::string output;
    std::string errors;
    ActingBuffer here;
};

} // namespace

TEST_F(HostProgram, TheSampleShowsItsStory)
{
    ASSERT_EQ(RunSiteFile(Sample, " --until-idle --report-alive"), 0) << output;
    const std::pair<const char*, std::vector<std::string>> sections[] = {
        {"3. ", {"table: rewritten, +1 -0, 6 rows", "+ (every account)  (every object)"}},
        {"7. ", {"t.nwosu: ok", "table: rewritten, +2 -0, 8 rows", "+ BRIGHTMOOR\\r.ferreira  (every", "roles: +2"}},
        {"10. ", {"table: rewritten, +0 -3, 6 rows"}},
        {"11. ", {"table: rewritten, +4 -0, 10 rows", "+ IMAGING-01\\console", "roles: +3"}},
        {"13. ", {"table: not rewritten, 9 rows", "d.okafor: the index is being rebuilt"}},
        {"16. ", {"table: rewritten, +2 -2, 9 rows", "+ BRIGHTMOOR\\d.adeyemi", "roles: +1"}},
        {"18. ", {"table: rewritten, +0 -1, 8 rows", "- IMAGING-01\\console", "is being backed up"}},
        {"19. ", {"roles: +5"}},
        {"24. ", {"failed, 0x800708CA Reporting database 'reporting.db' does not", "table: not rewritten, 9 rows"}},
        {"25. ", {"'reporting.db': the connection was lost at statement 2", "table: not rewritten, 9 rows"}},
        {"28. ", {"table: not rewritten, 8 rows"}},
        {"Summary", {" 2 failed\n", "18 added, 10 removed, 8 in the table", " 0 pending", "released  completely"}},
    };
    for (const auto& [begin, texts] : sections) {
        for (const std::string& text : texts)
            EXPECT_THAT(Section(output, begin), HasSubstr(text));
    }
    EXPECT_THAT(output, AllOf(HasSubstr("Until idle: cycle 2\n"), Not(HasSubstr("\x1b"))));
    EXPECT_GT(fs::file_size(data / "Logs" / fs::path(KESTRINE_MODULE).filename().replace_extension(".log")), 1000U);

    ASSERT_EQ(Run("table " + Quoted(database)), 0);
    EXPECT_THAT(output, AllOf(HasSubstr("BRIGHTMOOR\\m.o'dowd"), EndsWith("\n8 rows\n")));
    ASSERT_EQ(Run("roles " + Quoted(database)), 0);
    EXPECT_THAT(output, HasSubstr("BRIGHTMOOR\\t.nwosu      Browser  http://localhost/ReportServer      20"));
}

TEST_F(HostProgram, TheSampleSettingsHideSecretsAndFilesAreNotForEverybody)
{
    const fs::path site = WriteSite([](auto& json) {
        json["moduleSettings"] = nlohmann::json::object();
        KeepEvents(json, 8);
    });
    Platform::SetVariable(L"GLOBAL_SETTINGS_INI", (fs::path(KESTRINE_SAMPLES) / "Kestrine.ini").wstring().c_str());
    ASSERT_EQ(RunSiteFile(site, " --sql-trace " + Quoted(data / "trace.sql")), 0) << errors;
    const fs::path logFile = data / "Logs" / fs::path(KESTRINE_MODULE).filename().replace_extension(".log");
    const std::string log = Text::ToUtf8(Text::FromUtf16Le(ReadAll(logFile)));
    const std::string beginnings[] = {"name=\"ReportServerPassword\" type=\"", "name=\"AuthTokenId\" type=\""};
    for (const std::string& beginning : beginnings) {
        std::size_t at = log.find(beginning);
        EXPECT_NE(at, log.npos) << beginning;
        for (; at != log.npos; at = log.find(beginning, at + 1))
            EXPECT_EQ(log.substr(at + beginning.size(), 14), "text\">********") << beginning;
    }
    if (fs::path::preferred_separator != '/')
        return;
    for (const fs::path& made : {data, data / "Logs", logFile, database, data / "trace.sql"})
        EXPECT_EQ(fs::status(made).permissions() & fs::perms::others_all, fs::perms::none) << made;
}

TEST_F(HostProgram, LargeSitesRunToTheirEnd)
{
    const fs::path site = folder.Path() / "large.json";
    ASSERT_EQ(Run("generate --accounts 300 --containers 2 " + Quoted(site)), 0);
    ASSERT_EQ(RunSiteFile(site, " --sql-trace " + Quoted(folder.Path() / "sql")), 0) << output;
    EXPECT_TRUE(ReadAll(folder.Path() / "sql").starts_with("\nIF OBJECT_ID("));
    EXPECT_THAT(Section(output, "1. "), AllOf(HasSubstr("+600 -0, 600 rows"), HasSubstr("... and 580 more changes"),
                                              HasSubstr("roles: +300, 300 roles")));
    EXPECT_THAT(Section(output, "3. "), HasSubstr("... 32 in all"));
    // What is there already is where the next run begins.
    ASSERT_EQ(RunSiteFile(site, " --for 0.1"), 0);
    EXPECT_THAT(Section(output, "1. "), AllOf(HasSubstr("+200 -0, 600 rows"), HasSubstr("roles: +0, 300 roles")));
}

TEST_F(HostProgram, WhatCannotBeUsedEndsItAndLeavesNothingBehind)
{
    const fs::path file = folder.Path() / "file";
    std::ofstream(file) << std::string(4096, 'x');
    const fs::path empty = folder.Path() / "empty";
    std::ofstream{empty};
    const fs::path wrong = WriteSite([](auto& site) { site["components"][1]["class"] = "Tracker"; });
    const std::string sample = Quoted(Sample);
    const std::string run = "run " + sample + " --data " + Quoted(data / "below");
    const std::pair<std::string, const char*> cases[] = {
        {"frob", "unknown command \"frob\", expected one of run, diff, check, table, roles, generate"},
        {"run", "site is required"},
        {run + " --for -1", "\"-1\", expected seconds from 0 to 1e9"},
        {run + " --for nan", "\"nan\", expected seconds from 0 to 1e9"},
        {run + " --for 1 --until-idle", "--until-idle excludes --for"},
        {"table --format xml " + sample, "--format"},
        {"generate --accounts 0 " + Quoted(none), "--accounts"},
        {"diff " + sample, "--db is required"},
        {"run --data " + Quoted(none) + ' ' + Quoted(wrong),
         "site.json: /components/1/class: found \"Tracker\", expected one of"},
        {"check " + Quoted(none), "none: cannot be read: there is no such file\n"},
        {"check " + Quoted(folder.Path()), ": cannot be read: it is a folder\n"},
        {"check " + Quoted(empty), "empty: cannot be read: it is empty\n"},
        {"check " + Quoted(file), "file: line 1, column 1: syntax error"},
        {"table " + Quoted(none), "none: cannot be read: there is no such file\n"},
        {"roles " + Quoted(file), "file: cannot be read as a reporting database: file is not a database\n"},
        {"diff " + sample + " --db " + Quoted(none), "none: cannot be read: there is no such file\n"},
        {"diff " + sample + " --db " + Quoted(file), "file is not a database"},
        {run + " --module " + Quoted(none), "none: cannot be read: there is no such file\n"},
        {"run " + sample + " --data " + Quoted(file / "below"), "as data directory: Not a directory\n"},
        {run + " --db " + Quoted(file), "file is not a database"},
        {run + " --db " + Quoted(folder.Path()), "cannot be used as the reporting database: it is a folder\n"},
        {run + " --sql-trace " + Quoted(folder.Path()), "cannot write the SQL trace"},
        {run + " --db " + Quoted(none) + " --sql-trace " + Quoted(none),
         "none: is the database, expected another file"},
        {"generate " + Quoted(folder.Path()), "cannot be written: it is no regular file\n"},
        {"generate " + Quoted(none / "x"), "cannot be written: No such file or directory\n"},
    };
    for (const auto& [arguments, complaint] : cases) {
        EXPECT_EQ(Run(arguments), 2) << arguments;
        EXPECT_THAT(errors, HasSubstr(complaint)) << arguments;
        EXPECT_EQ(output, "") << arguments;
        EXPECT_FALSE(fs::exists(none) || fs::exists(data)) << arguments;
    }
    EXPECT_EQ(Run("check " + sample), 0);
    EXPECT_THAT(output, HasSubstr("site.json: ok (5 components, 28 events)\n"));
}

TEST_F(HostProgram, ADataFolderServesOneRunAtATime)
{
    const auto runAgain = [&] {
        const std::string options = " --data " + Quoted(data / ".." / "data") + " --db " + Quoted(data / "x");
        EXPECT_EQ(Run("run " + Quoted(Sample) + options), 2);
        EXPECT_THAT(errors, HasSubstr("is in use by another run"));
        EXPECT_FALSE(fs::exists(data / "x"));
    };
    EXPECT_EQ(RunHere(FirstEvents(3), runAgain), Host::Success);
    EXPECT_THAT(here.str(), HasSubstr("3. "));
}

TEST_F(HostProgram, AFolderWithAnyLettersWillDo)
{
    const fs::path bin = folder.Path() / fs::path(u8"\u00E4 \u00F6");
    fs::create_directory(bin);
    for (const auto& entry : fs::directory_iterator(fs::path(KESTRINE_HOST_PROGRAM).parent_path())) {
        if (entry.path() == KESTRINE_HOST_PROGRAM || entry.path().extension() == ".so" ||
            entry.path().extension() == ".dll")
            fs::copy(entry.path(), bin / entry.path().filename());
    }
    program = bin / fs::path(KESTRINE_HOST_PROGRAM).filename();
    fs::rename(FirstEvents(2), bin / u8"\u00FC.json");
    ASSERT_EQ(Run("run " + Quoted(bin / u8"\u00FC.json") + " --data " + Quoted(bin / "data")), 0) << errors;
    EXPECT_THAT(output, HasSubstr("5 in the table"));
    EXPECT_TRUE(fs::exists(bin / "data" / "reporting.db"));
}

TEST_F(HostProgram, ProgramsReadItsOutput)
{
    ASSERT_EQ(RunSiteFile(FirstEvents(3), " --format json"), 0) << errors;
    const auto summary = nlohmann::json::parse(output);
    EXPECT_EQ(summary["rows"], (nlohmann::json{{"added", 6}, {"removed", 0}, {"now", 6}}));
    EXPECT_TRUE(summary["failure"].is_null());
    EXPECT_THAT(errors, AllOf(HasSubstr("\n3. "), Not(HasSubstr("Summary"))));

    ASSERT_EQ(Run("table --format json " + Quoted(database)), 0);
    const auto rows = nlohmann::json::parse(output);
    EXPECT_EQ(rows.size(), 6U);
    EXPECT_EQ(rows[0], (nlohmann::json{{"account", nullptr}, {"object", nullptr}}));
    ASSERT_EQ(Run("roles --format csv " + Quoted(database)), 0);
    EXPECT_TRUE(output.starts_with("account,role,reportServer,grantedAt\nBRIGHTMOOR\\a.lindqvist,Browser,http://"));
    ASSERT_EQ(Run("--version"), 0);
    EXPECT_TRUE(output.starts_with("kestrine-host 1."));
}

TEST_F(HostProgram, DiffSaysWhatTheFirstCycleWouldChangeAndWritesNothing)
{
    const auto changed = [&](const char* account) {
        return WriteSite([&](auto& json) {
            KeepEvents(json, 2);
            json["connectionSettings"][1]["attributes"]["Enabled"] = true;
            json["accessInfo"][2]["items"][0]["account"] = account;
        });
    };
    ASSERT_EQ(RunSiteFile(changed("BRIGHTMOOR\\audit")), 0);
    const std::string before = ReadAll(database);
    const std::string diff = "diff " + Quoted(folder.Path() / "site.json") + " --db " + Quoted(database);
    EXPECT_EQ(Run(diff), 0) << errors;
    EXPECT_EQ(output, "0 rows to add, 0 to remove\n");
    changed("BRIGHTMOOR\\second");
    EXPECT_EQ(Run(diff), 1) << errors;
    EXPECT_THAT(output, AllOf(HasSubstr("- BRIGHTMOOR\\audit "), HasSubstr("+ BRIGHTMOOR\\second "),
                              EndsWith("\n1 row to add, 1 to remove\n")));
    EXPECT_TRUE(ReadAll(database) == before);
}

TEST_F(HostProgram, OutputThatCannotBeWrittenIsAFailure)
{
    std::ostringstream out;
    Host::Console console(out, {12, false});
    console.Progress(L"    waiting: 5 of 10 s");
    console.Line(L"text", Host::Colour::Red);
    EXPECT_EQ(out.str(), "    waiting\r\x1b[Ktext\n");
    out.setstate(std::ios::badbit);
    EXPECT_THROW(console.Line(L"text"), Host::Failure);
    Host::Console piped(out, {});
    errno = EPIPE;
    EXPECT_THROW(piped.Check(), Host::ClosedPipe);
    EXPECT_THROW(piped.Line(L"text"), Host::ClosedPipe);
    for (const auto& [name, value] : {std::pair(L"TERM", L"dumb"), std::pair(L"NO_COLOR", L"1")}) {
        EXPECT_TRUE(Platform::StyleFor(80).colours);
        Platform::SetVariable(name, value);
        EXPECT_EQ(Platform::StyleFor(80).width, name == std::wstring(L"TERM") ? 0U : 80U);
        EXPECT_FALSE(Platform::StyleFor(80).colours);
        Platform::SetVariable(name, nullptr);
    }
    if (!fs::exists("/dev/full"))
        return;
    for (const std::string command : {"--help", "--version"})
        EXPECT_EQ(RunInShell(Quoted(KESTRINE_HOST_PROGRAM) + ' ' + command + " >/dev/full 2>&1"), 1);
    const std::string run = Quoted(KESTRINE_HOST_PROGRAM) + " run " + Quoted(FirstEvents(2));
    EXPECT_EQ(RunInShell(run + " >/dev/full 2>&1"), 1);
    EXPECT_EQ(RunInShell(run + " --sql-trace /dev/full >" + Quoted(folder.Path() / "out")), 1);
    EXPECT_THAT(ReadAll(folder.Path() / "out"), HasSubstr("Summary (failed)"));
}

TEST_F(HostProgram, AFailingStartSaysWhichComponentAndUndoesEverything)
{
    const fs::path site =
        WriteSite([](auto& json) { json["components"][1]["config"]["RBACStatusNodePath"] = "No path"; });
    EXPECT_EQ(RunSiteFile(site), 1);
    EXPECT_THAT(errors, HasSubstr("configuring 'Reports.RBACUsageTracker' (RBACUsageTracker) failed: 0x80070057"));

    EXPECT_EQ(Run("run " + Quoted(Sample) + " --module " + Quoted(folder.Path() / "site.json")), 1);
    EXPECT_THAT(errors, HasSubstr("cannot load the module"));

    EXPECT_THROW(RunHere(site), Host::Failure);
    EXPECT_EQ(NodwellLiveNodes(), 0U);
}

TEST_F(HostProgram, AnInterruptionStopsItCleanly)
{
    const fs::path site = WriteSite([](auto& json) { json["timeline"][2] = {{"say", "A long wait"}, {"wait", 3600}}; });
    EXPECT_EQ(RunHere(site, [] { std::raise(SIGINT); }), Host::Interrupted);
    EXPECT_THAT(here.str(),
                AllOf(HasSubstr("A long wait"), HasSubstr("Summary (interrupted)"), HasSubstr(" 5 in the table"),
                      HasSubstr("released  completely"), Not(HasSubstr("\n4. "))));
}

// A cycle may be on its way while the last event ends.
TEST_F(HostProgram, TheSummaryCountsWhatReleasedComponentsHaveWritten)
{
    const fs::path site = folder.Path() / "large.json";
    ASSERT_EQ(Run("generate --accounts 100 --containers 20 " + Quoted(site)), 0);
    auto json = nlohmann::json::parse(ReadAll(site));
    json["timeline"] = {{{"say", "x"}, {"settings", {{"enable", "Report server"}}}, {"cycle", false}}};
    std::ofstream(site) << json.dump();
    EXPECT_EQ(RunHere(site), Host::Success);
    Sqlite::Connection connection(database, Sqlite::Access::ReadOnly);
    const std::size_t rows = Host::ReadAccessRights(connection).size();
    EXPECT_THAT(here.str(), AllOf(HasSubstr(", " + std::to_string(rows) + " in the table"),
                                  HasSubstr(' ' + std::to_string(rows) + " added")));
}

TEST_F(HostProgram, ARunThatFailsOnTheWaySumsUpAllTheSame)
{
    EXPECT_THROW(RunHere(Sample, [&] { std::ofstream(database) << std::string(8192, 'x'); }), Host::Failure);
    EXPECT_THAT(here.str(), AllOf(HasSubstr("Summary (failed)"), HasSubstr("an unknown number in the table"),
                                  HasSubstr("released  completely"), HasSubstr("    log       ")));
}

TEST_F(HostProgram, UnmetConditionsAndLeaksAreFailures)
{
    const fs::path site = WriteSite([](auto& json) {
        json["timeline"] =
            nlohmann::json::array({{{"say", "x"},
                                    {"until", {{"rows", 5}, {"unlisted", {"a"}}, {"granted", {"b"}}, {"tokens", 1}}},
                                    {"limit", 0.1}}});
    });
    EXPECT_THROW(RunHere(site), Host::Failure);
    EXPECT_THAT(here.str(), HasSubstr("until: not so after 0 s: 0 of 5 rows, b has no role, 0 of 1 token"));
    const NodeHandle kept = Create(L"Kept");
    EXPECT_EQ(RunHere(site), Host::Leaked);
    EXPECT_THAT(here.str(), HasSubstr("LEAK: the module is not locked, 1 nodes alive"));
}
