#include "Host/Program/JsonCursor.h"
#include "Host/Program/Run.h"
#include "Host/Support/Boundary.h"
#include "Platform/Testing/Process.h"
#include "Platform/Testing/TemporaryFolder.h"
#include "Tests/Host/NodwellFixture.h"

#include <algorithm>
#include <csignal>
#include <fstream>
#include <gmock/gmock.h>
#include <iterator>
#include <sstream>

namespace fs = std::filesystem;
using testing::AllOf;
using testing::HasSubstr;
using testing::Not;
using testing::StartsWith;

namespace
{

const fs::path Sample = fs::path(KESTRINE_SAMPLES) / "site.json";

std::string ReadAll(const fs::path& file)
{
    std::ifstream stream(file);
    return {std::istreambuf_iterator(stream), {}};
}

std::string Quoted(const fs::path& path)
{
    return '"' + path.string() + '"';
}

// Lines of a part of the output, from the line that begins with `begin` to the next empty one.
std::vector<std::string> Section(const std::string& output, const std::string& begin)
{
    std::vector<std::string> lines;
    std::istringstream stream(output);
    for (std::string line; std::getline(stream, line);) {
        if (line.empty() && !lines.empty())
            break;
        if (!lines.empty() || line.starts_with(begin))
            lines.push_back(line);
    }
    return lines;
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
class InterruptingBuffer : public std::stringbuf
{
protected:
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
    ASSERT_EQ(Run("run " + Quoted(Sample) + " --until-idle --report-alive --data " + Quoted(data) + " --sql-trace " +
                  Quoted(folder.Path() / "trace.sql")),
              0)
        << output << errors;
    EXPECT_THAT(output, HasSubstr("\n    released  completely"));
    EXPECT_THAT(output, HasSubstr("Until idle: cycle 2\n"));
    EXPECT_THAT(output, Not(HasSubstr("\x1b")));

    const auto rbacOff = Section(output, "3. ");
    ASSERT_GE(rbacOff.size(), 4U);
    EXPECT_EQ(rbacOff[3], "    table: rewritten, +1 -0, 7 rows");
    EXPECT_THAT(rbacOff[4], AllOf(StartsWith("      + (every account)"), HasSubstr("  (every object)")));
    EXPECT_EQ(Section(output, "4. ").at(3), "    table: rewritten, +0 -1, 6 rows");
    EXPECT_EQ(Section(output, "5. ").at(3), "    table: not rewritten, +0 -0, 6 rows");
    EXPECT_THAT(Section(output, "7. ").back(), StartsWith("      - IMAGING-01\\console"));
    EXPECT_THAT(Section(output, "8. ").back(), StartsWith("      + IMAGING-01\\console"));
    EXPECT_THAT(Section(output, "12. ").at(2),
                HasSubstr("failed, 0x800708CA Reporting database 'reporting.db' does not answer"));
    EXPECT_EQ(Section(output, "12. ").at(3), "    table: not rewritten, +0 -0, 7 rows");
    EXPECT_EQ(Section(output, "14. ").at(3), "    table: rewritten, +0 -1, 6 rows");

    EXPECT_THAT(ReadAll(folder.Path() / "trace.sql"), StartsWith("\nIF OBJECT_ID("));
    EXPECT_GT(fs::file_size(data / "Logs" / fs::path(KESTRINE_MODULE).filename().replace_extension(".log")), 1000U);
    ASSERT_EQ(Run("table " + Quoted(data / "reporting.db")), 0);
    EXPECT_THAT(output, HasSubstr("BRIGHTMOOR\\m.o'dowd"));
    EXPECT_TRUE(output.ends_with("\n6 rows\n"));

    // What is there already is where the next run begins.
    ASSERT_EQ(Run("run " + Quoted(Sample) + " --for 0.1 --data " + Quoted(data)), 0);
    EXPECT_EQ(Section(output, "1. ").at(3), "    table: not rewritten, +0 -0, 6 rows");
    EXPECT_EQ(Section(output, "2. ").at(3), "    table: rewritten, +1 -1, 6 rows");
}

TEST_F(HostProgram, WrongInputEndsItBeforeAnythingRuns)
{
    const fs::path data = folder.Path() / "data";
    EXPECT_EQ(Run("check " + Quoted(Sample)), 0);
    EXPECT_THAT(output, HasSubstr("site.json: ok (2 components, 14 events)\n"));

    const fs::path wrong = WriteSite([](auto& site) { site["components"][1]["class"] = "Tracker"; });
    for (const std::string& command : {std::string("check "), "run --data " + Quoted(data) + " "}) {
        EXPECT_EQ(Run(command + Quoted(wrong)), 2);
        EXPECT_THAT(errors, HasSubstr("site.json: /components/1/class: found \"Tracker\", expected one of"));
        EXPECT_EQ(output, "");
    }
    EXPECT_FALSE(fs::exists(data));

    std::ofstream(folder.Path() / "file") << "x";
    const std::string run = "run " + Quoted(Sample) + ' ';
    EXPECT_EQ(Run(run + "--data " + Quoted(folder.Path() / "file" / "below")), 2);
    EXPECT_THAT(errors, HasSubstr("cannot be used as data directory: Not a directory"));
    EXPECT_EQ(Run(run + "--data " + Quoted(data) + " --db " + Quoted(folder.Path() / "none" / "x.db")), 2);
    EXPECT_THAT(errors, HasSubstr("x.db' as the reporting database: unable to open database file"));
    EXPECT_EQ(Run(run + "--data " + Quoted(data) + " --sql-trace " + Quoted(folder.Path())), 2);
    EXPECT_THAT(errors, HasSubstr("cannot write the SQL trace"));
    EXPECT_EQ(Run("run " + Quoted(folder.Path() / "no.json")), 2);
    EXPECT_THAT(errors, HasSubstr("no.json: cannot be read, expected a site file"));
    EXPECT_EQ(Run("table " + Quoted(folder.Path() / "no.db")), 2);
    EXPECT_EQ(Run("play " + Quoted(Sample)), 2);
    EXPECT_EQ(Run(run + "--for -1"), 2);
    EXPECT_EQ(Run("--help"), 0);
}

TEST_F(HostProgram, AFailingStartSaysWhichComponentAndUndoesEverything)
{
    const fs::path site = WriteSite([](auto& json) { json["components"][1]["config"].erase("RBACIsInUseAttribute"); });
    EXPECT_EQ(Run("run " + Quoted(site) + " --data " + Quoted(folder.Path())), 1);
    EXPECT_THAT(errors, HasSubstr("configuring 'Reports.RBACUsageTracker' (RBACUsageTracker) failed: 0x80070490"));

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
    const fs::path site = WriteSite([](auto& json) {
        json["timeline"][2] = {{"say", "A long wait"}, {"wait", {{"seconds", 3600}}}};
    });
    EXPECT_EQ(RunHere(out, site), Host::Interrupted);
    EXPECT_THAT(buffer.str(), AllOf(HasSubstr("A long wait"), HasSubstr("Summary (interrupted)"),
                                    HasSubstr("released  completely"), Not(HasSubstr("\n4. "))));
    std::ostringstream again;
    EXPECT_EQ(RunHere(again, Sample), Host::Success);
}

TEST_F(HostProgram, WhatIsLeftOverIsALeak)
{
    std::ostringstream out;
    const NodeHandle kept = Create(L"Kept");
    EXPECT_EQ(RunHere(out, Sample), Host::Leaked);
    EXPECT_THAT(out.str(), HasSubstr("LEAK: the module is not locked, 1 nodes alive"));
}

TEST_F(HostProgram, LongTablesShowTheirChangesOnly)
{
    const fs::path site = WriteSite([](auto& json) {
        auto& items = json["accessInfo"][0]["items"];
        for (int i = 0; i < 100; ++i)
            items.push_back({{"account", "BRIGHTMOOR\\user" + std::to_string(1000 + i)}});
    });
    std::ostringstream out;
    EXPECT_EQ(RunHere(out, site), Host::Success);
    EXPECT_THAT(out.str(), HasSubstr("        ... and 66 more changes\n"));
    EXPECT_THAT(out.str(), HasSubstr("        and 106 unchanged rows\n"));
}
