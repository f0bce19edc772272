#include "Host/Program/Generate.h"

#include <algorithm>
#include <cstdio>
#include <random>
#include <set>
#include <string>
#include <vector>

namespace Host
{

namespace
{

using Json = nlohmann::ordered_json;

constexpr std::uint32_t AccountsPerDepartment = 100;
constexpr std::uint32_t Requests = 32;
constexpr std::uint32_t FirstRelativeId = 1101;
constexpr double LongestRun = 3600;

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

std::string DepartmentName(std::uint32_t index)
{
    return "Department " + std::to_string(index / AccountsPerDepartment + 1);
}

Json MakeComponents()
{
    const std::string permission = "ViewReports";
    Json updater{{"UpdateIntervalS", 300},
                 {"DatabaseConnectionManager", "Reports.DatabaseConnections"},
                 {"ReportingSettingsManager", "Reports.Settings"},
                 {"RegisterAccessInfoSources", {"Reports.Requests", "Reports.ConfiguredAccounts"}},
                 {"RegisterAccessInfoConsumers", {"Reports.Roles"}}};
    Json requests{{"ReportAccessInfoUpdater", "Reports.Updater"}, {"RequiredContainerPermission", permission}};
    Json tracker{{"ReportAccessInfoUpdater", "Reports.Updater"}, {"RequiredContainerPermission", permission}};
    Json items{
        {"name", "TrackingItems"},
        {"children",
         {{{"name", "Departments"},
           {"type", "TrackingItem"},
           {"attributes", {{"NodePath", "\\Configuration"}, {"Attribute", "Accounts"}, {"Recursively", true}}}}}}};
    return {{{"name", "Reports.Updater"}, {"class", "ReportAccessInfoUpdater"}, {"config", updater}},
            {{"name", "Reports.Requests"}, {"class", "PrepareReportAccessService"}, {"config", requests}},
            {{"name", "Reports.ConfiguredAccounts"},
             {"class", "ConfiguredAccountsTracker"},
             {"config", tracker},
             {"children", {items}}},
            {{"name", "Reports.Roles"}, {"class", "SSRSRolesUpdater"}, {"config", Json::object()}}};
}

Json MakeTimeline(const SiteSize& size)
{
    const std::uint64_t rows = std::uint64_t{size.accounts} * size.containers;
    const std::uint32_t gone = std::min(size.accounts, AccountsPerDepartment);
    Json requests = Json::array();
    for (std::uint32_t i = size.accounts - std::min(size.accounts, Requests); i < size.accounts; ++i)
        requests.push_back({{"from", AccountName(i)}});
    return {{{"say", "The report server is taken into use: every account is listed and gets its role"},
             {"settings", {{"enable", "Report server"}}},
             {"until", {{"rows", rows}, {"roles", size.accounts}}},
             {"limit", LongestRun}},
            {{"say", "The first department is taken out of the configuration"},
             {"configure", {{"path", "\\Configuration\\" + DepartmentName(0)}, {"remove", true}}},
             {"until", {{"rows", rows - std::uint64_t{gone} * size.containers}}},
             {"limit", LongestRun}},
            {{"say", "People ask for reports, all at once"}, {"requests", requests}}};
}

} // namespace

Json GenerateSite(const SiteSize& size)
{
    std::mt19937 random(size.seed);
    const std::uint32_t allContainers = 10 * size.containers;
    Json accounts = Json::array();
    accounts.push_back("domain LARGE = S-1-5-21-310-311-312");
    Json departments = Json::array();
    Json grants = Json::array();
    for (std::uint32_t i = 0; i < size.accounts; ++i) {
        accounts.push_back("user " + AccountName(i) + " = " + std::to_string(FirstRelativeId + i));
        if (i % AccountsPerDepartment == 0)
            departments.push_back({{"name", DepartmentName(i)}, {"attributes", {{"Accounts", Json::array()}}}});
        departments.back()["attributes"]["Accounts"].push_back(AccountName(i));
        std::set<std::string> containers;
        while (containers.size() < size.containers)
            containers.insert(ContainerId(static_cast<std::uint32_t>(random() % allContainers)));
        grants.push_back({{"account", AccountName(i)}, {"permission", "ViewReports"}, {"containers", containers}});
    }
    const Json entry{{"name", "Report server"},
                     {"attributes",
                      {{"Enabled", false},
                       {"ReportServerUrl", "http://198.51.100.20/ReportServer"},
                       {"ReportServerUserName", "LARGE\\svc-reports"},
                       {"ReportServerPassword", "none"}}}};
    return {{"site", "Large site: " + std::to_string(size.accounts) + " accounts"},
            {"moduleSettings", {{"Logger", {{"MaxSeverity", "WARN"}}}}},
            {"configuration", {{"name", "Configuration"}, {"children", departments}}},
            {"names",
             {{"databaseConnectionManager", "Reports.DatabaseConnections"},
              {"reportingSettingsManager", "Reports.Settings"}}},
            {"connectionSettings", Json::array({entry})},
            {"accounts", accounts},
            {"grants", grants},
            {"components", MakeComponents()},
            {"timeline", MakeTimeline(size)}};
}

} // namespace Host
