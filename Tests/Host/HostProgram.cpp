#include "Host/Program/JsonCursor.h"
#include "Host/Program/Run.h"
#include "Host/Support/Boundary.h"
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

class HostProgram : public testing::Test
{
protected:
    // Runs the program as a shell does; returns its exit status.
    int Run(const std::string& arguments)
    {
        const fs::path out = folder.Path() / "out.txt";
        const fs::path err = folder.Path() / "err.txt";
        const std::string command =
            Quoted(KESTRINE_HOST_PROGRAM) + ' ' + arguments + " >" + Quoted(out) + " 2>" + Quoted(err);
        const int status = RunInShell(command);
        output = ReadAll(out);
        errors = ReadAll(err);
        return status;
    }

    Host::ExitStatus RunHere(std::ostream& out, const fs::path& site)
    {
        Host::RunOptions options;
        options.site = site;
        options.module = KESTRINE_MODULE;
        options.dataDirectory = folder.Path() / "data";
        Host::Console console(out, true);
        return RunSite(options, console);
    }

    fs::path WriteSite(const std::function<void(nlohmann::json&)>& change)
    {
        nlohmann::json site = nlohmann::json::parse(ReadAll(Sample));
        change(site);
        std::ofstream(folder.Path() / "site.json") << site.dump();
        return folder.Path() / "site.json";
    }

    const TemporaryFolder folder;
    std::string output;
    std::string errors;
};

// Raises SIGINT when a text goes through.
struct InterruptingBuffer : std::stringbuf
{
    std::streamsize xsputn(const char* text, std::streamsize size) override
    {
        if (std::string_view(text, static_cast<std::size_t>(size)).find("3. ") == 0)
            std::raise(SIGINT);
        return std::stringbuf::xsputn(text, size);
    }
};

} // namespace

TEST_F(HostProgram, TheSampleShowsItsStory)
{
    const fs::path data = folder.Path() / "data";
    ASSERT_EQ(Run("run " + Quoted(Sample) + " --until-idle --report-alive --data " + Quoted(data)), 0) << output;
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
        {"28. ", {"table: not rewritten, 8 rows"}},
        {"Summary", {"2 failed\n", "18 added, 10 removed, 8 in the table", " 0 pending", "released  completely"}},
    };
    for (const auto& [begin, texts] : sections) {
        for (const std::string& text : texts)
            EXPECT_THAT(Section(output, begin), HasSubstr(text));
    }
    EXPECT_THAT(output, AllOf(HasSubstr("Until idle: cycle 2\n"), Not(HasSubstr("\x1b"))));
    EXPECT_GT(fs::file_size(data / "Logs" / fs::path(KESTRINE_MODULE).filename().replace_extension(".log")), 1000U);

    ASSERT_EQ(Run("table " + Quoted(data / "reporting.db")), 0);
    EXPECT_THAT(output, AllOf(HasSubstr("BRIGHTMOOR\\m.o'dowd"), EndsWith("\n8 rows\n")));
    ASSERT_EQ(Run("roles " + Quoted(data / "reporting.db")), 0);
    EXPECT_THAT(output, AllOf(HasSubstr("BRIGHTMOOR\\t.nwosu      Browser  http://localhost/ReportServer      20"),
                              EndsWith("\n16 rows\n")));
}

TEST_F(HostProgram, TheSampleSettingsHideSecretsAndFilesAreNotForEverybody)
{
    const fs::path site = WriteSite([](auto& json) {
        json["moduleSettings"] = nlohmann::json::object();
        json["timeline"].erase(json["timeline"].begin() + 8, json["timeline"].end());
    });
    Platform::SetVariable(L"GLOBAL_SETTINGS_INI", (fs::path(KESTRINE_SAMPLES) / "Kestrine.ini").wstring().c_str());
    const fs::path data = folder.Path() / "data";
    const std::string arguments = " --data " + Quoted(data) + " --sql-trace " + Quoted(data / "trace.sql");
    ASSERT_EQ(Run("run " + Quoted(site) + arguments), 0) << errors;
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
    for (const fs::path& made : {data, data / "Logs", logFile, data / "reporting.db", data / "trace.sql"})
        EXPECT_EQ(fs::status(made).permissions() & fs::perms::others_all, fs::perms::none) << made;
}

TEST_F(HostProgram, LargeSitesRunToTheirEnd)
{
    const fs::path site = folder.Path() / "large.json";
    const std::string data = " --data " + Quoted(folder.Path() / "data");
    ASSERT_EQ(Run("generate --accounts 300 --containers 2 " + Quoted(site)), 0);
    ASSERT_EQ(Run("run " + Quoted(site) + data + " --sql-trace " + Quoted(folder.Path() / "sql")), 0) << output;
    EXPECT_TRUE(ReadAll(folder.Path() / "sql").starts_with("\nIF OBJECT_ID("));
    EXPECT_THAT(Section(output, "1. "), AllOf(HasSubstr("+600 -0, 600 rows"), HasSubstr("... and 580 more changes"),
                                              HasSubstr("roles: +300, 300 roles")));
    EXPECT_THAT(Section(output, "3. "), HasSubstr("... 32 in all"));
    // What is there already is where the next run begins.
    ASSERT_EQ(Run("run --for 0.1 " + Quoted(site) + data), 0);
    EXPECT_THAT(Section(output, "1. "), AllOf(HasSubstr("+200 -0, 600 rows"), HasSubstr("roles: +0, 300 roles")));
}

TEST_F(HostProgram, WrongInputEndsItBeforeAnythingRuns)
{
    const fs::path data = folder.Path() / "data";
    EXPECT_EQ(Run("check " + Quoted(Sample)), 0);
    EXPECT_THAT(output, HasSubstr("site.json: ok (5 components, 28 events)\n"));

    const fs::path wrong = WriteSite([](auto& site) { site["components"][1]["class"] = "Tracker"; });
    EXPECT_EQ(Run("run --data " + Quoted(data) + ' ' + Quoted(wrong)), 2);
    EXPECT_THAT(errors, HasSubstr("site.json: /components/1/class: found \"Tracker\", expected one of"));
    EXPECT_EQ(output, "");
    EXPECT_FALSE(fs::exists(data));

    const fs::path file = folder.Path() / "file";
    std::ofstream(file) << std::string(4096, 'x');
    const std::string run = "run " + Quoted(Sample) + " --data " + Quoted(data);
    const std::pair<std::string, const char*> cases[] = {
        {"run " + Quoted(Sample) + " --data " + Quoted(file / "below"), "as data directory: Not a directory"},
        {run + " --db " + Quoted(file), "file is not a database"},
        {run + " --sql-trace " + Quoted(folder.Path()), "cannot write the SQL trace"},
        {run + " --for -1", "--for"},
        {"check " + Quoted(folder.Path() / "no.json"), "no.json: cannot be read: there is no such file"},
        {"table " + Quoted(folder.Path() / "no.db"), "no.db: cannot be read as a reporting database"},
        {"roles " + Quoted(file), "file: cannot be read as a reporting database"},
        {"generate " + Quoted(folder.Path()), "cannot be written"},
    };
    for (const auto& [arguments, complaint] : cases) {
        EXPECT_EQ(Run(arguments), 2);
        EXPECT_THAT(errors, HasSubstr(complaint));
    }
}

TEST_F(HostProgram, AFailingStartSaysWhichComponentAndUndoesEverything)
{
    const fs::path site = WriteSite([](auto& json) { json["components"][1]["config"]["RBACStatusNodePath"] = "No path"; });
    EXPECT_EQ(Run("run " + Quoted(site) + " --data " + Quoted(folder.Path())), 1);
    EXPECT_THAT(errors, HasSubstr("configuring 'Reports.RBACUsageTracker' (RBACUsageTracker) failed: 0x80070057"));

    EXPECT_EQ(Run("run " + Quoted(Sample) + " --module " + Quoted(folder.Path() / "site.json")), 1);
    EXPECT_THAT(errors, HasSubstr("cannot load the module"));

    std::ostringstream out;
    EXPECT_THROW(RunHere(out, site), Host::Failure);
    EXPECT_EQ(NodwellLiveNodes(), 0U);
}

TEST_F(HostProgram, AnInterruptionStopsItCleanly)
{
    InterruptingBuffer buffer;
    std::ostream out(&buffer);
    const fs::path site = WriteSite([](auto& json) { json["timeline"][2] = {{"say", "A long wait"}, {"wait", 3600}}; });
    EXPECT_EQ(RunHere(out, site), Host::Interrupted);
    EXPECT_THAT(buffer.str(), AllOf(HasSubstr("A long wait"), HasSubstr("Summary (interrupted)"),
                                    HasSubstr("released  completely"), Not(HasSubstr("\n4. "))));
}

TEST_F(HostProgram, UnmetConditionsAndLeaksAreFailures)
{
    const fs::path site = WriteSite([](auto& json) {
        json["timeline"] =
            nlohmann::json::array({{{"say", "x"},
                                    {"until", {{"rows", 5}, {"unlisted", {"a"}}, {"granted", {"b"}}, {"tokens", 1}}},
                                    {"limit", 0.1}}});
    });
    std::ostringstream out;
    EXPECT_THROW(RunHere(out, site), Host::Failure);
    EXPECT_THAT(out.str(), HasSubstr("until: not so after 0 s: 0 of 5 rows, b has no role, 0 of 1 token"));
    const NodeHandle kept = Create(L"Kept");
    EXPECT_EQ(RunHere(out, site), Host::Leaked);
    EXPECT_THAT(out.str(), HasSubstr("LEAK: the module is not locked, 1 nodes alive"));
}
