#include "Platform/Testing/Process.h"
#include "Platform/Testing/TemporaryFolder.h"
#include "Tools/Tests/LogText.h"

#include <fstream>
#include <gmock/gmock.h>

namespace fs = std::filesystem;
using testing::AllOf;
using testing::HasSubstr;
using testing::StartsWith;

namespace
{

std::string Quoted(const fs::path& path)
{
    return '"' + path.string() + '"';
}

class LogProgram : public testing::Test
{
protected:
    fs::path Write(const char* name, const std::string& bytes)
    {
        std::ofstream(folder.Path() / name, std::ios::binary) << bytes;
        return folder.Path() / name;
    }

    int Run(const std::string& arguments)
    {
        const fs::path err = folder.Path() / "err.txt";
        const int status =
            RunInShell(Quoted(KESTRINE_LOG_PROGRAM) + ' ' + arguments + " >" + Quoted(out) + " 2>" + Quoted(err));
        errors = ReadText(err);
        output = out == "/dev/full" ? "" : ReadText(out);
        return status;
    }

    // With the line ends of the system's texts made those of the program's.
    static std::string ReadText(const fs::path& file)
    {
        std::ifstream stream(file, std::ios::binary);
        std::string text{std::istreambuf_iterator<char>(stream), {}};
        std::erase(text, '\r');
        return text;
    }

    const TemporaryFolder folder;
    const fs::path log =
        Write("Kestrine.log", Utf16(Entry(1, "DBG", 70, "quiet") + Entry(2, "ERR", 70, "loud \u00C5\r\nmore") +
                                    Entry(3, "CRIT", 1, "other\r\nmore")));
    const fs::path old = Write("old.log", Utf16(Banner() + Entry(0, "ERR", 70, "old")));
    fs::path out = folder.Path() / "out.txt";
    std::string output;
    std::string errors;
};

} // namespace

TEST_F(LogProgram, OptionsCombine)
{
    ASSERT_EQ(Run(Quoted(old) + ' ' + Quoted(log)), 0) << errors;
    EXPECT_THAT(output, AllOf(StartsWith("*****"), HasSubstr("| old\n2026-"), HasSubstr("| loud \u00C5\nmore\n")));
    ASSERT_EQ(Run("--severity warn --since 2026-11-22T14:00:01 --thread 70 " + Quoted(old) + ' ' + Quoted(log)), 0);
    EXPECT_EQ(output,
              "2026-11-22 14:00:02.0000001 | ERR  | 4711    70 | Source.cpp:2                   | loud \u00C5\nmore\n");
    for (const char* option : {"--severity crit ", "--since 2026-11-22T14:00:01 ", "--thread 7 "}) {
        EXPECT_EQ(Run(option + Quoted(old)), 0) << errors;
        EXPECT_EQ(output, "") << option;
    }
    const fs::path page = folder.Path() / "page.html";
    ASSERT_EQ(Run("--cycles --html " + Quoted(page) + ' ' + Quoted(old)), 0) << errors;
    EXPECT_THAT(output, StartsWith("The log has no DBG lines"));
    EXPECT_THAT(ReadText(page), HasSubstr("<p>The log has no DBG lines"));
}

TEST_F(LogProgram, AccountsAreNamedWithTheOptions)
{
    const fs::path changes = Write("changes.log", Utf16(Entry(1, "INFO", 1,
                                                              "Access rights changed: +2 -0 rows: +X\\\u00C5 "
                                                              "(1 object), +X\\b (1 object)")));
    const std::string both =
        "2026-11-22 14:00:01.000  + X\\\u00C5  1 object\n2026-11-22 14:00:01.000  + X\\b  1 object\n";
    const std::pair<std::string, std::string> rows[] = {
        {"--severity INFO --changes " + Quoted(changes), both},
        {Quoted(changes) + " --changes", both},
        {"--changes \"X\\\u00E5\" " + Quoted(changes), both.substr(0, both.find('\n') + 1)},
        {"--why \"X\\b\" " + Quoted(changes), "X\\b\nrights: the table: gained 1 object\n"},
    };
    for (const auto& [arguments, text] : rows) {
        EXPECT_EQ(Run(arguments), 0) << errors;
        EXPECT_THAT(output, StartsWith(text));
    }
}

TEST_F(LogProgram, WrongInputIsNamed)
{
    const std::pair<fs::path, const char*> wrong[] = {
        {folder.Path() / "missing.log", "No such file or directory"},
        {folder.Path(), "is a folder"},
        {Write("empty.log", ""), "is empty"},
        {Write("other.log", Entry(1, "DBG", 1, "in UTF-8")), "is no log of the module"},
    };
    for (const auto& [file, text] : wrong) {
        EXPECT_EQ(Run(Quoted(log) + ' ' + Quoted(file)), 2);
        EXPECT_THAT(errors, StartsWith("kestrine-log: " + file.string() + ": " + text));
        EXPECT_EQ(output, "");
        EXPECT_EQ(Run("--follow " + Quoted(file)), 2);
    }
    for (const char* options :
         {"--severity LOUD ", "--since yesterday ", "--thread x ", "--follow --cycles ", "--why x --changes ", ""})
        EXPECT_EQ(Run(options + (*options ? Quoted(log) : "")), 2) << options;
    const auto size = fs::file_size(log);
    EXPECT_EQ(Run("--changes"), 2) << "of no FILE";
    EXPECT_EQ(Run("--html " + Quoted(log) + ' ' + Quoted(log)), 2);
    EXPECT_EQ(fs::file_size(log), size);
}

TEST_F(LogProgram, OutputThatCannotBeWrittenIsAFailure)
{
    const fs::path page = folder.Path() / "missing" / "page.html";
    EXPECT_EQ(Run("--html " + Quoted(page) + ' ' + Quoted(log)), 1);
    EXPECT_THAT(errors, StartsWith("kestrine-log: " + page.string() + ": No such file"));
    if (!fs::exists("/dev/full"))
        return;
    out = "/dev/full";
    EXPECT_EQ(Run(Quoted(log)), 1);
    EXPECT_EQ(errors, "kestrine-log: standard output: No space left on device\n");
}
