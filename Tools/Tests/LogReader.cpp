#include "Platform/Testing/TemporaryFolder.h"
#include "Tools/Log/Filter.h"
#include "Tools/Log/LogFile.h"
#include "Tools/Tests/LogText.h"

#include <gmock/gmock.h>

using namespace LogTool;
using testing::_;
using testing::ElementsAre;

namespace
{

// Kind, first letters and message of each line.
std::vector<std::string> Shapes(std::string_view bytes)
{
    std::vector<std::string> shapes;
    for (const Line& line : ReadLines(bytes, 7)) {
        if (line.kind == LineKind::Entry)
            shapes.push_back("E " + line.message);
        else
            shapes.push_back((line.kind == LineKind::Banner ? "B " : "F ") + line.text.substr(0, 10));
    }
    return shapes;
}

const std::string Frame = "B **********";

void Append(const std::filesystem::path& file, const std::string& bytes)
{
    std::ofstream(file, std::ios::binary | std::ios::app) << bytes;
}

} // namespace

TEST(LogReader, ColumnsAreReadInWhateverPiecesTheFileArrives)
{
    const std::string log =
        Utf16(Banner() + Entry(1, "ERR", 17, "    Å \U0001F600 | failed\r\n<node>\n  <a/>\n</node>") +
              Entry(2, "DBG2", 9, ""));
    for (const std::size_t step : {1U, 3U, 4096U}) {
        const std::vector<Line> lines = ReadLines(log, step);
        ASSERT_EQ(lines.size(), 8U) << step;
        EXPECT_EQ(lines[3].text,
                  "2026-11-22 14:00:01.0000001 | ERR  | 4711    17 | Source.cpp:1                   |     Å "
                  "\U0001F600 | failed");
        EXPECT_EQ(lines[3].indentation, 4U);
        EXPECT_EQ(lines[3].message, "Å \U0001F600 | failed");
        EXPECT_EQ(lines[5].kind, LineKind::Further);
        EXPECT_EQ(lines[5].text, "  <a/>");
        EXPECT_EQ(std::tie(lines[5].severity, lines[5].process, lines[5].thread, lines[5].time),
                  std::make_tuple(1U, 4711U, 17U, "2026-11-22 14:00:01.0000001"));
        EXPECT_EQ(lines[7].thread, 9U);
    }
}

TEST(LogReader, WhatStandsBehindATornLineIsALineOfItsOwn)
{
    const std::string torn = Utf16(Entry(1, "DBG", 1, "torn \U0001F600 here"));
    const std::string next = Utf16(Banner() + Entry(2, "DBG", 1, "next") + Entry(3, "DBG", 1, "last"));
    // Cut at every byte: in the columns, in the pair, in mid-character, in the line end.
    for (std::size_t cut = 1; cut < torn.size(); ++cut) {
        EXPECT_THAT(Shapes(torn.substr(0, cut) + next),
                    ElementsAre(_, Frame, "B *** Module", Frame, "E next", "E last"))
            << cut;
    }
    EXPECT_THAT(Shapes(Utf16("half an entr" + Entry(4, "DBG", 1, "next"))), ElementsAre("F half an en", "E next"));
    EXPECT_THAT(Shapes(torn.substr(0, torn.size() - 5)), ElementsAre("E torn \U0001F600 her\uFFFD"));
}

TEST(LogReader, TextCanNeitherSteerATerminalNorFillTheMemory)
{
    EXPECT_THAT(Shapes(Utf16(Entry(1, "DBG", 1, "a\x1b[2Jb\tc\xC2\x9B"))), ElementsAre("E a\uFFFD[2Jb\tc\uFFFD"));
    const std::vector<Line> lines = ReadLines(Utf16(Entry(1, "DBG", 1, std::string(5 << 18, 'x'))), 1 << 16);
    ASSERT_EQ(lines.size(), 3U);
    for (const Line& line : lines)
        EXPECT_LT(line.text.size(), 1U << 20);
}

TEST(LogReader, TimesAreReadInFullOrInPart)
{
    std::string text = "2026-11-22T14:00";
    EXPECT_EQ(ReadSince(text), "");
    EXPECT_EQ(text, "2026-11-22 14:00");
    for (std::string wrong :
         {"", "2026-11-31", "2026-11-22 24:00", "2026-11-22 14", "22.11.2026", "2026-11-22 14:00:01."})
        EXPECT_NE(ReadSince(wrong), "") << wrong;
}

TEST(LogReader, AFollowedLogMayBeMovedAwayAndBegunAgain)
{
    const TemporaryFolder folder;
    const std::filesystem::path file = folder.Path() / "Kestrine.log";
    Append(file, Utf16(Banner() + Entry(1, "DBG", 1, "before")));
    std::vector<std::string> messages;
    LineReader reader([&messages](const Line& line) { messages.push_back(line.message); });
    FollowedLog log(file);
    const auto look = [&] {
        messages.clear();
        log.ReadNew(reader);
        return messages;
    };
    EXPECT_THAT(look(), ElementsAre());
    Append(file, Utf16(Entry(2, "DBG", 1, "added")) + "2");
    EXPECT_THAT(look(), ElementsAre("added"));
    std::filesystem::rename(file, folder.Path() / "old.log");
    EXPECT_THAT(look(), ElementsAre());
    // The same banner, and longer than the old one at once: its first time stamp tells it.
    Append(file, Utf16(Banner() + Entry(3, "DBG", 1, "new") + Entry(4, "DBG", 1, std::string(2000, 'x'))));
    EXPECT_THAT(look(), ElementsAre("", "", "", "", "new", std::string(2000, 'x')));
    Append(file, Utf16(Entry(5, "DBG", 1, "newer")));
    EXPECT_THAT(look(), ElementsAre("newer"));
}
