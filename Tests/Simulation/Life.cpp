#include "Tests/Simulation/Life.h"

#include "Common/Components/ComponentObject.h"
#include "Common/Components/ModuleObject.h"
#include "Common/Diagnostics/FileLogger.h"
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
constexpr std::size_t Actors = 3;
constexpr std::int32_t Long = 3000;       // an interval that does not pass while changes are to show
constexpr nanoseconds EffectLimit = 150s; // what delays, and the 30 s of a replaced tracker, can add up to

// A key with a value that lets a configuration fail halfway; of the tracker's last item where there are items.
constexpr std::pair<Part, const wchar_t*> Defects[]{
    {Updater, L"DatabaseConnectionManager"},
    {Updater, L"RegisterAccessInfoSources"},
    {Updater, L"ReportingSettingsManager"},
    {Rbac, L"RBACStatusNodePath"},
    {Requests, L"ExpirationTimeoutS"},
    {Tracker, L"NodePath"},
    {Roles, L"RetryIntervalS"},
};

Random* choices = &schedule.dice; // of those who act

std::size_t Below(std::size_t limit)
{
    return choices->Next() % limit;
}

bool OneIn(int times)
{
    return choices->OneIn(times);
}

template <class I>
ComponentPtr<I> Find(const wchar_t* name)
{
    ComponentPtr<I> found;
    HxGetNamedInstance(name, 0, I::Iid, found.OutVoid());
    return found;
}

void SetAccounts(const wchar_t* file)
{
    Platform::SetVariable(L"KESTRINE_ACCOUNTS_FILE", (Text::FromUtf8(SIMULATION_FOLDER) + file).c_str());
}

// Fails the life for every error that nobody has made.
struct ErrorWatch : ILogger
{
    void Write(const wchar_t* text, int length) noexcept override
    {
        const Side host(false);
        const std::string line = Text::ToUtf8({text, static_cast<std::size_t>(length)});
        Print(line);
        const auto holds = [&](const char* part) { return line.find(part) != std::string::npos; };
        if (holds(" failed: ") || holds("EXCEPTION"))
            Shows();
        missesSettings = missesSettings || holds("IsLocalSSRS failed");
        if (strict && holds("| ERR ") && !holds("0x8004F001") && !holds("0x80004004")) // injected; given up
            Fail("an error that nobody has made: " + line);
    }

    bool strict = false;
    bool missesSettings = false; // the updater has not found out where the report server runs, and asks once only
};

ErrorWatch errors;

class Life
{
public:
    explicit Life(Outcome& outcome) : m_outcome(outcome) {}

    void Run()
    {
        Start();
        const bool unloadsEarly = OneIn(5);
        Storm();
        if (!unloadsEarly) {
            JoinActors();
            Settle();
            for (std::size_t i = 1 + Below(5); i > 0; --i)
                Burst();
        }
        Unload();
        m_outcome.hash = schedule.hash ^ schedule.steps;
        m_outcome.steps = schedule.steps;
        m_outcome.writes = m_world.writes;
        m_outcome.injected = m_world.injected;
    }

    // Nothing in it depends on what the module does, and the table comes to rest behind each act.
    void Follow()
    {
        Random script(5);
        choices = &script;
        FileLogger logger(LogManager::Instance().Settings(), L"Sweep.log", L"");
        LogManager::Instance().AddLogger(logger);
        Platform::SetVariable(L"GS_Debug_EnableAliveObjectsTracking", L"1");
        faults.armed = true;
        Play([&] { Start(); });
        for (std::size_t account = 0; account < 4; ++account)
            Play([&] { Request(account, false); });
        for (std::size_t i = 0; i < 2; ++i) {
            Play([&] { ChangeRbac(i); });
            Play([&] { ChangeViewers(i); });
            Play([&] { ChangeSettings(true); });
            Play([&] { ChangeSource(i == 0); });
        }
        Play([&] {
            ++m_world.tokenEpoch;
            SleepFor(400s);
        });
        for (std::size_t part = 0; part < Parts; ++part)
            Play([&] { Configure(static_cast<Part>(part), MakeChoice()); });
        Play([&] { Stop(); });
        Play([&] { Configure(Tracker, MakeChoice()); });
        for (const Part part : {Rbac, Requests, Tracker})
            Play([&] { Recreate(part); });
        Play([] { Module([] { return ModuleObject::Instance().ReportAliveObjects(); }); });
        SleepFor(700s);
        faults.armed = false;
        if (m_world.isRefused || errors.missesSettings) { // nobody else knows what it said
            ChangeSettings(true);
            for (const wchar_t* const path : {L"\\RBAC0", L"\\RBAC1", L"\\Viewers0", L"\\Viewers1"})
                m_world.NodeChanged(path);
        }
        SleepFor(1200s);
        errors.strict = true;
        if (!m_world.IsInLine())
            FailOutOfLine();
        choices = &schedule.dice;
        Settle();
        Burst();
        faults.armed = true;
        Unload();
        faults.armed = false;
        LogManager::Instance().RemoveLogger(logger);
        m_outcome.struck = faults.struck;
        m_outcome.reports = faults.reports;
        if (faults.calls.size() > m_outcome.functions.size())
            Fail("too many functions are called");
        auto function = m_outcome.functions.begin();
        for (const auto& [name, calls] : faults.calls) {
            name.copy(function->name, sizeof(function->name) - 1);
            function++->calls = calls;
        }
    }

private:
    void Play(const std::function<void()>& act)
    {
        act();
        SleepFor(20s);
        std::wstring rows;
        for (const auto& [name, container] : m_world.table)
            rows += name.value_or(L"*") + L':' + container.value_or(L"*") + L'\n';
        m_outcome.history = m_outcome.history * 31 + std::hash<std::wstring>()(rows);
    }

    // Calls the module. What fails on purpose is done once more, with nothing failing.
    static HRESULT Module(const std::function<HRESULT()>& call)
    {
        const std::uint64_t struck = faults.struck;
        const HRESULT hr = CallModule(call);
        if (hr >= 0 || faults.struck == struck)
            return hr;
        faults.armed = false;
        const HRESULT again = CallModule(call);
        faults.armed = true;
        return again;
    }

    static Choice MakeChoice()
    {
        return {OneIn(2), Below(2), Below(2), OneIn(4), OneIn(2), static_cast<unsigned>(1 + Below(3))};
    }

    KelNodePtr MakeConfig(Part part, const Choice& choice) const
    {
        const KelNodePtr config = CreateKelNode(PartNames[part], nullptr);
        const auto setSeconds = [&](const wchar_t* key, std::int32_t a, std::int32_t b) {
            config.SetInt32(key, m_long ? Long : OneIn(2) ? a : b);
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
        if (part == Updater && !m_configured[Updater]) {
            config.SetStringList(L"RegisterAccessInfoSources", {L"Source", L"RBAC", L"Requests", L"Configured"});
            config.SetStringList(L"RegisterAccessInfoConsumers", {L"Roles"});
        }
        const KelNodePtr items = CreateKelNode(L"TrackingItems", nullptr);
        config.AddChild(items);
        for (unsigned i = 0; i < 2; ++i) {
            if (!(choice.items & (1U << i)))
                continue;
            const KelNodePtr item = CreateKelNode(nullptr, L"TrackingItem");
            item.SetString(L"NodePath", L"\\Viewers" + std::to_wstring(i));
            item.SetString(L"Attribute", L"Accounts");
            items.AddChild(item);
        }
        return config;
    }

    // `defect`: a key to spoil, or null.
    void Configure(Part part, const Choice& choice, const wchar_t* defect = nullptr)
    {
        Note("configures " + std::to_string(part) + (defect ? " badly" : ""));
        const KelNodePtr config = MakeConfig(part, choice);
        if (defect) {
            const KelNodePtr items = config.GetChildByName(L"TrackingItems", true);
            const KelNodePtr last = items.GetChildByIndex(items.GetChildCount() - 1, true);
            (part == Tracker ? last : config).SetString(defect, L"-");
        }
        const std::uint64_t injected = m_world.injected;
        const HRESULT hr = Module([&] { return m_components[part]->Configure(config.Get()); });
        if (hr < 0 && !defect && m_world.injected == injected)
            Fail("a good configuration was refused");
        if (hr >= 0 && defect)
            Fail("a bad configuration was taken");
        m_configured[part] = m_configured[part] || hr >= 0;
        if (hr >= 0 || part == Updater) // what the updater has read before it fails is in force
            InForce(part) = choice;
    }

    Choice& InForce(Part part)
    {
        Choice* const inForce[]{&m_world.updater, &m_world.rbac, &m_world.requests, &m_world.tracker, &m_roles};
        return *inForce[part];
    }

    void ConfigureAll()
    {
        for (std::size_t i = 0, first = Below(Parts); i < Parts; ++i)
            Configure(static_cast<Part>((first + i) % Parts), MakeChoice());
    }

    void Create(Part part)
    {
        Module([&] { return Creators[part](IConfigurableComponent::Iid, m_components[part].OutVoid()); });
        HalvexRegisterInstance(PartNames[part], m_components[part].Get());
        m_configured[part] = false;
    }

    void Start()
    {
        schedule.calm = true;
        for (const auto& [name, component] : m_instances)
            HalvexRegisterInstance(name, component);
        for (std::size_t part = 0; part < Parts; ++part)
            Create(static_cast<Part>(part));
        for (auto& account : m_world.grants) {
            for (Grant& grant : account) {
                if (const std::size_t kind = Below(4); kind != 0)
                    grant = kind == 1 ? Containers() : Containers{L"c1", kind == 2 ? L"c2" : L"c3"};
            }
        }
        m_world.sources[0].registrations = 1;
        ConfigureAll();
    }

    // What the administrator does, on the life's first thread.
    void Administrate()
    {
        ++m_outcome.actions;
        switch (Below(8)) {
        case 0:
            Stop();
            break;
        case 1:
            Recreate(static_cast<Part>(Rbac + Below(3)));
            break;
        case 2: {
            const auto& [part, key] = Defects[Below(std::size(Defects))];
            Configure(part, MakeChoice(), key);
            break;
        }
        case 3:
            SleepFor(milliseconds(Below(100'000)));
            break;
        default:
            Configure(static_cast<Part>(Below(Parts)), MakeChoice());
        }
    }

    void Stop()
    {
        Note("stops");
        const auto tracker = Find<ITrackerControl>(L"Configured");
        Module([&] { return tracker->Stop(); });
        m_configured[Tracker] = false;
    }

    void Release(Part part)
    {
        HalvexUnregisterInstance(PartNames[part]);
        const Side module(true);
        m_components[part].Reset();
    }

    // Another object takes the place of a source.
    void Recreate(Part part)
    {
        Note("recreates " + std::to_string(part));
        const auto updater = Find<IAccessInfoUpdater>(L"Updater");
        auto source = Find<IAccessInfoSource>(PartNames[part]);
        Module([&] { return updater->UnregisterAccessInfoSource(source.Get()); });
        source.Reset();
        Release(part);
        Create(part);
        const bool registersFirst = OneIn(2);
        if (!registersFirst)
            Configure(part, MakeChoice());
        source = Find<IAccessInfoSource>(PartNames[part]);
        Module([&] { return updater->RegisterAccessInfoSource(source.Get()); });
        if (registersFirst)
            Configure(part, MakeChoice());
    }

    // Everything at once, with failures.
    void Storm()
    {
        schedule.calm = false;
        const std::size_t actions = 5 + Below(25);
        StartActors(actions, false);
        for (std::size_t i = Below(actions); i > 0; --i)
            Administrate();
    }

    // Without further failures, everything is in line when all that is old has expired.
    void Settle()
    {
        Note("settles");
        schedule.calm = true;
        m_world.outages = {};
        ++m_world.tokenEpoch; // tokens may bear an earlier name
        SetAccounts(L"accounts.txt");
        ChangeSettings(true);
        for (std::size_t part = 0; part < Parts; ++part) {
            if (!m_configured[part])
                Configure(static_cast<Part>(part), MakeChoice());
        }
        SleepFor(1200s);
        m_world.clients.clear();
        errors.strict = true;
        AwaitEffect();
        m_long = true;
        ConfigureAll();
        AwaitEffect();
    }

    // Several changes at once, which must show without the help of an interval.
    void Burst()
    {
        Note("burst");
        StartActors(1 + Below(4), true);
        if (OneIn(2)) {
            const auto part = OneIn(2) ? Tracker : static_cast<Part>(Below(Parts));
            const Choice choice = OneIn(2) ? InForce(part) : MakeChoice();
            const bool forgets = part == Requests && choice.permission != m_world.requests.permission;
            SleepFor(milliseconds(1 << Below(12)));
            m_forgettings += forgets;
            Configure(part, choice);
            m_forgettings += forgets;
            JoinActors();
            if (forgets) { // whoever has asked meanwhile may be forgotten, but not listed by the earlier permission
                SleepFor(EffectLimit);
                std::erase_if(m_world.clients, [&](std::size_t client) { return !IsGranted(client); });
                Request(5, true); // a local account, which need not be listed
            }
        }
        JoinActors();
        AwaitEffect();
    }

    // Whether the table holds what the permissions checker, rather than a source of the host's, lets the account see.
    bool IsGranted(std::size_t account) const
    {
        return std::any_of(m_world.table.begin(), m_world.table.end(),
                           [&](const Row& row) { return row.first == Name(account) && row.second != L"c0"; });
    }

    void AwaitEffect()
    {
        const nanoseconds begin = schedule.now;
        for (nanoseconds step = 1ms; !m_world.IsInLine() && schedule.now < begin + EffectLimit; step += step / 4)
            SleepFor(step);
        const auto taken = static_cast<std::uint64_t>((schedule.now - begin) / 1ms);
        ++m_outcome.effects[std::min<std::size_t>(static_cast<std::size_t>(std::bit_width(taken)), 19)];
        SleepFor(EffectLimit);
        if (!m_world.IsInLine())
            FailOutOfLine();
        const int items = std::popcount(m_world.tracker.items);
        if (m_world.configSubscriptions.size() != static_cast<std::size_t>(1 + items) ||
            m_world.settingsSubscriptions.size() != 1)
            Fail("subscriptions were left behind or are missing");
    }

    [[noreturn]] void FailOutOfLine() const
    {
        std::wstring text = L"out of line:";
        const auto addDifference = [&](const Rows& rows, const Rows& others, const wchar_t* sign) {
            for (const Row& row : rows) {
                if (!others.contains(row))
                    text += sign + row.first.value_or(L"*") + L":" + row.second.value_or(L"*");
            }
        };
        addDifference(m_world.Expected(), m_world.table, L" missing ");
        addDifference(m_world.table, m_world.Expected(), L" too many ");
        if (m_world.table == m_world.Expected())
            text += L" a role is missing";
        Fail(Text::ToUtf8(text));
    }

    void Unload()
    {
        Note("unloads");
        errors.strict = false;
        for (std::size_t i = 0, first = Below(Parts); i < Parts; ++i)
            Release(static_cast<Part>((first + i) % Parts));
        JoinActors();
        SleepFor(1000s); // workers that have destroyed their own component end by themselves
        BOOL locked = FALSE;
        ModuleObject::Instance().IsLocked(&locked);
        if (locked)
            Fail("components were left behind");
        if (!m_world.configSubscriptions.empty() || !m_world.settingsSubscriptions.empty())
            Fail("subscriptions were left behind");
        for (const auto& instance : m_instances)
            HalvexUnregisterInstance(instance.first);
        m_world.deliveries.Stop();
        if (m_world.References() + m_world.sources[0].References() + m_world.sources[1].References() != 3)
            Fail("references to the host were left behind");
        if (schedule.alive != 1)
            Fail("threads were left behind");
        if (HalvexInstanceCount() != 0 || NodwellLiveNodes() != 0)
            Fail("nodes were left behind");
    }

    void StartActors(std::size_t actions, bool promptly)
    {
        for (std::size_t i = 0; i < Actors; ++i)
            m_actors.push_back(std::make_unique<Platform::WorkerThread>([=, this] {
                for (std::size_t action = 0; action < actions; ++action)
                    Act(i, promptly);
            }));
    }

    void JoinActors()
    {
        for (const auto& actor : m_actors)
            actor->Join();
        m_actors.clear();
    }

    // What the others do, on threads of their own. Promptly: what is to show in the table before long.
    void Act(std::size_t actor, bool promptly)
    {
        ++m_outcome.actions;
        switch (Below(promptly ? 8 : 10)) {
        case 0:
            ChangeRbac(Below(2));
            break;
        case 1:
            ChangeViewers(Below(2));
            break;
        case 2:
            ChangeSettings(promptly || !OneIn(4));
            break;
        case 3:
            ChangeSource(actor == 0);
            break;
        case 4:
            SleepFor(milliseconds(Below(promptly ? 1000 : 100'000)));
            break;
        case 8:
        case 9:
            Disturb();
            break;
        default: {
            const std::size_t account = actor + Actors * Below(Requesters / Actors);
            if (OneIn(2))
                m_world.grants[account][0].swap(m_world.grants[account][1]);
            Request(account, promptly);
        }
        }
    }

    void ChangeRbac(std::size_t node)
    {
        m_world.rbacInUse[node] = OneIn(2);
        Note("changes rbac");
        m_world.NodeChanged(L"\\RBAC" + std::to_wstring(node));
    }

    void ChangeViewers(std::size_t node)
    {
        Flip(m_world.viewers[node], Requesters + Below(Accounts - Requesters));
        Note("changes viewers");
        m_world.NodeChanged(L"\\Viewers" + std::to_wstring(node));
    }

    static void Flip(std::set<std::size_t>& accounts, std::size_t account)
    {
        if (accounts.erase(account) == 0)
            accounts.insert(account);
    }

    void ChangeSettings(bool enabled)
    {
        Note("changes settings");
        ++m_world.settingsSerial;
        m_world.settingsEnabled = enabled;
        m_world.settingsLocal = OneIn(2);
        m_world.SettingsChanged();
    }

    // The one source is always registered; the other one belongs to one actor.
    void ChangeSource(bool other)
    {
        const auto updater = Find<IAccessInfoUpdater>(L"Updater");
        if (!updater)
            return;
        Source& source = m_world.sources[other];
        Note("changes a source");
        if (!other || OneIn(2)) {
            Flip(source.accounts, Below(Accounts));
        } else if (source.registrations == 0 || OneIn(4)) {
            Module([&] { return updater->RegisterAccessInfoSource(&source); });
            ++source.registrations;
        } else {
            Module([&] { return updater->UnregisterAccessInfoSource(&source); });
            source.registrations = 0;
        }
        const BOOL wait = OneIn(3);
        Module([&] { return updater->UpdateAccessInfo(&source, wait); });
    }

    void Disturb()
    {
        Note("disturbs");
        const std::size_t account = Requesters + Below(Accounts - Requesters);
        switch (Below(4)) {
        case 0:
            ++m_world.tokenEpoch;
            break;
        case 1:
            SetAccounts(OneIn(2) ? L"accounts-changed.txt" : OneIn(2) ? L"accounts.txt" : L"none");
            break;
        case 2:
            m_world.grants[account][0].swap(m_world.grants[account][1]);
            break;
        default:
            m_world.outages[Below(Services)] = schedule.now + milliseconds(Below(60'000));
        }
    }

    void Request(std::size_t account, bool promptly)
    {
        Note("requests " + std::to_string(account));
        const auto service = Find<IRequestService>(L"Requests");
        if (!service)
            return;
        KelNodePtr token = CreateKelNode(L"OnBehalfOfClient", L"AuthToken");
        token.SetString(L"SubjectId", SubjectId(account));
        token.SetString(L"SubjectDisplayName", Name(account));
        if (OneIn(2)) {
            const KelNodePtr portal = CreateKelNode(L"AuthToken", L"AuthToken");
            portal.SetString(L"SubjectId", SubjectId(0));
            portal.AddChild(token);
            token = portal;
        }
        const unsigned forgettings = m_forgettings;
        const bool wait = OneIn(3);
        const KelNodePtr request = CreateKelNode(L"request", nullptr);
        request.SetBool(L"WaitForSync", wait);
        KelNodePtr response;
        World::t_token = &token;
        const HRESULT hr = Module([&] { return service->ProcessRequest(request.Get(), response.Out()); });
        World::t_token = nullptr;
        if (!promptly)
            return;
        if (hr < 0)
            Fail("a request was refused");
        m_world.clients.insert(account);
        if (wait && m_world.grants[account][m_world.requests.permission] && !IsGranted(account) && !IsLocal(account) &&
            m_forgettings == forgettings && forgettings % 2 == 0)
            Fail("who has waited is not in the table");
    }

    Outcome& m_outcome;
    World m_world;
    const std::pair<const wchar_t*, IComponentBase*> m_instances[8]{
        {L"ConfigServer.Proxy", static_cast<IConfigServerProxy*>(&m_world)},
        {L"Settings", static_cast<IReportingSettingsManager*>(&m_world)},
        {L"Security.PermissionsChecker", static_cast<IPermissionsChecker*>(&m_world)},
        {L"Security.AuthTokenMgr", static_cast<IAuthTokenMgr*>(&m_world)},
        {L"Core.RequestContextMgr", static_cast<IRequestContextMgr*>(&m_world)},
        {L"Core.ServiceClient", static_cast<IServiceClient*>(&m_world)},
        {L"Database", static_cast<IDatabaseConnectionManager*>(&m_world)},
        {L"Source", &m_world.sources[0]}};
    ComponentPtr<IConfigurableComponent> m_components[Parts];
    bool m_configured[Parts]{};
    bool m_long = false;        // intervals
    unsigned m_forgettings = 0; // twice for each change of permission that forgets who has asked; odd within it
    Choice m_roles;
    std::vector<std::unique_ptr<Platform::WorkerThread>> m_actors;
};

} // namespace

void Prepare(const wchar_t* severity)
{
    Platform::SetVariable(L"GS_Logger_MaxSeverity", severity);
    SetAccounts(L"accounts.txt");
    LogManager::Instance().AddLogger(errors);
    MessageModules::Instance();
    GetLocalComputerSid();
}

void Live(Outcome& outcome)
{
    Life(outcome).Run();
}

void LiveByScript(Outcome& outcome)
{
    Life(outcome).Follow();
}

} // namespace Simulation
