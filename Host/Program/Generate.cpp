#include "Host/Program/Run.h"
#include "Host/Support/PathText.h"

#include <algorithm>
#include <cstdio>
#include <nlohmann/json.hpp>
#include <random>
#include <set>

namespace Host
{

namespace
{

using Json = nlohmann::ordered_json;

constexpr std::uint32_t AccountsPerDepartment = 100;
constexpr std::uint32_t Requests = 32;
constexpr std::uint32_t FirstRelativeId = 1101;

// What does not depend on the size. The intervals are short because the roles updater asks for no role, not even for
// the first time, before the computer has been up for its RetryIntervalS.
constexpr char Frame[] = R"json({
    "site": "",
    "moduleSettings": {"Logger": {"MaxSeverity": "WARN"}},
    "configuration": {"name": "Configuration", "children": []},
    "names": {"databaseConnectionManager": "Reports.DatabaseConnections", "reportingSettingsManager": "Reports.Settings"},
    "connectionSettings": [{"name": "Report server", "attributes": {
        "Enabled": false, "ReportServerUrl": "http://198.51.100.20/ReportServer",
        "ReportServerUserName": "LARGE\\svc-reports", "ReportServerPassword": "none"}}],
    "accounts": ["domain LARGE = S-1-5-21-310-311-312"],
    "grants": [],
    "components": [
        {"name": "Reports.Updater", "class": "ReportAccessInfoUpdater", "config": {
            "UpdateIntervalS": 300, "RetryIntervalS": 1,
            "DatabaseConnectionManager": "Reports.DatabaseConnections", "ReportingSettingsManager": "Reports.Settings",
            "RegisterAccessInfoSources": ["Reports.Requests", "Reports.ConfiguredAccounts"],
            "RegisterAccessInfoConsumers": ["Reports.Roles"]}},
        {"name": "Reports.Requests", "class": "PrepareReportAccessService", "config": {
            "ReportAccessInfoUpdater": "Reports.Updater", "RequiredContainerPermission": "ViewReports"}},
        {"name": "Reports.ConfiguredAccounts", "class": "ConfiguredAccountsTracker",
            "config": {"ReportAccessInfoUpdater": "Reports.Updater", "RequiredContainerPermission": "ViewReports"},
            "children": [{"name": "TrackingItems", "children": [{"name": "Departments", "type": "TrackingItem",
                "attributes": {"NodePath": "\\Configuration", "Attribute": "Accounts", "Recursively": true}}]}]},
        {"name": "Reports.Roles", "class": "SSRSRolesUpdater", "config": {"UpdateIntervalS": 1, "RetryIntervalS": 1}}],
    "timeline": [
        {"say": "The report server is taken into use: every account is listed and gets its role",
            "settings": {"enable": "Report server"}, "until": {}, "limit": 3600},
        {"say": "The first department is taken out of the configuration",
            "configure": {"path": "\\Configuration\\Department 1", "remove": true}, "until": {}, "limit": 3600},
        {"say": "People ask for reports, all at once", "requests": []}]
})json";

std::string AccountName(std::uint32_t index)
{
    return "LARGE\\user" + std::to_string(index + 1);
}

std::string ContainerId(std::uint32_t index)
{
    char text[40];
    std::snprintf(text, sizeof text, "00000000-0000-4000-8000-%012X", index + 1);
    return text;
}

Json Department(std::uint32_t number, const SiteSize& size)
{
    Json accounts = Json::array();
    const std::uint32_t first = number * AccountsPerDepartment;
    for (std::uint32_t i = first; i < std::min(first + AccountsPerDepartment, size.accounts); ++i)
        accounts.push_back(AccountName(i));
    return {{"name", "Department " + std::to_string(number + 1)}, {"attributes", {{"Accounts", accounts}}}};
}

} // namespace

void GenerateSite(const SiteSize& size, const std::filesystem::path& file, Console& console)
{
    std::mt19937 random(size.seed);
    Json site = Json::parse(Frame);
    site["site"] = "Large site: " + std::to_string(size.accounts) + " accounts";
    for (std::uint32_t i = 0; i < size.accounts; ++i) {
        if (i % AccountsPerDepartment == 0)
            site["configuration"]["children"].push_back(Department(i / AccountsPerDepartment, size));
        site["accounts"].push_back("user " + AccountName(i) + " = " + std::to_string(FirstRelativeId + i));
        std::set<std::string> containers;
        while (containers.size() < size.containers)
            containers.insert(ContainerId(static_cast<std::uint32_t>(random() % (10 * size.containers))));
        site["grants"].push_back(
            {{"account", AccountName(i)}, {"permission", "ViewReports"}, {"containers", containers}});
    }
    const std::uint64_t gone = std::min(size.accounts, AccountsPerDepartment);
    Json& timeline = site["timeline"];
    timeline[0]["until"] = {{"rows", std::uint64_t{size.accounts} * size.containers}, {"roles", size.accounts}};
    timeline[1]["until"] = {{"rows", (size.accounts - gone) * size.containers}};
    for (std::uint32_t i = size.accounts - std::min(size.accounts, Requests); i < size.accounts; ++i)
        timeline[2]["requests"].push_back({{"from", AccountName(i)}});
    ReplaceFile(file, site.dump(1) + '\n');
    console.Line(PathText(file) + L": " + Count(size.accounts, L"account"));
}

} // namespace Host
