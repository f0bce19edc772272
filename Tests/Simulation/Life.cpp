#include "Tests/Simulation/Life.h"

#include "Common/Components/ComponentObject.h"
#include "Common/ErrorHandling/MessageModules.h"
#include "Host/Halvex/Registry.h"
#include "Host/Nodwell/TestControls.h"
#include "Interfaces/ConfigurableComponent.h"
#include "Interfaces/Halvex.h"
#include "Interfaces/TrackerControl.h"
#include "Platform/Settings.h"
#include "Platform/Text.h"
#include "Subsystems/ManagementService/Kestrine/ConfiguredAccountsTracker.h"
#include "Subsystems/ManagementService/Kestrine/PrepareReportAccessService.h"
#include "Subsystems/ManagementService/Kestrine/RBACUsageTracker.h"
#include "Subsystems/ManagementService/Kestrine/ReportAccessHelpers.h"
#include "Subsystems/ManagementService/Kestrine/ReportAccessInfoUpdater.h"
#include "Subsystems/ManagementService/Kestrine/SSRSRolesUpdater.h"
#include "Tests/Simulation/World.h"

#include <bit>

namespace Simulation
{

namespace
{

using namespace std::chrono_literals;

enum Part
{
    Updater,
    Rbac,
    Requests,
    Tracker,
    Roles,
    Parts
};

constexpr const wchar_t* PartNames[]{L"Updater", L"RBAC", L"Requests", L"Configured", L"Roles"};
constexpr ComponentCreator Creators[]{
    &CComponentObject<CReportAccessInfoUpdater>::Create, &CComponentObject<CRBACUsageTracker>::Create,
    &CComponentObject<CPrepareReportAccessService>::Create, &CComponentObject<CConfiguredAccountsTracker>::Create,
    &CComponentObject<CSSRSRolesUpdater>::Create};
constexpr int Actors = 3;
constexpr std::int32_t Long = 3000;       // an interval that does not pass while changes are to show
constexpr nanoseconds EffectLimit = 150s; // what delays, and the 30 s of a replaced tracker, can add up to

// A key with a value that lets a configuration fail halfway; of the tracker's last item where there are items.
struct Defect
{
    Part part;
    const wchar_t* key;
};

constexpr Defect Defects[]{
    {Updater, L"DatabaseConnectionManager"},
    {Updater, L"RegisterAccessInfoSources"},
    {Updater, L"ReportingSettingsManager"},
    {Rbac, L"RBACStatusNodePath"},
    {Requests, L"ExpirationTimeoutS"},
    {Tracker, L"NodePath"},
    {Roles, L"RetryIntervalS"},
};

template <class I>
ComponentPtr<I> Find(const wchar_t* name)
{
    ComponentPtr<I> found;
    HxGetNamedInstance(name, 0, I::Iid, found.OutVoid());
    return found;
}

// Fails the life for every error that nobody has made.
class ErrorWatch : public ILogger
{
public:
    void Write(const wchar_t* text, int length) noexcept override
    {
        const std::string line = Text::ToUtf8({text, static_cast<std::size_t>(length)});
        Print(line);
        if (!strict || line.find("| ERR ") == std::string::npos)
            return;
        for (const char* const code : {"0x8004F001", "0x80004004"}) { // injected; given up
            if (line.find(code) != std::string::npos)
                return;
        }
        Fail("an error that nobody has made: " + line);
    }

    bool strict = false;
};

ErrorWatch errors;

class Life
{
public:
    explicit Life(Outcome& outcome) : m_outcome(outcome) {}
    void Run();

private:
    // What the administrator does, on the life's first thread.
    void Start();
    void Create(Part part);
    void Configure(Part part, const Choice& choice, const Defect* defect = nullptr);
    KelNodePtr MakeConfig(Part part, const Choice& choice) const;
    Choice MakeChoice() const;
    Choice& InForce(Part part);
    void Recreate(Part part);
    void Administrate();
    void Storm(bool toTheEnd);
    void Settle();
    void Burst();
    void AwaitEffect();
    void Unload();
    void CheckLeftovers();

    // What the others do, on their own threads.
    void Act(int actor, int actions, bool promptly);
    void ActOnce(int actor, bool promptly);
    void Request(int account, bool promptly);
    void ChangeSettings(bool enabled);
    void ChangeSource(int actor);
    void Disturb();

    void StartActors(int actions, bool promptly);
    void JoinActors();

    Outcome& m_outcome;
    World m_world;
    ComponentPtr<IConfigurableComponent> m_components[Parts];
    bool m_configured[Parts]{};
    bool m_first = true; // the updater's sources and consumers are still to be named
    bool m_long = false; // intervals
    std::vector<std::unique_ptr<Platform::WorkerThread>> m_actors;
};

void SetAccounts(const wchar_t* file)
{
    Platform::SetVariable(L"KESTRINE_ACCOUNTS_FILE", (Text::FromUtf8(SIMULATION_FOLDER) + file).c_str());
}

void Life::Create(Part part)
{
    Creators[part](IConfigurableComponent::Iid, m_components[part].OutVoid());
    HalvexRegisterInstance(PartNames[part], m_components[part].Get());
    m_configured[part] = false;
}

Choice Life::MakeChoice() const
{
    Random& dice = Dice();
    return {dice.OneIn(2), dice.Below(2), dice.Below(2), dice.OneIn(4), dice.OneIn(2), 1 + dice.Below(3)};
}

Choice& Life::InForce(Part part)
{
    static Choice roles;
    Choice* const choices[]{&m_world.updater, &m_world.rbac, &m_world.requests, &m_world.tracker, &roles};
    return *choices[part];
}

KelNodePtr Life::MakeConfig(Part part, const Choice& choice) const
{
    const KelNodePtr config = CreateKelNode(PartNames[part], nullptr);
    const auto setSeconds = [&](const wchar_t* key, std::int32_t a, std::int32_t b) {
        config.SetInt32(key, m_long ? Long : Dice().OneIn(2) ? a : b);
    };
    setSeconds(L"UpdateIntervalS", 100, 300);
    setSeconds(L"RetryIntervalS", 60, 120);
    setSeconds(L"ForceUpdateIntervalS", 600, 0);
    setSeconds(L"ForceRefreshIntervalS", 100, 300);
    setSeconds(L"ExpirationTimeoutS", 200, 600);
    config.SetString(L"DatabaseConnectionManager", L"Database");
    config.SetString(L"ReportingSettingsManager", L"Settings");
    config.SetString(L"ReportAccessInfoUpdater", L"Updater");
    config.SetString(L"RBACStatusNodePath", L"\\RBAC" + std::to_wstring(choice.rbacNode));
    config.SetString(L"RBACIsInUseAttribute", L"IsInUse");
    const bool unlimited = part == Tracker && choice.unlimited;
    config.SetString(L"RequiredContainerPermission", unlimited ? L"" : Permissions[choice.permission]);
    config.SetBool(L"DontFilterOutLocalAccounts", choice.keepLocal);
    config.SetBool(L"ResolveUserGroups", choice.groups);
    if (part == Updater && m_first) {
        config.SetStringList(L"RegisterAccessInfoSources", {L"Source", L"RBAC", L"Requests", L"Configured"});
        config.SetStringList(L"RegisterAccessInfoConsumers", {L"Roles"});
    }
    const KelNodePtr items = CreateKelNode(L"TrackingItems", nullptr);
    config.AddChild(items);
    for (int i = 0; i < 2; ++i) {
        if (!(choice.items & (1 << i)))
            continue;
        const KelNodePtr item = CreateKelNode(nullptr, L"TrackingItem");
        item.SetString(L"NodePath", L"\\Viewers" + std::to_wstring(i));
        item.SetString(L"Attribute", L"Accounts");
        items.AddChild(item);
    }
    return config;
}

void Life::Configure(Part part, const Choice& choice, const Defect* defect)
{
    Note("configures " + std::to_string(part) + (defect ? " badly" : ""));
    const KelNodePtr config = MakeConfig(part, choice);
    if (defect) {
        const KelNodePtr items = config.GetChildByName(L"TrackingItems", true);
        const KelNodePtr last = items.GetChildByIndex(items.GetChildCount() - 1, true);
        (part == Tracker ? last : config).SetString(defect->key, L"-");
    }
    const int injected = m_world.injected;
    const HRESULT hr = m_components[part]->Configure(config.Get());
    if (hr < 0 && !defect && m_world.injected == injected)
        Fail("a good configuration was refused");
    if (hr >= 0 && defect)
        Fail("a bad configuration was taken");
    // What the updater has read before it fails is in force.
    if (hr >= 0 || part == Updater)
        InForce(part) = choice;
    m_configured[part] = m_configured[part] || hr >= 0;
    if (part == Updater && hr >= 0)
        m_first = false;
}

void Life::Start()
{
    const std::pair<const wchar_t*, IComponentBase*> instances[]{
        {L"ConfigServer.Proxy", m_world.configServer},
        {L"Settings", m_world.settingsManager},
        {L"Security.PermissionsChecker", m_world.checker},
        {L"Security.AuthTokenMgr", m_world.tokens},
        {L"Core.RequestContextMgr", static_cast<IRequestContextMgr*>(m_world.contexts)},
        {L"Core.ServiceClient", static_cast<IServiceClient*>(m_world.gate)},
        {L"Database", m_world.database},
        {L"Source", m_world.sources[0]}};
    for (const auto& [name, component] : instances)
        HalvexRegisterInstance(name, component);
    for (int part = 0; part < Parts; ++part)
        Create(static_cast<Part>(part));
    m_world.sources[0]->registrations = 1;
    for (int i = 0, first = Dice().Below(Parts); i < Parts; ++i)
        Configure(static_cast<Part>((first + i) % Parts), MakeChoice());
}

// Another object takes the place of a source.
void Life::Recreate(Part part)
{
    Note("recreates " + std::to_string(part));
    const auto updater = Find<IAccessInfoUpdater>(L"Updater");
    updater->UnregisterAccessInfoSource(Find<IAccessInfoSource>(PartNames[part]).Get());
    HalvexUnregisterInstance(PartNames[part]);
    m_components[part].Reset();
    Create(part);
    const auto source = Find<IAccessInfoSource>(PartNames[part]);
    if (Dice().OneIn(2)) {
        Configure(part, MakeChoice());
        updater->RegisterAccessInfoSource(source.Get());
    } else {
        updater->RegisterAccessInfoSource(source.Get());
        Configure(part, MakeChoice());
    }
}

void Life::Administrate()
{
    ++m_outcome.actions;
    switch (Dice().Below(8)) {
    case 0:
        if (const auto control = Find<ITrackerControl>(L"Configured"))
            control->Stop();
        m_configured[Tracker] = false;
        break;
    case 1:
        Recreate(static_cast<Part>(Rbac + Dice().Below(3)));
        break;
    case 2: {
        const Defect& defect = Defects[Dice().Below(std::ssize(Defects))];
        errors.strict = false;
        Configure(defect.part, MakeChoice(), &defect);
        break;
    }
    case 3:
        SleepFor(milliseconds(Dice().Below(100'000)));
        break;
    default:
        Configure(static_cast<Part>(Dice().Below(Parts)), MakeChoice());
    }
}

void Life::StartActors(int actions, bool promptly)
{
    for (int i = 0; i < Actors; ++i)
        m_actors.push_back(
            std::make_unique<Platform::WorkerThread>([this, i, actions, promptly] { Act(i, actions, promptly); }));
}

void Life::JoinActors()
{
    for (const auto& actor : m_actors)
        actor->Join();
    m_actors.clear();
}

void Life::Act(int actor, int actions, bool promptly)
{
    NameThread("actor");
    for (int i = 0; i < actions; ++i)
        ActOnce(actor, promptly);
}

// Promptly: what is to show in the table before long.
void Life::ActOnce(int actor, bool promptly)
{
    Random& dice = Dice();
    ++m_outcome.actions;
    switch (dice.Below(promptly ? 8 : 11)) {
    case 0: {
        const auto node = static_cast<std::size_t>(dice.Below(2));
        m_world.rbacInUse[node] = dice.OneIn(2);
        Note("changes rbac");
        m_world.configServer->Notify(L"\\RBAC" + std::to_wstring(node));
        break;
    }
    case 1: {
        const auto node = static_cast<std::size_t>(dice.Below(2));
        auto& viewers = m_world.viewers[node];
        const int account = Requesters + dice.Below(Accounts - Requesters);
        if (viewers.erase(account) == 0)
            viewers.insert(account);
        Note("changes viewers");
        m_world.configServer->Notify(L"\\Viewers" + std::to_wstring(node));
        break;
    }
    case 2:
        ChangeSettings(promptly || !dice.OneIn(4));
        break;
    case 3:
        ChangeSource(actor);
        break;
    case 4:
        SleepFor(milliseconds(dice.Below(promptly ? 1000 : 100'000)));
        break;
    case 8:
    case 9:
        Disturb();
        break;
    default: {
        const int account = actor + Actors * dice.Below(Requesters / Actors);
        if (dice.OneIn(2)) {
            auto& grant = m_world.grants[static_cast<std::size_t>(account)];
            grant[0].swap(grant[1]);
        }
        Request(account, promptly);
    }
    }
}

void Life::Request(int account, bool promptly)
{
    Note("requests " + std::to_string(account));
    const auto service = Find<IRequestService>(L"Requests");
    if (!service)
        return;
    KelNodePtr token = CreateKelNode(L"OnBehalfOfClient", L"AuthToken");
    token.SetString(L"SubjectId", L"win:sid=" + Sid(account));
    token.SetString(L"SubjectDisplayName", Name(account));
    if (Dice().OneIn(2)) {
        const KelNodePtr portal = CreateKelNode(L"AuthToken", L"AuthToken");
        portal.SetString(L"SubjectId", L"win:sid=" + Sid(0));
        portal.AddChild(token);
        token = portal;
    }
    const KelNodePtr request = CreateKelNode(L"request", nullptr);
    const bool wait = Dice().OneIn(3);
    request.SetBool(L"WaitForSync", wait);
    Contexts::t_token = &token;
    KelNodePtr response;
    const HRESULT hr = service->ProcessRequest(request.Get(), response.Out());
    Contexts::t_token = nullptr;
    if (!promptly)
        return;
    if (hr < 0)
        Fail("a request was refused");
    m_world.clients.insert(account);
    const Grant& grant =
        m_world.grants[static_cast<std::size_t>(account)][static_cast<std::size_t>(m_world.requests.permission)];
    const bool shown = std::any_of(m_world.database->table.begin(), m_world.database->table.end(),
                                   [&](const Row& row) { return row.first == Name(account); });
    if (wait && grant && !shown && !IsLocal(account))
        Fail("who has waited is not in the table");
}

void Life::ChangeSettings(bool enabled)
{
    ++m_world.settingsSerial;
    m_world.settingsEnabled = enabled;
    m_world.settingsLocal = Dice().OneIn(2);
    Note("changes settings");
    m_world.settingsManager->Notify();
}

void Life::ChangeSource(int actor)
{
    const auto updater = Find<IAccessInfoUpdater>(L"Updater");
    if (!updater)
        return;
    Source* const source = m_world.sources[actor == 0];
    if (actor == 0 && Dice().OneIn(2)) {
        Note("registers or unregisters");
        if (source->registrations == 0 || Dice().OneIn(4)) {
            updater->RegisterAccessInfoSource(source);
            ++source->registrations;
        } else {
            updater->UnregisterAccessInfoSource(source);
            source->registrations = 0;
        }
    } else {
        Note("changes a source");
        const int account = Dice().Below(Accounts);
        if (source->accounts.erase(account) == 0)
            source->accounts.insert(account);
    }
    updater->UpdateAccessInfo(source, Dice().OneIn(3));
}

void Life::Disturb()
{
    Random& dice = Dice();
    const auto account = static_cast<std::size_t>(Requesters + dice.Below(Accounts - Requesters));
    switch (dice.Below(4)) {
    case 0:
        ++m_world.tokenEpoch;
        break;
    case 1:
        SetAccounts(dice.OneIn(2) ? L"accounts-changed.txt" : dice.OneIn(2) ? L"accounts.txt" : L"none");
        break;
    case 2:
        m_world.grants[account][0].swap(m_world.grants[account][1]);
        break;
    default:
        m_world.outages[static_cast<std::size_t>(dice.Below(static_cast<int>(Service::Count)))] =
            Now() + milliseconds(dice.Below(60'000));
    }
}

void Life::Storm(bool toTheEnd)
{
    m_world.calm = false;
    const int actions = 5 + Dice().Below(25);
    StartActors(actions, false);
    for (int i = Dice().Below(actions); i > 0; --i)
        Administrate();
    if (!toTheEnd)
        JoinActors();
}

// Without further failures, everything is in line when all that is old has expired.
void Life::Settle()
{
    Note("settles");
    m_world.Heal();
    SetCalm(true);
    SetAccounts(L"accounts.txt");
    ChangeSettings(true);
    for (int part = 0; part < Parts; ++part) {
        if (!m_configured[part])
            Configure(static_cast<Part>(part), MakeChoice());
    }
    SleepFor(1200s);
    m_world.clients.clear();
    errors.strict = true;
    AwaitEffect();
    m_long = true;
    for (int i = 0, first = Dice().Below(Parts); i < Parts; ++i)
        Configure(static_cast<Part>((first + i) % Parts), MakeChoice());
    AwaitEffect();
}

// Several changes at once, which must show without the help of an interval.
void Life::Burst()
{
    Note("burst");
    StartActors(1 + Dice().Below(4), true);
    if (Dice().OneIn(3)) {
        const auto part = static_cast<Part>(Dice().Below(Parts));
        Choice choice = MakeChoice();
        if (part == Requests)
            choice.permission = m_world.requests.permission; // otherwise who has asked would depend on the order
        SleepFor(milliseconds(Dice().Below(3000)));
        Configure(part, choice);
    }
    JoinActors();
    AwaitEffect();
}

void Life::AwaitEffect()
{
    const nanoseconds begin = Now();
    nanoseconds step = 1ms;
    while (!m_world.IsInLine() || !m_world.WithoutRole().empty()) {
        if (Now() > begin + EffectLimit) {
            std::string text = "what is not in line:";
            const auto print = [&](const Rows& rows, const Rows& others, const char* sign) {
                for (const Row& row : rows) {
                    if (!others.contains(row))
                        text += sign + Text::ToUtf8(row.first.value_or(L"*") + L":" + row.second.value_or(L"*"));
                }
            };
            print(m_world.Expected(), m_world.database->table, " missing ");
            print(m_world.database->table, m_world.Expected(), " too many ");
            for (const std::wstring& name : m_world.WithoutRole())
                text += " without role " + Text::ToUtf8(name);
            Fail(text);
        }
        SleepFor(step);
        step += step / 4;
    }
    const auto taken = static_cast<std::uint64_t>((Now() - begin) / 1ms);
    ++m_outcome.effects[std::min<std::size_t>(static_cast<std::size_t>(std::bit_width(taken)), 19)];
    SleepFor(EffectLimit);
    if (!m_world.IsInLine() || !m_world.WithoutRole().empty())
        Fail("what was in line has left it");
    const int items = std::popcount(static_cast<unsigned>(m_world.tracker.items));
    if (m_world.configServer->subscriptions.size() != static_cast<std::size_t>(1 + items) ||
        m_world.settingsManager->subscriptions.size() != 1)
        Fail("subscriptions were left behind or are missing");
}

void Life::Unload()
{
    Note("unloads");
    errors.strict = false;
    for (int i = 0, first = Dice().Below(Parts); i < Parts; ++i) {
        const auto part = (first + i) % Parts;
        HalvexUnregisterInstance(PartNames[part]);
        m_components[part].Reset();
    }
    JoinActors();
    SleepFor(1000s); // workers that have destroyed their own component end by themselves
    CheckLeftovers();
}

void Life::CheckLeftovers()
{
    BOOL locked = FALSE;
    ModuleObject::Instance().IsLocked(&locked);
    if (locked)
        Fail("components were left behind");
    if (!m_world.configServer->subscriptions.empty() || !m_world.settingsManager->subscriptions.empty())
        Fail("subscriptions were left behind");
    for (const wchar_t* const name :
         {L"ConfigServer.Proxy", L"Settings", L"Security.PermissionsChecker", L"Security.AuthTokenMgr",
          L"Core.RequestContextMgr", L"Core.ServiceClient", L"Database", L"Source"})
        HalvexUnregisterInstance(name);
    m_world.deliveries.Stop();
    for (const ULONG references :
         {m_world.configServer->References(), m_world.settingsManager->References(), m_world.checker->References(),
          m_world.tokens->References(), m_world.contexts->References(), m_world.gate->References(),
          m_world.database->References(), m_world.sources[0]->References(), m_world.sources[1]->References()}) {
        if (references != 1)
            Fail("references to the host were left behind");
    }
    if (GetStatistics().threads != 1)
        Fail("threads were left behind");
    if (HalvexInstanceCount() != 0 || NodwellLiveNodes() != 0)
        Fail("nodes were left behind: " + std::to_string(NodwellLiveNodes()));
}

void Life::Run()
{
    Start();
    const bool early = Dice().OneIn(5);
    Storm(early);
    if (!early) {
        Settle();
        for (int i = 1 + Dice().Below(5); i > 0; --i)
            Burst();
    }
    Unload();
    m_outcome.writes = static_cast<std::uint64_t>(m_world.database->writes);
    m_outcome.injected = static_cast<std::uint64_t>(m_world.injected);
}

} // namespace

void Prepare()
{
    Platform::SetVariable(L"GS_Logger_MaxSeverity", L"WARN");
    SetAccounts(L"accounts.txt");
    LogManager::Instance().AddLogger(errors);
    MessageModules::Instance();
    GetLocalComputerSid();
}

void Live(Outcome& outcome)
{
    Life(outcome).Run();
    const Statistics statistics = GetStatistics();
    outcome.hash = statistics.hash;
    outcome.steps = statistics.steps;
}

} // namespace Simulation
