#include "Host/Program/JsonCursor.h"
#include "Host/Program/Site.h"

#include <gtest/gtest.h>

using nlohmann::json;

namespace
{

// A site in which every part is used once.
json Complete()
{
    return json::parse(R"json({
      "site": "Test",
      "moduleSettings": {"Logger": {"MaxSeverity": "DBG", "KeepOpenInterval": 10}, "Debug": {"EnableAliveObjectsTracking": true}},
      "configuration": {"name": "Root", "type": "Tree", "children": [{"name": "Status", "attributes":
        {"On": true, "Small": -1, "Large": 5000000000, "List": ["a", "b"], "Nothing": null, "Raw": {"binary": "00fF"}}}]},
      "names": {"databaseConnectionManager": "Db", "reportingSettingsManager": "Settings"},
      "connectionSettings": [{"name": "E1", "attributes": {"Enabled": true, "ReportServerUrl": "http://localhost"}}],
      "accessInfo": [{"name": "Source", "items": [
        {"account": "a", "containers": ["{0c8e2b1a-5d3f-4e7a-9b61-2f4d8c7a1e05}"], "localOnly": true}, {"account": "b"}]}],
      "objectNames": {"0c8e2b1a-5d3f-4e7a-9b61-2f4d8c7a1e05": "Ward"},
      "components": [
        {"name": "Updater", "class": "ReportAccessInfoUpdater", "config": {"DatabaseConnectionManager": "Db",
          "ReportingSettingsManager": "Settings", "RegisterAccessInfoSources": ["Tracker", "Source"]}},
        {"name": "Tracker", "class": "RBACUsageTracker", "config": {"ReportAccessInfoUpdater": "Updater",
          "RBACStatusNodePath": "\\Root\\Status", "RBACIsInUseAttribute": "On"}, "children": [{"name": "More"}]}],
      "timeline": [
        {"say": "enable", "settings": {"enable": null}},
        {"say": "entries", "settings": {"entries": [{"name": "E2"}]}},
        {"say": "set", "configure": {"path": "\\Root\\New\\Node", "set": {"X": 1}, "create": true}},
        {"say": "remove", "configure": {"path": "\\Root\\New", "remove": true}, "cycle": false},
        {"say": "source", "source": {"name": "Source", "remove": ["a"]}},
        {"say": "database", "database": {"outage": true, "failAtStatement": 3}},
        {"say": "wait", "wait": {"seconds": 0.5}},
        {"say": "cycle", "cycle": true}]
    })json");
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

// The complaint after the value at `pointer` was replaced or added; "-" behind it removes it.
std::string ComplaintAbout(const std::string& pointer, const json& value)
{
    json site = Complete();
    const json::json_pointer place(pointer);
    if (value == "(removed)")
        site[place.parent_pointer()].erase(place.back());
    else
        site[place] = value;
    return Complaint(site.dump());
}

} // namespace

TEST(SiteFile, ACompleteSiteIsReadAsItIsWritten)
{
    const Host::Site site = Host::ReadSite(Complete().dump());
    EXPECT_EQ(site.moduleSettings.at(L"GS_Logger_MaxSeverity"), L"DBG");
    EXPECT_EQ(site.moduleSettings.at(L"GS_Logger_KeepOpenInterval"), L"10");
    EXPECT_EQ(site.moduleSettings.at(L"GS_Debug_EnableAliveObjectsTracking"), L"1");
    EXPECT_EQ(site.objectNames.at(L"0C8E2B1A-5D3F-4E7A-9B61-2F4D8C7A1E05"), L"Ward");
    EXPECT_EQ(site.sources[0].items[0].containers[0], L"0C8E2B1A-5D3F-4E7A-9B61-2F4D8C7A1E05");
    EXPECT_TRUE(site.sources[0].items[0].localOnly && !site.sources[0].items[1].localOnly);
    EXPECT_EQ(site.components[1].config.children[0].name, L"More");
    EXPECT_EQ(site.timeline.size(), 8U);
    EXPECT_FALSE(site.timeline[3].cycle);
    EXPECT_TRUE(site.timeline[4].cycle);

    const NodeHandle tree = Host::BuildNode(site.configuration);
    const NodeHandle status = Host::FindNode(tree.Get(), L"\\Root\\Status");
    const auto typeOf = [&](const wchar_t* name) {
        uint16_t type = 0xFFFF;
        EXPECT_EQ(KelnGetAttribute(status.Get(), name, nullptr, nullptr, nullptr, &type), S_OK);
        return type;
    };
    EXPECT_EQ(typeOf(L"On"), KelnBool);
    EXPECT_EQ(typeOf(L"Small"), KelnInt32);
    EXPECT_EQ(typeOf(L"Large"), KelnInt64);
    EXPECT_EQ(typeOf(L"List"), KelnTextList);
    EXPECT_EQ(typeOf(L"Nothing"), KelnEmpty);
    EXPECT_EQ(typeOf(L"Raw"), KelnBinary);
    EXPECT_EQ(std::get<Host::Binary>(site.configuration.children[0].attributes[4].value).bytes,
              std::string("\0\xFF", 2));
}

TEST(SiteFile, ComplaintsSayWhereWhatWasFoundAndWhatWasExpected)
{
    const json removed = "(removed)";
    const struct
    {
        const char* pointer;
        json value;
        const char* complaint;
    } cases[] = {
        {"/site", removed, "/site: found nothing, expected this key"},
        {"/site", 7, "/site: found 7, expected a text that is not empty"},
        {"/sites", 7,
         "/sites: found an unknown key, expected one of \"site\", \"moduleSettings\", \"configuration\", "
         "\"connectionSettings\", \"names\", \"accessInfo\", \"components\", \"objectNames\", \"timeline\""},
        {"/names", json::array(),
         "/names: found [], expected an object with \"databaseConnectionManager\", \"reportingSettingsManager\""},
        {"/moduleSettings/General",
         {{"DataDirectoryPath", "/x"}},
         "/moduleSettings/General/DataDirectoryPath: found \"/x\", expected other settings: this one is the option "
         "--data"},
        {"/configuration/children/0/name", "a\\b",
         "/configuration/children/0/name: found \"a\\\\b\", expected a name without backslash"},
        {"/configuration/children/1",
         {{"name", "Status"}},
         "/configuration/children/1/name: found \"Status\", expected a name that is not taken"},
        {"/configuration/children/0/attributes/On", 1.5,
         "/configuration/children/0/attributes/On: found 1.5, expected a text, a whole number, true, false, null, an "
         "array of texts or {\"binary\": \"...\"}"},
        {"/configuration/children/0/attributes/Large", 9223372036854775808U,
         "/configuration/children/0/attributes/Large: found 9223372036854775808, expected a whole number from "
         "-9223372036854775808 to 9223372036854775807"},
        {"/configuration/children/0/attributes/List/1", 3,
         "/configuration/children/0/attributes/List/1: found 3, expected a text"},
        {"/configuration/children/0/attributes/Raw/binary", "0x1",
         "/configuration/children/0/attributes/Raw/binary: found \"0x1\", expected pairs of hexadecimal digits"},
        {"/configuration/children/0/attributes/a~1b", std::string("x\0y", 3),
         "/configuration/children/0/attributes/a~1b: found \"x\\u0000y\", expected a text without zero characters"},
        {"/connectionSettings/0/attributes/Enabled", "yes",
         "/connectionSettings/0/attributes/Enabled: found \"yes\", expected true or false"},
        {"/accessInfo/0/items/0/containers/0", "ward 3",
         "/accessInfo/0/items/0/containers/0: found \"ward 3\", expected a GUID such as "
         "\"6F9619FF-8B86-D011-B42D-00C04FC964FF\""},
        {"/accessInfo/0/items/1/containers", json::array(),
         "/accessInfo/0/items/1/containers: found [], expected at least one GUID, or no \"containers\" for every "
         "object"},
        {"/objectNames/ward", "x", "/objectNames/ward: found \"x\", expected a GUID as key, and each once"},
        {"/components/0/class", "Updater",
         "/components/0/class: found \"Updater\", expected one of \"ReportAccessInfoUpdater\", \"RBACUsageTracker\""},
        {"/components/1/name", "Source",
         "/components/1/name: found \"Source\", expected an instance name that is not taken"},
        {"/accessInfo/0/name", "ConfigServer.Proxy",
         "/accessInfo/0/name: found \"ConfigServer.Proxy\", expected an instance name that is not taken"},
        {"/components/0/config/DatabaseConnectionManager", "Settings",
         "/components/0/config/DatabaseConnectionManager: found \"Settings\", expected the name of the database "
         "connection manager of this site"},
        {"/components/0/config/RegisterAccessInfoSources/1", "Updater",
         "/components/0/config/RegisterAccessInfoSources/1: found \"Updater\", expected the name of an access-info "
         "source "
         "of this site"},
        {"/components/1/config/ReportAccessInfoUpdater", removed,
         "/components/1/config/ReportAccessInfoUpdater: found nothing, expected this key"},
        {"/components/0/class", "RBACUsageTracker",
         "/components/0/config/ReportAccessInfoUpdater: found nothing, expected this key"},
        {"/timeline/0/settings/enable", "E2",
         "/timeline/0/settings/enable: found \"E2\", expected null or the name of a connection-settings entry known by "
         "then"},
        {"/timeline/1/settings/enable", nullptr,
         "/timeline/1/settings: found {\"enable\":null,\"entries\":[{\"name\":\"E2\"}]}, expected either \"entries\" "
         "or "
         "\"enable\""},
        {"/timeline/2/configure/create", false,
         "/timeline/2/configure/path: found \"\\\\Root\\\\New\\\\Node\", expected the path of a node that exists by "
         "then, or "
         "\"create\": true"},
        {"/timeline/2/configure/path", "\\Other",
         "/timeline/2/configure/path: found \"\\\\Other\", expected a path that begins with \"\\\\Root\""},
        {"/timeline/3/configure/path", "\\Root",
         "/timeline/3/configure/path: found \"\\\\Root\", expected another node than the root to remove"},
        {"/timeline/4/source/name", "Tracker",
         "/timeline/4/source/name: found \"Tracker\", expected the name of an entry of /accessInfo"},
        {"/timeline/4/source/recover", true,
         "/timeline/4/source: found {\"name\":\"Source\",\"recover\":true,\"remove\":[\"a\"]}, expected \"name\" and "
         "one of "
         "\"items\", \"add\", \"remove\", \"fail\", \"recover\""},
        {"/timeline/5/database", json::object(),
         "/timeline/5/database: found {}, expected \"outage\" or \"failAtStatement\" or both"},
        {"/timeline/6/wait/seconds", -1, "/timeline/6/wait/seconds: found -1, expected a number from 0 to 3600"},
        {"/timeline/7/wait",
         {{"second", 1}},
         "/timeline/7/wait/second: found an unknown key, expected one of \"seconds\""},
        {"/timeline/7/cycle", removed,
         "/timeline/7: found {\"say\":\"cycle\"}, expected one of \"settings\", \"configure\", \"source\", "
         "\"database\", "
         "\"wait\", or \"cycle\" alone"},
    };
    for (const auto& [pointer, value, complaint] : cases)
        EXPECT_EQ(ComplaintAbout(pointer, value), complaint);
}

TEST(SiteFile, EventsSeeWhatEarlierEventsDid)
{
    json site = Complete();
    // The entry E1 is gone after the second event, the node after the fourth.
    site["timeline"].push_back({{"say", "x"}, {"settings", {{"enable", "E1"}}}});
    EXPECT_EQ(Complaint(site.dump()).substr(0, 27), "/timeline/8/settings/enable");
    site["timeline"][8]["settings"]["enable"] = "E2";
    EXPECT_EQ(Complaint(site.dump()), "(accepted)");
    site["timeline"][8] = {{"say", "x"}, {"configure", {{"path", "\\Root\\New\\Node"}, {"set", {{"X", 1}}}}}};
    EXPECT_EQ(Complaint(site.dump()).substr(0, 26), "/timeline/8/configure/path");
}

TEST(SiteFile, SyntaxErrorsAndDoubleKeysSayWhere)
{
    EXPECT_EQ(Complaint("{\n  \"site\" 1}").substr(0, 17), "line 2, column 10");
    EXPECT_EQ(Complaint("").substr(0, 16), "line 1, column 1");
    EXPECT_EQ(Complaint(R"({"a": [1, {"b/c": {}, "b/c": 2}]})"), "/a/1/b~1c: found this key twice, expected it once");
    EXPECT_EQ(Complaint("[]").substr(0, 14), "/: found [], e");
}
