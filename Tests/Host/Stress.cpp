// Everything at once: many requests, while settings, permissions, failures of every kind and the configuration of every
// component change. After each round the table has to say what the sources vouch for. KESTRINE_STRESS_SECONDS makes
// the run longer.
#include "Host/Halvex/Registry.h"
#include "Host/Program/SiteHost.h"
#include "Interfaces/TrackerControl.h"
#include "Platform/Settings.h"
#include "Platform/Testing/TemporaryFolder.h"
#include "Platform/Text.h"
#include "Tests/Host/NodwellFixture.h"
#include "Tests/Support/Waiting.h"

#include <algorithm>
#include <array>
#include <cstdlib>
#include <random>
#include <set>

namespace
{

constexpr std::chrono::seconds RoundLength{1};
constexpr int LeastChanges = 50;
constexpr int MostChanges = 5000;
constexpr int Requesters = 32;
constexpr int Accounts = 40; // those that make no requests are named in the configuration
constexpr int Local = 40;    // an account of this computer
constexpr int Member = 41;   // has its permissions from a group
constexpr int FirstMarker = 42;
constexpr const wchar_t* Viewers[]{L"\\Configuration\\Viewers", L"\\Configuration\\Watchers"};
constexpr const wchar_t* RbacNodes[]{L"\\Configuration\\RBAC", L"\\Configuration\\OtherRBAC"};
constexpr const wchar_t* Permissions[]{L"ViewReports", L"ViewData"};

using Rows = std::set<std::pair<std::optional<std::wstring>, std::optional<std::wstring>>>;
using Containers = std::vector<std::wstring>; // empty: all

constexpr char SiteText[] =
#include "Tests/Host/StressSite.inl"
    ;

// Within it another round is begun.
std::chrono::seconds Length()
{
    const char* const longer = std::getenv("KESTRINE_STRESS_SECONDS");
    return std::chrono::seconds(longer ? std::atoi(longer) : 4);
}

std::wstring Name(int account)
{
    return account == Local ? L"HERE\\local" : L"D\\user" + std::to_wstring(account);
}
std::wstring Sid(int account)
{
    return account == Local ? L"S-1-5-21-9-9-9-1001" : L"S-1-5-21-1-2-3-" + std::to_wstring(2000 + account);
}
std::wstring Container(int number)
{
    return L"0C8E2B1A-5D3F-4E7A-9B61-2F4D8C7A1E0" + std::to_wstring(number % 5);
}

// What the account may view by itself: every third one everything, every fifth nothing.
std::optional<Containers> Granted(int account, int permission)
{
    const int number = account + permission;
    if (account == Member || (number % 5 == 0 && account < Accounts))
        return std::nullopt;
    return number % 3 == 0 ? Containers() : Containers{Container(number), Container(number + 1)};
}

Host::Site MakeSite()
{
    std::string text = SiteText;
    std::string users;
    for (int i = 0; i < FirstMarker + 2 * (Length() / RoundLength + 1); ++i)
        users += ", \"user D\\\\user" + std::to_string(i) + " = " + std::to_string(2000 + i) + '"';
    text.replace(text.find("@USERS@"), 7, users);
    return Host::ReadSite(text);
}

// Replaces an attribute; without value it is removed.
void Set(Host::NodeDescription& node, const wchar_t* name, const Host::AttributeValue& value)
{
    std::erase_if(node.attributes, [&](const Host::Attribute& each) { return each.name == name; });
    if (!std::holds_alternative<std::monostate>(value))
        node.attributes.push_back({name, value});
}

void AddRows(Rows& rows, int account, const std::optional<Containers>& granted)
{
    if (granted && granted->empty())
        rows.insert({Name(account), std::nullopt});
    for (const std::wstring& container : granted.value_or(Containers()))
        rows.insert({Name(account), container});
}

// What differs between configurations. Every component ignores the keys of the others.
struct Choice
{
    explicit Choice(std::mt19937& random)
        : seconds(std::array{0, 1, 5}[random() % 3]),
          keepLocal(random() % 2 == 0),
          groups(random() % 2 == 0),
          unlimited(random() % 4 == 0),
          permission(random() % 2 == 0),
          rbacNode(random() % 2 == 0),
          items(static_cast<unsigned>(1 + random() % 3))
    {}
    bool Watches(int item) const { return (items & (1U << item)) != 0; }

    std::int32_t seconds;
    bool keepLocal;
    bool groups;
    bool unlimited; // configured accounts need no permission
    int permission;
    int rbacNode;
    unsigned items; // a bit for each of the tracking items that are watched
};

std::optional<Containers> GrantedAsConfigured(int account, const Choice& choice)
{
    if (choice.unlimited)
        return Containers();
    if (account == Member && choice.groups)
        return Containers{Container(0)};
    return Granted(account, choice.permission);
}

Host::NodeDescription MakeConfig(const Host::SiteComponent& component, const Choice& choice)
{
    Host::NodeDescription config = component.config;
    for (const wchar_t* const interval :
         {L"UpdateIntervalS", L"RetryIntervalS", L"ForceUpdateIntervalS", L"ForceRefreshIntervalS"})
        Set(config, interval, choice.seconds);
    for (const wchar_t* const list : {L"RegisterAccessInfoSources", L"RegisterAccessInfoConsumers"})
        Set(config, list, {}); // they would be added again
    Set(config, L"DontFilterOutLocalAccounts", choice.keepLocal);
    Set(config, L"ResolveUserGroups", choice.groups);
    Set(config, L"RBACStatusNodePath", std::wstring(RbacNodes[choice.rbacNode]));
    const bool unlimited = choice.unlimited && component.name == L"Configured";
    Set(config, L"RequiredContainerPermission", std::wstring(unlimited ? L"" : Permissions[choice.permission]));
    for (const int item : {1, 0}) {
        if (!config.children.empty() && !choice.Watches(item))
            config.children[0].children.erase(config.children[0].children.begin() + item);
    }
    return config;
}

// A key that lets a configuration fail halfway; one of the tracker's last item where there are items.
struct Defect
{
    const wchar_t* component;
    const wchar_t* key;
    Host::AttributeValue value; // empty: the key is missing
    HRESULT result;
};

const Defect Defects[]{
    {L"Updater", L"DatabaseConnectionManager", {}, NotFound},
    {L"RBAC", L"RBACStatusNodePath", L"nowhere", E_INVALIDARG},
    {L"Requests", L"RequiredContainerPermission", {}, NotFound},
    {L"Configured", L"Attribute", {}, NotFound},
    {L"Updater", L"RegisterAccessInfoSources", Containers{L"Fixed", L"Nobody"}, NotFound},
    {L"Roles", L"RetryIntervalS", -1, E_INVALIDARG},
    {L"RBAC", L"RBACIsInUseAttribute", {}, NotFound},
    {L"Configured", L"NodePath", L"nowhere", E_INVALIDARG},
    {L"Updater", L"RegisterAccessInfoConsumers", Containers{L"Nobody"}, NotFound},
    {L"Updater", L"ReportingSettingsManager", L"Nobody", NotFound},
};

class Stress : public NodwellTest
{
protected:
    Stress()
    {
        Platform::SetVariable(L"GS_General_DataDirectoryPath", (folder.Path() / "").wstring().c_str());
        Platform::SetVariable(L"GS_Logger_MaxSeverity", L"WARN");
        Platform::SetVariable(L"KESTRINE_ACCOUNTS_FILE", accountsFile.wstring().c_str());
        Host::ReplaceFile(accountsFile, site.accounts);
        host.emplace(site, database, Host::SitePlaces{KESTRINE_MODULE, accountsFile});
        requests = Host::GetInstance<IRequestService>(L"Requests");
        for (const wchar_t* const permission : Permissions)
            host->Permissions().Add({L"S-1-5-21-1-2-3-1003", permission, {Container(0)}});
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

    void SetViewers(int item, std::vector<std::wstring> texts)
    {
        host->ConfigServer().SetAttributes(Viewers[item], {{L"Accounts", std::move(texts)}}, false);
    }

    void Grant(int account)
    {
        host->Permissions().Revoke(Sid(account), {});
        for (const int permission : {0, 1}) {
            if (const auto containers = Granted(account, permission))
                host->Permissions().Add({Sid(account), Permissions[permission], *containers});
        }
    }

    HRESULT Configure(const std::wstring& name, const Choice& choice, const Defect* defect = nullptr)
    {
        const auto component = std::find_if(site.components.begin(), site.components.end(),
                                            [&](const Host::SiteComponent& each) { return each.name == name; });
        Host::NodeDescription config = MakeConfig(*component, choice);
        if (defect)
            Set(config.children.empty() ? config : config.children[0].children.back(), defect->key, defect->value);
        return Host::GetInstance<IConfigurableComponent>(name)->Configure(Host::BuildNode(config).Get());
    }

    // From this half of the defects on, that half at least.
    void Reconfigure(std::size_t half, unsigned seed, const std::stop_token& stop)
    {
        std::mt19937 random(seed);
        constexpr std::size_t least = std::size(Defects) / 2;
        for (std::size_t i = 0; i < least || !stop.stop_requested(); ++i) {
            const Defect& defect = Defects[(half * least + i) % std::size(Defects)];
            EXPECT_EQ(Configure(defect.component, Choice(random)), S_OK) << defect.component;
            EXPECT_EQ(Configure(defect.component, Choice(random), &defect), defect.result) << defect.key;
        }
    }

    // One change of one kind.
    void Disturb(std::mt19937& random)
    {
        const auto below = [&](int limit) { return static_cast<int>(random() % static_cast<unsigned>(limit)); };
        const int account = below(Accounts);
        switch (below(13)) {
        case 0:
            host->EnableSettings(below(3) ? (below(2) ? L"local" : L"remote") : L"");
            break;
        case 1:
            SetViewers(below(2),
                       {Name(below(Accounts)), L"win:sid=" + Sid(account), L"D\\nobody", Name(Local), Name(Member)});
            break;
        case 2:
            host->ConfigServer().SetAttributes(RbacNodes[below(2)], {{L"IsInUse", below(2) == 0}}, false);
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
            host->Database().SetOutOfOrder(below(2) == 0);
            host->Database().FailAtStatement(static_cast<std::uint64_t>(below(4)));
            break;
        case 10:
            host->Tokens().Expire({});
            break;
        case 11:
            Host::GetInstance<ITrackerControl>(L"Configured")->Stop();
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
        host->Database().SetOutOfOrder(false);
        host->Database().FailAtStatement(0);
    }

    // Threads that ask and configure, and this one that disturbs.
    void Storm(unsigned seed)
    {
        std::vector<std::jthread> threads;
        for (int i = 0; i < Requesters; ++i) {
            threads.emplace_back([&, i](const std::stop_token& stop) {
                for (int round = 0; !stop.stop_requested(); ++round)
                    ++(Request(i, round % 8 == i % 8) == S_OK ? served : refused);
            });
        }
        for (const unsigned half : {0U, 1U})
            threads.emplace_back([&, half](const std::stop_token& stop) { Reconfigure(half, seed + half, stop); });
        std::mt19937 random(seed);
        const auto end = std::chrono::steady_clock::now() + RoundLength;
        const auto goesOn = [&](int changes) {
            const bool hasShownAll = changes >= LeastChanges && served > 0 && refused > 0;
            return changes < MostChanges && (!hasShownAll || std::chrono::steady_clock::now() < end);
        };
        for (int i = 0; goesOn(i); ++i) {
            Disturb(random);
            const int handled = served + refused;
            EXPECT_TRUE(Eventually([&] { return served + refused > handled; }));
        }
        for (std::jthread& thread : threads)
            thread.request_stop();
    }

    // A good configuration of each component, each followed by one that fails and must not count.
    std::map<std::wstring, Choice> ConfigureForGood(std::mt19937& random)
    {
        std::map<std::wstring, Choice> inForce;
        for (const Defect& defect : Defects) {
            const Choice choice(random);
            EXPECT_EQ(Configure(defect.component, choice), S_OK);
            // What the updater has read before it fails is in force.
            const Choice failing = defect.component == std::wstring(L"Updater") ? choice : Choice(random);
            EXPECT_EQ(Configure(defect.component, failing, &defect), defect.result);
            inForce.insert_or_assign(defect.component, choice);
        }
        return inForce;
    }

    // Brings everything to a known state and returns the rows that follow from it.
    Rows Settle(int round, std::mt19937& random)
    {
        Recover();
        // Once instead of once more for each configuration that has failed behind it.
        const auto updater = Host::GetInstance<IAccessInfoUpdater>(L"Updater");
        const auto fixed = Host::GetInstance<IAccessInfoSource>(L"Fixed");
        EXPECT_EQ(updater->UnregisterAccessInfoSource(fixed.Get()), S_OK);
        EXPECT_EQ(updater->RegisterAccessInfoSource(fixed.Get()), S_OK);
        for (int i = 0; i < FirstMarker + 2 * (round + 1); ++i)
            Grant(i);
        const int nodeInUse = random() % 2 == 0;
        for (const int node : {0, 1})
            host->ConfigServer().SetAttributes(RbacNodes[node], {{L"IsInUse", node == nodeInUse}}, false);
        std::vector<Host::NodeDescription> entries = site.connectionSettings;
        Set(entries[0], L"ReportServerUrl", ReportServer(round));
        host->ReplaceSettings(entries);
        const std::map<std::wstring, Choice> choices = ConfigureForGood(random);
        const Choice& tracker = choices.at(L"Configured");

        Rows rows{{L"D\\fixed", std::nullopt}};
        if (choices.at(L"RBAC").rbacNode != nodeInUse)
            rows.insert({std::nullopt, std::nullopt});
        for (int i = 0; i < Requesters; ++i)
            AddRows(rows, i, Granted(i, choices.at(L"Requests").permission));
        std::vector<std::wstring> viewers[2]{{Name(Local), Name(Member)}, {Name(Local), Name(Member)}};
        if (choices.at(L"Updater").keepLocal)
            AddRows(rows, Local, GrantedAsConfigured(Local, tracker));
        AddRows(rows, Member, GrantedAsConfigured(Member, tracker));
        for (int i = Requesters; i < Accounts; ++i) {
            viewers[i % 2].push_back(Name(i));
            if (tracker.Watches(i % 2))
                AddRows(rows, i, GrantedAsConfigured(i, tracker));
        }
        for (const int item : {0, 1})
            SetViewers(item, viewers[item]);
        host->WaitUntilDelivered();
        EXPECT_EQ(host->ConfigServer().LiveSubscriptions(), tracker.items == 3 ? 3U : 2U); // those in force
        for (int i = 0; i < Requesters; ++i)
            EXPECT_EQ(Request(i, true), S_OK) << i;

        for (const int marker : {FirstMarker + 2 * round, FirstMarker + 2 * round + 1}) {
            for (const int item : {0, 1}) {
                viewers[item].push_back(Name(marker));
                SetViewers(item, viewers[item]);
            }
            AddRows(rows, marker, GrantedAsConfigured(marker, tracker));
            WaitForRow(marker);
        }
        return rows;
    }

    // The tracker's runs come one after the other: with a second new account in the table, the run that has found the
    // first one, and everything before it, is over.
    void WaitForRow(int account)
    {
        const auto isListed = [&](const auto& row) { return row.first == Name(account); };
        EXPECT_TRUE(Eventually([&] {
            const Rows rows = ReadRows();
            return std::any_of(rows.begin(), rows.end(), isListed);
        })) << account;
    }

    static std::wstring ReportServer(int round) { return L"http://198.51.100.20/" + std::to_wstring(round) + L"/"; }

    // As a set: a right that two sources vouch for at once has two rows.
    Rows ReadRows() const
    {
        Rows rows;
        for (const Host::AccessRight& each : database->Rows())
            rows.emplace(each.loginName, each.managedObjectUId);
        return rows;
    }

    // A report server that nobody has had a role on before.
    bool AreGranted(const Rows& rows, int round) const
    {
        std::set<std::optional<std::wstring>> granted{std::nullopt};
        for (const Host::ReportServerRole& role : database->Roles()) {
            if (role.reportServer == ReportServer(round))
                granted.insert(role.account);
        }
        return std::all_of(rows.begin(), rows.end(), [&](const auto& row) { return granted.contains(row.first); });
    }

    const TemporaryFolder folder;
    const std::filesystem::path accountsFile = folder.Path() / "accounts";
    const Host::Site site = MakeSite();
    const ComponentPtr<Host::ReportingDatabase> database =
        Host::MakeComponent<Host::ReportingDatabase>(folder.Path() / "reporting.db");
    std::optional<Host::SiteHost> host;
    ComponentPtr<IRequestService> requests;
    std::atomic<int> served{0};
    std::atomic<int> refused{0};
};

} // namespace

TEST_F(Stress, LeavesWhatTheSourcesVouchFor)
{
    std::mt19937 random(4);
    const auto end = std::chrono::steady_clock::now() + Length();
    for (int round = 0; round == 0 || std::chrono::steady_clock::now() < end; ++round) {
        SCOPED_TRACE(round);
        Storm(static_cast<unsigned>(random()));
        const Rows rows = Settle(round, random);
        EXPECT_EQ(ReadRows(), rows);
        EXPECT_TRUE(Eventually([&] { return AreGranted(rows, round); }));
    }

    EXPECT_GT(served, 0);
    EXPECT_GT(refused, 0);

    requests.Reset();
    host->ReleaseComponents();
    EXPECT_FALSE(host->Module().IsLocked());
    EXPECT_EQ(host->ConfigServer().LiveSubscriptions(), 0U);
    host.reset();
    EXPECT_EQ(HalvexInstanceCount(), 0U);
}
