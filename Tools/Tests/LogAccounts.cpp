#include "Tools/Log/AccountTrail.h"
#include "Tools/Log/Changes.h"
#include "Tools/Tests/LogText.h"

#include <gmock/gmock.h>
#include <sstream>

using namespace LogTool;
using testing::AllOf;
using testing::EndsWith;
using testing::HasSubstr;
using testing::StartsWith;

namespace
{

std::string Item(const std::string& account, const std::string& more = {})
{
    return "<node type=\"AccessRightsItem\">\r\n  <attribute name=\"LogonName\" type=\"text\">" + account +
           "</attribute>\r\n" + more + "</node>";
}

const std::string OneObject =
    "  <attribute name=\"ContainerId\" type=\"text list\">\r\n    <item>c1</item>\r\n  </attribute>\r\n";
const std::string Local = "  <attribute name=\"IsLocalOnly\" type=\"boolean\">true</attribute>\r\n";

// A cycle in which a source hands out these items, and the list has them as well.
std::string CycleEntries(unsigned second, const std::string& source, const std::vector<std::string>& items,
                         const std::vector<std::string>& ofTheHost = {})
{
    std::vector<std::string> messages{"Entering: CReportAccessInfoUpdater::UploadAccessInfo",
                                      "Entering: " + source + "::GetAllowedViewers"};
    std::string list = "Processing AccessRights: KelNode[0x1]:\r\n<node>";
    for (const std::string& item : items)
        messages.push_back("Adding access info: KelNode[0x1]:\r\n" + item);
    messages.push_back("Exiting: " + source + "::GetAllowedViewers [0.001 ms]");
    for (const auto* part : {&items, &ofTheHost}) {
        for (const std::string& item : *part)
            list += "\r\n" + item;
    }
    messages.insert(messages.end(),
                    {list + "\r\n</node>", "Removing local-only account items", "Populating access rights table",
                     "Exiting: CReportAccessInfoUpdater::UploadAccessInfo [1.000 ms]"});
    return Entries(second, 2, messages);
}

std::string Why(const std::string& account, const std::string& log)
{
    AccountTrail trail(account);
    for (int pass = 0; pass < 2; ++pass) {
        trail.BeginPass();
        for (const Line& line : ReadLines(Utf16(log), 4096))
            trail.Take(line);
    }
    std::ostringstream out;
    trail.Write(out);
    return out.str();
}

std::string Changes(const std::string& account, const std::string& log)
{
    ChangeHistory history(account);
    for (const Line& line : ReadLines(Utf16(log), 4096))
        history.Take(line);
    std::ostringstream out;
    history.Write(out);
    return out.str();
}

} // namespace

TEST(LogAccounts, AConfiguredAccountIsFollowedFromItsTextToItsRole)
{
    const std::string log =
        Entries(1, 1,
                {"Name 'o'dowd@x' resolved to sid='S-1-5-7' with sid_type='7'",
                 "Updating AccountName for sid='S-1-5-7'", "Updated: AccountName='X\\m.o'dowd' sid_type=1",
                 "Querying access for: "
                 "'AuthToken[AuthTokenId='secret';SubjectId='win:sid=S-1-5-7';SubjectDisplayName='X\\m.o'dowd']'"}) +
        Entry(1, "DBG2", 1, "Result access rights info: KelNode[0x1]:\r\n" + Item("X\\m.o'dowd", OneObject)) +
        CycleEntries(2, "CConfiguredAccountsTracker", {Item("X\\m.o'dowd", OneObject), Item("X\\other")}) +
        Entry(2, "INFO", 2, "  Access rights changed: +1 -0 rows: +X\\m.o'dowd (1 object)") +
        Entries(3, 3,
                {"Adding item to process: 'X\\m.o'dowd'", "Entering: Processing account 'X\\m.o'dowd'",
                 "  skipping - no SSRS settings", "Exiting: Processing account 'X\\m.o'dowd' [0.100 ms]"}) +
        CycleEntries(4, "CConfiguredAccountsTracker", {Item("X\\m.o'dowd", OneObject)}) +
        Entry(5, "WARN", 3, "Adding 'Browser' role for account 'X\\m.o'dowd' failed: 0x80070005 no [0x1,0x2]");
    const std::string at = "2026-11-22 14:00:0";
    EXPECT_EQ(Why("x\\M.O'Dowd", log),
              "x\\M.O'Dowd  S-1-5-7\n"
              "rights: the table was written with it: 1 object\n"
              "role: its role was asked for and refused: 0x80070005 no\n\n" +
                  at + "5.000  its role was asked for and refused: 0x80070005 no\n" + at +
                  "3.000  its role was not asked for: no SSRS settings\n" + at +
                  "3.000  its role is to be asked for\n" + at + "2.000  the table: gained 1 object\n" + at +
                  "2.000  the table was written with it: 1 object (still so " + at + "4.000)\n" + at +
                  "2.000  CConfiguredAccountsTracker vouches for it: 1 object (still so " + at + "4.000)\n" + at +
                  "1.000  the permissions checker grants it 1 object\n" + at +
                  "1.000  the permissions checker was asked with a token of win:sid=S-1-5-7, named X\\m.o'dowd\n" + at +
                  "1.000  S-1-5-7 is X\\m.o'dowd, a user\n" + at +
                  "1.000  the configured text 'o'dowd@x' was resolved to S-1-5-7\n\n"
                  "Sources of the host's own write no lines: which of them vouched is not in the log, and that one did "
                  "only where the table was written.\n");
    EXPECT_THAT(Why("win:sid=S-1-5-7", log), HasSubstr("gained 1 object"));
    EXPECT_THAT(Why("X\\nobody", log),
                HasSubstr("\nrights: the table was written without it: no source vouches for it\n"
                          "missing: the log tells of no request of it and of no configured text that names it\n"));
}

TEST(LogAccounts, WhatIsMissingIsSaid)
{
    const std::string token = "AuthToken: KelNode[0x1]:\r\n<node name=\"AuthToken\">\r\n"
                              "  <attribute name=\"SubjectId\" type=\"text\">win:sid=S-1-5-8</attribute>\r\n"
                              "  <node name=\"OnBehalfOfClient\">\r\n"
                              "  <attribute name=\"SubjectId\" type=\"text\">win:sid=S-1-5-9</attribute>\r\n"
                              "  <attribute name=\"SubjectDisplayName\" type=\"text\">X\\a &amp; b</attribute>\r\n"
                              "  </node>\r\n</node>";
    const std::string nothing = CycleEntries(9, "CRBACUsageTracker", {});
    const struct
    {
        const char* account;
        std::string log;
        std::vector<const char*> expected;
    } cases[] = {
        {"X\\a & b",
         Entries(1, 1, {"Entering: CPrepareReportAccessService::ProcessRequest", token, "UpdateAccessInfo"}) +
             Entry(2, "ERR", 1, "CPrepareReportAccessService::ProcessRequest failed: 0x80070490 gone") + nothing,
         {"asked for reports with a token of win:sid=S-1-5-9, through 1 service\n",
          "\nmissing: its request for reports failed: 0x80070490 gone\n"}},
        {"X\\a & b",
         Entries(1, 1, {token, "Adding access info for 'win:sid=S-1-5-9':KelNode[<null>]"}) + nothing,
         {"\nmissing: it has asked for reports, and the permissions checker grants it nothing\n"}},
        {"X\\a & b",
         Entries(1, 1, {token, "Removing expired client info for: 'win:sid=S-1-5-9'"}) + nothing,
         {"\nmissing: its last request for reports is longer ago than ExpirationTimeoutS\n"}},
        {"X\\gone",
         Entry(1, "WARN", 1, "Resolving 'X\\gone' to sid failed: 0x80070534 No mapping [0x1,0x2]") + nothing,
         {"\nmissing: the configured text 'X\\gone' could not be resolved: 0x80070534 No mapping\n"}},
        {"PC\\local",
         CycleEntries(1, "CConfiguredAccountsTracker", {Item("PC\\local", Local)}),
         {"rights: the table was written without it: it exists on one computer only, and the report server is "
          "another"}},
        {"X\\own",
         CycleEntries(1, "CRBACUsageTracker", {}, {Item("X\\own")}) + nothing,
         {"a source of the host's own vouches for it\n", "no source of the host's own vouches for it any more\n",
          "\nrights: the table was written without it: no source vouches for it\n"}},
        {"X\\quiet",
         Entry(1, "INFO", 1, "Access rights changed: +0 -1 rows: -X\\quiet (1 object)"),
         {"\nrights: the table: lost 1 object\n", "\nNot in the log, whose MaxSeverity was below DBG: "}},
    };
    for (const auto& each : cases) {
        for (const char* text : each.expected)
            EXPECT_THAT(Why(each.account, each.log), HasSubstr(text));
    }
}

TEST(LogAccounts, TheHistoryOfRightsIsThatOfAllAccountsOrOfOne)
{
    const std::string log =
        Entry(1, "INFO", 1, "  Access rights written: 5 rows") +
        Entry(2, "INFO", 1,
              "  Access rights changed: +3 -1 rows: +X\\ann (2 objects), +X\\b (1), c (every object), -X\\eve "
              "(1 object) and 7 more") +
        Entry(3, "INFO", 1, "  Access rights changed: +0 -0 rows");
    const std::string at = "2026-11-22 14:00:0";
    const std::string whole = at + "1.000  * 5 rows written, without a list to compare them with\n";
    const std::string more = at + "2.000  * 7 more that the log does not name\n";
    EXPECT_EQ(Changes("", log), whole + at + "2.000  + X\\ann  2 objects\n" + at +
                                    "2.000  + X\\b (1), c  every object\n" + at + "2.000  - X\\eve  1 object\n" + more);
    EXPECT_EQ(Changes("x\\EVE", log), whole + at + "2.000  - X\\eve  1 object\n" + more);
    EXPECT_THAT(Changes("", Entry(1, "DBG", 1, "other")), StartsWith("The log has no lines about changed rights"));
}
