#include "Host/Program/JsonCursor.h"
#include "Host/Program/Site.h"

#include <fstream>
#include <gtest/gtest.h>

using nlohmann::json;

namespace
{

// A site in which every part is used once; the fuzzer begins with it too.
json Complete()
{
    return json::parse(std::ifstream(KESTRINE_COMPLETE_SITE));
}

std::string Complaint(const std::string& text)
{
    try {
        Host::ReadSite(text);
        return "(accepted)";
    } catch (const Host::InputError& error) {
        return error.what();
    }
}

// The complaint after the value at `pointer` was replaced, added or removed; without the pointer where it begins with
// it.
std::string ComplaintAbout(const std::string& pointer, const json& value)
{
    json site = Complete();
    const json::json_pointer place(pointer);
    if (value == "(removed)")
        site[place.parent_pointer()].erase(place.back());
    else
        site[place] = value;
    const std::string complaint = Complaint(site.dump());
    return complaint.starts_with(pointer + ": ") ? complaint.substr(pointer.size() + 2) : complaint;
}

} // namespace

TEST(SiteFile, ACompleteSiteIsReadAsItIsWritten)
{
    const Host::Site site = Host::ReadSite(Complete().dump());
    EXPECT_EQ(site.moduleSettings.at(L"GS_Logger_KeepOpenInterval"), L"10");
    EXPECT_EQ(site.moduleSettings.at(L"GS_Debug_EnableAliveObjectsTracking"), L"1");
    EXPECT_EQ(site.objectNames.at(L"0C8E2B1A-5D3F-4E7A-9B61-2F4D8C7A1E05"), L"Ward");
    EXPECT_EQ(site.sources[0].items[0].containers[0], L"0C8E2B1A-5D3F-4E7A-9B61-2F4D8C7A1E05");
    EXPECT_TRUE(site.sources[0].items[0].localOnly && !site.sources[0].items[1].localOnly);
    EXPECT_EQ(site.components[1].config.children[0].name, L"More");
    EXPECT_EQ(site.grants[0].sid, L"S-1-5-21-4-5-6-1003");
    EXPECT_TRUE(site.accounts.starts_with("computer DESK = S-1-5-21-1-2-3\ndomain D = S-1-5-21-4-5-6\nuser D\\ann"));
    EXPECT_TRUE(site.timeline[4].cycle && !site.timeline[3].cycle && !site.timeline[6].cycle);
    EXPECT_EQ(site.timeline[6].until->granted[0], L"DESK\\bob");
}

// One of each kind: of the schema, of the references between parts, of what has happened by then.
TEST(SiteFile, ComplaintsSayWhereWhatWasFoundAndWhatWasExpected)
{
    // Pointer, value, complaint.
    const json cases = json::parse(R"json([
        ["/site", "(removed)", "found nothing, expected this key"],
        ["/site", "", "found \"\", expected a text that is not empty"],
        ["/names/more", 7,
            "found an unknown key, expected one of \"databaseConnectionManager\", \"reportingSettingsManager\""],
        ["/moduleSettings/Logger/MaxSeverity", "LOUD",
            "found \"LOUD\", expected one of \"NONE\", \"CRIT\", \"ERR\", \"WARN\", \"INFO\", \"DBG\", \"DBG2\", \"DBG3\""],
        ["/moduleSettings/General", {"DataDirectoryPath": "/x"},
            "/moduleSettings/General/DataDirectoryPath: found \"/x\", expected other settings: this one is the option --data"],
        ["/configuration/children/1/name", "Status", "found \"Status\", expected a name that is not taken"],
        ["/configuration/children/0/attributes/Raw/binary", "0x1",
            "found \"0x1\", expected pairs of hexadecimal digits, 2048 at most"],
        ["/accounts/3", "user X\\y = 1",
            "found \"user X\\\\y = 1\", expected \"user DOMAIN\\name = 1105\" with a domain from above and a new account"],
        ["/accessInfo/0/items/1/containers", [],
            "found [], expected at least one GUID, or no \"containers\" for every object"],
        ["/accessInfo/0/name", "Core.ServiceClient",
            "found \"Core.ServiceClient\", expected an instance name that is not taken"],
        ["/objectNames/x", "y",
            "found this key, expected a GUID such as \"6F9619FF-8B86-D011-B42D-00C04FC964FF\""],
        ["/components/0/config/UpdateIntervalS", "soon", "found \"soon\", expected a whole number from 0 to 4294967295"],
        ["/components/3/children/0/name", "Items", "/components/3/children: found [{\"children\":[{\"attributes\":{\"Attribute\":\"A\",\"NodePath\":\"\\\\R..., expected a node \"TrackingItems\" among them"],
        ["/components/0/config/RegisterAccessInfoSources/1", "Updater",
            "found \"Updater\", expected the name of an access-info source of this site"],
        ["/timeline/0/settings/enable", "E2",
            "found \"E2\", expected null or the name of a connection-settings entry known by then"],
        ["/timeline/2/configure/create", false,
            "/timeline/2/configure/path: found \"\\\\Root\\\\New\\\\Node\", expected the path of a node that exists by then, or \"create\": true"],
        ["/timeline/9/requests/0/from", "D\\ann",
            "found \"D\\\\ann\", expected the name of an account of /accounts that exists by then, or a SID"],
        ["/components/2/class", "SSRSRolesUpdater",
            "/components/2/config/ReportAccessInfoUpdater: found an unknown key, expected one of \"RetryIntervalS\", \"UpdateIntervalS\""],
        ["/timeline/10/permissions/fail", "x",
            "/timeline/10/permissions: found {\"fail\":\"x\",\"revoke\":{\"account\":\"D\\\\staff\"}}, expected just one of \"delayS\", \"fail\", \"grant\", \"recover\", \"revoke\""]
    ])json");
    for (const json& each : cases)
        EXPECT_EQ(ComplaintAbout(each[0], each[1]), each[2]);
}

TEST(SiteFile, TextsThatAreNoGoodJsonSayWhere)
{
    EXPECT_EQ(Complaint("{\n  \"site\" 1}").substr(0, 17), "line 2, column 10");
    EXPECT_EQ(Complaint(R"({"a": [1, {"b/c": {}, "b/c": 2}]})"), "/a/1/b~1c: found this key twice, expected it once");
    EXPECT_EQ(Complaint(R"({"a": [1, "x\u0000y"]})"), "/a/1: found a zero character, expected a text without");
    EXPECT_EQ(Complaint(R"({"a": [1, 1e999]})"), "/a/1: found a number that is too large, expected one below 1e308");
    EXPECT_TRUE(Complaint(std::string(100000, '[')).ends_with("...: found another level, expected 500 at most"));
}
