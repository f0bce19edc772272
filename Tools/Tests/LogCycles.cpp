#include "Tools/Log/Filter.h"
#include "Tools/Log/HtmlPage.h"
#include "Tools/Log/TextOutput.h"
#include "Tools/Tests/LogText.h"

#include <gmock/gmock.h>
#include <sstream>

using namespace LogTool;
using testing::AllOf;
using testing::HasSubstr;
using testing::Not;

namespace
{

const std::string Begin = "Entering: CReportAccessInfoUpdater::UpdateAction";
const std::string End = "Exiting: CReportAccessInfoUpdater::UpdateAction [1 234.567 ms]";
const std::string Populating = "  Populating access rights table";

const std::string Items = R"(  Processing AccessRights: KelNode[0x1]:
<node>
  <node type="AccessRightsItem">
    <attribute name="LogonName" type="text">HOME\two</attribute>
    <attribute name="ContainerId" type="text list">
      <item>3B1F0A52-6C1E-4D0B-9C55-2A7D8E41F001</item>
      <item></item>
      <item>3B1F0A52-6C1E-4D0B-9C55-2A7D8E41F002</item>
    </attribute>
  </node>
  <node type="AccessRightsItem">
    <attribute name="IsLocalOnly" type="boolean">true</attribute>
  </node>
  <node type="AccessRightsItem">
    <attribute name="LogonName" type="text">HOME\everything</attribute>
  </node>
</node>)";

std::vector<Cycle> Collect(const std::string& log)
{
    CycleCollector collector(true);
    for (const Line& line : ReadLines(Utf16(log)))
        collector.Take(line);
    return collector.Cycles();
}

std::string Page(const std::string& log)
{
    std::ostringstream out;
    WriteHtml(out, Collect(log), "<b>.log", "");
    return out.str();
}

} // namespace

TEST(LogCycles, EachOutcomeHasItsLine)
{
    // Two threads take turns; a run of the module that was killed ends without its last line.
    const std::string log =
        Entries(0, 1, {Begin, Items}) + Entries(2, 2, {Begin, "  Updating access rights table is not required"}) +
        Entries(4, 1, {"  Removing local-only account items", Populating, End}) + Entries(7, 2, {End}) +
        Entries(8, 1, {Begin, Items, Populating, End}) + Entries(12, 1, {Begin, End}) + Entries(14, 1, {Begin}) +
        Entry(15, "WARN", 1, "  Unable to query access info source=0x1 failed: 0x80004005") +
        Entries(16, 1, {"EXCEPTION at: CReportAccessInfoUpdater::UpdateAction [0.500 ms]"}) +
        Entry(17, "ERR", 1, "CReportAccessInfoUpdater::UpdateAction failed: 0x80004005 [x] lost [0x1,0x2;0x3]") +
        Entries(18, 1, {Begin, Populating}) + Banner() + Entries(20, 1, {Begin, "  " + Begin, "  " + End, End}) +
        Entries(24, 1, {"Entering: CReportAccessInfoUpdater::UpdateAccessInfo"});
    const std::vector<Cycle> cycles = Collect(log);
    std::ostringstream table;
    WriteCycles(table, cycles);
    EXPECT_EQ(table.str(),
              R"(start                    duration ms  table          items    rows  failures
2026-11-22 14:00:00.000    1 234.567  rewritten          2       3
2026-11-22 14:00:02.000    1 234.567  not rewritten
2026-11-22 14:00:08.000    1 234.567  rewritten          3       4
2026-11-22 14:00:12.000    1 234.567  no settings
2026-11-22 14:00:14.000        0.500  failed                        1 source failed; 0x80004005 [x] lost
2026-11-22 14:00:18.000               did not end
2026-11-22 14:00:20.000    1 234.567  no settings
2026-11-22 14:00:20.000    1 234.567  no settings
8 cycles, 2 rewrote the table, 1 failed, 1 without end, 1 with failed sources
)");
    for (const auto& [filter, count] : {std::pair(Filter{SeverityWarn, "", {}}, 1),
                                        {Filter{{}, "2026-11-22 14:00:12", {}}, 5},
                                        {Filter{{}, "", 2}, 1}})
        EXPECT_EQ(std::ranges::count_if(cycles, [&chosen = filter](const Cycle& each) { return chosen.Passes(each); }),
                  count);
}

TEST(LogCycles, ThePageEscapesWhatTheLogHolds)
{
    const std::string page =
        Page(Entries(0, 1,
                     {Begin, "  '<script>alert(\"1\")</script>' & more\r\n</pre><img src=x>",
                      "EXCEPTION at: CReportAccessInfoUpdater::UpdateAction [0.500 ms]"}) +
             Entry(17, "ERR", 1, "CReportAccessInfoUpdater::UpdateAction failed: </title><script>"));
    EXPECT_THAT(page, AllOf(Not(HasSubstr("<script")), Not(HasSubstr("<img")), Not(HasSubstr("<b>")),
                            HasSubstr("'&lt;script&gt;alert(&quot;1&quot;)&lt;/script&gt;' &amp; more\n&lt;/pre&gt;"),
                            HasSubstr("failed: &lt;/title&gt;&lt;script&gt;\n"), HasSubstr("class=\"cross\"")));
}

TEST(LogCycles, ThePageShortensLongNodesAndCyclesButNoWarningOrStep)
{
    std::string log = Entries(0, 1, {Begin, "      Adding access info:" + std::string(1000, '\n')});
    for (int i = 0; i < 5000; ++i)
        log += Entry(3, "DBG", 1, "      source's line");
    log += Entry(4, "WARN", 1, "      source's warning") + Entries(5, 1, {Populating, End});
    const std::string page = Page(log);
    EXPECT_LT(page.size(), 100'000U);
    EXPECT_THAT(page, AllOf(HasSubstr("… 980 more lines"), HasSubstr("… further lines of sources"),
                            HasSubstr("source's warning"), HasSubstr(Populating), HasSubstr(End)));
}
