// Everything at once: many requests, while settings, configuration, permissions and failures of every kind change.
// Afterwards the table has to say what the sources vouch for. KESTRINE_STRESS_SECONDS makes the run longer.
#include "Host/Components/RequestContexts.h"
#include "Host/Halvex/Registry.h"
#include "Host/Program/SiteHost.h"
#include "Interfaces/TrackerControl.h"
#include "Platform/Testing/TemporaryFolder.h"
#include "Platform/Text.h"
#include "Tests/Host/NodwellFixture.h"
#include "Tests/Support/Waiting.h"

#include <algorithm>
#include <cstdlib>
#include <random>
#include <set>

namespace
{

constexpr int Requesters = 32;
constexpr int Accounts = 40; // those that make no requests are named in the configuration
constexpr wchar_t Viewers[] = L"\\Configuration\\Viewers";
constexpr wchar_t Permission[] = L"ViewReports";

constexpr char SiteText[] =
#include "Tests/Host/StressSite.inl"
    ;

std::wstring Name(int account)
{
    return L"D\\user" + std::to_wstring(account);
}
std::wstring Sid(int account)
{
    return L"S-1-5-21-1-2-3-" + std::to_wstring(2000 + account);
}
std::wstring Container(int number)
{
    return L"0C8E2B1A-5D3F-4E7A-9B61-2F4D8C7A1E0" + std::to_wstring(number % 5);
}

Host::Site MakeSite()
{
    std::string text = SiteText;
    std::string users;
    for (int i = 0; i < Accounts; ++i)
        users += ", \"D\\\\user" + std::to_string(i) + "\": " + std::to_string(2000 + i);
    text.replace(text.find("@USERS@"), 7, users);
    return Host::ReadSite(text);
}

class Stress : public NodwellTest
{
protected:
    Stress()
    {
        SetEnvironmentVariableW(L"GS_General_DataDirectoryPath", (folder.Path() / "").wstring().c_str());
        SetEnvironmentVariableW(L"GS_Logger_MaxSeverity", L"WARN");
        SetEnvironmentVariableW(L"KESTRINE_ACCOUNTS_FILE", accountsFile.wstring().c_str());
        Host::WriteAccounts(site.accounts, accountsFile);
        host.emplace(site, database, Host::SitePlaces{KESTRINE_MODULE, accountsFile});
        requests = Host::GetInstance<IRequestService>(L"Requests");
    }

    HRESULT Request(int account, bool wait)
    {
        const std::vector<std::wstring> services{Sid((account + 1) % Accounts)};
        const Host::RequestScope scope(
            host->Tokens().MakeRequestToken(Sid(account), account % 3 ? std::vector<std::wstring>() : services));
        const NodeHandle node = Host::CreateNode(L"request", nullptr);
        Host::SetAttribute(node.Get(), L"WaitForSync", wait);
        NodeHandle response;
        return requests->ProcessRequest(node.Get(), response.Out());
    }

    void SetViewers(std::vector<std::wstring> texts)
    {
        host->ConfigServer().SetAttributes(Viewers, {{L"Accounts", std::move(texts)}}, false);
    }

    // Every third account may view everything, every fifth nothing.
    std::vector<std::wstring> Grant(int account)
    {
        std::vector<std::wstring> containers;
        if (account % 3 != 0)
            containers = {Container(account), Container(account + 1)};
        host->Permissions().Revoke(Sid(account), {});
        if (account % 5 != 0)
            host->Permissions().Add({Sid(account), Permission, containers});
        return containers;
    }

    HRESULT Configure(const wchar_t* name)
    {
        const auto component = std::find_if(site.components.begin(), site.components.end(),
                                            [&](const Host::SiteComponent& each) { return each.name == name; });
        return Host::GetInstance<IConfigurableComponent>(name)->Configure(Host::BuildNode(component->config).Get());
    }

    // One change of one kind.
    void Disturb(std::mt19937& random)
    {
        const auto below = [&](int limit) { return static_cast<int>(random() % static_cast<unsigned>(limit)); };
        const int account = below(Accounts);
        switch (below(14)) {
        case 0:
            host->EnableSettings(below(3) ? (below(2) ? L"local" : L"remote") : L"");
            break;
        case 1:
            SetViewers({Name(below(Accounts)), L"win:sid=" + Sid(account), L"D\\nobody", L".\\console"});
            break;
        case 2:
            host->ConfigServer().SetAttributes(L"\\Configuration\\RBAC", {{L"IsInUse", below(2) == 0}}, false);
            break;
        case 3:
            host->Permissions().Revoke(Sid(account), {});
            break;
        case 4:
            Grant(account);
            break;
        case 5:
            host->Permissions().Faults().Fail(below(4) ? Sid(account) : L"", {L"checker"});
            break;
        case 6:
            host->Tokens().Faults().Fail(Sid(account), {L"tokens"});
            break;
        case 7:
            host->Gate().Faults().Fail(below(4) ? Name(account) : L"",
                                       {L"gate", static_cast<Host::FaultForm>(below(3))});
            break;
        case 8:
            host->Source(L"Fixed").Faults().Fail(L"", {L"source"});
            break;
        case 9:
            host->Connections().SetOutOfOrder(below(2) == 0);
            host->Connections().FailAtStatement(static_cast<std::uint64_t>(below(4)));
            break;
        case 10:
            host->Tokens().Expire({});
            break;
        case 11:
            Host::GetInstance<ITrackerControl>(L"Configured")->Stop();
            break;
        case 12:
            EXPECT_EQ(Configure(below(2) ? L"Configured" : L"Roles"), S_OK);
            break;
        default:
            Recover();
        }
    }

    void Recover()
    {
        for (Host::FaultPlan* const faults : {&host->Permissions().Faults(), &host->Tokens().Faults(),
                                              &host->Gate().Faults(), &host->Source(L"Fixed").Faults()})
            faults->Recover(L"");
        host->Connections().SetOutOfOrder(false);
        host->Connections().FailAtStatement(0);
    }

    // Brings everything to a known state and returns the rows that follow from it.
    std::set<Host::AccessRight> Settle()
    {
        Recover();
        host->EnableSettings(L"remote");
        host->ConfigServer().SetAttributes(L"\\Configuration\\RBAC", {{L"IsInUse", true}}, false);
        std::set<Host::AccessRight> rows{{L"D\\fixed", std::nullopt}};
        std::vector<std::wstring> viewers{L".\\console"}; // local: not listed while the report server is elsewhere
        for (int i = 0; i < Accounts; ++i) {
            const std::vector<std::wstring> containers = Grant(i);
            if (i >= Requesters)
                viewers.push_back(Name(i));
            if (i % 5 == 0)
                continue;
            if (containers.empty())
                rows.insert({Name(i), std::nullopt});
            for (const std::wstring& container : containers)
                rows.insert({Name(i), container});
        }
        EXPECT_EQ(Configure(L"Configured"), S_OK);
        SetViewers(viewers);
        host->WaitUntilDelivered();
        for (int i = 0; i < Requesters; ++i)
            EXPECT_EQ(Request(i, true), S_OK) << i;
        return rows;
    }

    const TemporaryFolder folder;
    const std::filesystem::path accountsFile = folder.Path() / "accounts";
    const Host::Site site = MakeSite();
    const std::shared_ptr<Host::ReportingDatabase> database =
        std::make_shared<Host::ReportingDatabase>(folder.Path() / "reporting.db");
    std::optional<Host::SiteHost> host;
    ComponentPtr<IRequestService> requests;
};

} // namespace

TEST_F(Stress, LeavesWhatTheSourcesVouchFor)
{
    const char* const longer = std::getenv("KESTRINE_STRESS_SECONDS");
    const auto end = std::chrono::steady_clock::now() + std::chrono::seconds(longer ? std::atoi(longer) : 3);
    std::atomic<int> served{0};
    std::atomic<int> refused{0};
    {
        std::vector<std::jthread> threads;
        for (int i = 0; i < Requesters; ++i) {
            threads.emplace_back([&, i] {
                for (int round = 0; std::chrono::steady_clock::now() < end; ++round)
                    ++(Request(i, round % 8 == i % 8) == S_OK ? served : refused);
            });
        }
        std::mt19937 random(1);
        while (std::chrono::steady_clock::now() < end) {
            Disturb(random);
            const int handled = served + refused;
            Eventually([&] { return served + refused > handled || std::chrono::steady_clock::now() >= end; });
        }
    }
    EXPECT_GT(served, Requesters);
    EXPECT_GT(refused, 0);

    // As a set: a right that two sources vouch for at once has two rows.
    const std::set<Host::AccessRight> expected = Settle();
    const auto rows = [&] {
        const std::vector<Host::AccessRight> all = database->Rows();
        return std::set<Host::AccessRight>(all.begin(), all.end());
    };
    EXPECT_TRUE(Eventually([&] { return rows() == expected; }));
    std::set<std::wstring> accounts;
    for (const Host::AccessRight& row : expected)
        accounts.insert(*row.loginName);
    const auto granted = [&] {
        std::set<std::wstring> names;
        for (const Host::ReportServerRole& role : database->Roles())
            names.insert(role.account);
        return std::includes(names.begin(), names.end(), accounts.begin(), accounts.end());
    };
    EXPECT_TRUE(Eventually(granted));

    requests.Reset();
    host->ReleaseComponents();
    EXPECT_FALSE(host->Module().IsLocked());
    EXPECT_EQ(host->ConfigServer().LiveSubscriptions(), 0U);
    host.reset();
    EXPECT_EQ(HalvexInstanceCount(), 0U);
}
