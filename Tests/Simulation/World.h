// What surrounds the module in a life: a host as simple as can be, and what the table is to hold. Only the thread that
// the scheduler lets run touches it, so it needs no locks; a walk with calls of other code in between goes over a copy.
#pragma once

#include "Common/Nodes/KelNodePtr.h"
#include "Host/ReportingDatabase/SqlStatements.h"
#include "Interfaces/AccessInfo.h"
#include "Interfaces/AuthTokens.h"
#include "Interfaces/Component.h"
#include "Interfaces/ComponentPtr.h"
#include "Interfaces/ConfigServer.h"
#include "Interfaces/PermissionsChecker.h"
#include "Interfaces/ReportingDatabase.h"
#include "Interfaces/ReportingSettings.h"
#include "Interfaces/RequestContext.h"
#include "Interfaces/RequestService.h"
#include "Interfaces/ServiceClient.h"
#include "Platform/Accounts.h"
#include "Tests/Simulation/Deliveries.h"
#include "Tests/Simulation/Faults.h"

#include <array>
#include <optional>
#include <set>
#include <vector>

namespace Simulation
{

inline constexpr std::size_t Accounts = 10;
inline constexpr std::size_t Requesters = 6; // the first accounts; the others are named in the configuration
inline constexpr std::size_t Member = 8;     // has its permissions from a group
inline constexpr const wchar_t* Permissions[]{L"ViewReports", L"ViewData"};

inline bool IsLocal(std::size_t account)
{
    return account == 5 || account == 9;
}
inline std::wstring Name(std::size_t account)
{
    return (IsLocal(account) ? L"HERE\\u" : L"D\\u") + std::to_wstring(account);
}
inline std::wstring SubjectId(std::size_t account)
{
    return (IsLocal(account) ? L"win:sid=S-1-5-21-9-9-9-" : L"win:sid=S-1-5-21-1-2-3-") +
           std::to_wstring(1000 + account);
}

// How the components are configured. Each reads its part.
struct Choice
{
    bool keepLocal = false;
    std::size_t rbacNode = 0;
    std::size_t permission = 0;
    bool unlimited = false; // configured accounts need no permission
    bool groups = false;
    unsigned items = 3; // a bit for each of the nodes whose accounts are tracked
};

using Containers = std::vector<std::wstring>; // empty: all
using Grant = std::optional<Containers>;
using Row = std::pair<std::optional<std::wstring>, std::optional<std::wstring>>;
using Rows = std::set<Row>;

enum Service
{
    ConfigServer,
    Settings,
    Checker,
    Tokens,
    Gate,
    Database,
    Sources,
    Services
};
inline constexpr const char* ServiceNames[Services]{"ConfigServer", "Settings", "Checker", "Tokens",
                                                    "Gate",         "Database", "Sources"};

// Outages, and the time that calls take.
struct Weather
{
    // At the beginning of a call into the host.
    HRESULT Enter(Service service, const char* function = __builtin_FUNCTION())
    {
        if (Strikes(ServiceNames[service], function))
            return Injected;
        Random& dice = schedule.dice;
        Note("call " + std::to_string(service));
        Point();
        if (dice.OneIn(slowOnes))
            SleepFor(milliseconds(1 << dice.Below(schedule.calm ? 10 : 15)));
        if (outages[service] < schedule.now || dice.OneIn(3))
            return S_OK;
        ++injected;
        Note("fails");
        return Injected;
    }

    const int slowOnes = 2 << schedule.dice.Below(4); // one call in so many takes time
    std::array<nanoseconds, Services> outages{};      // until when
    std::uint64_t injected = 0;
};

struct Source : Component<IAccessInfoSource>
{
    explicit Source(Weather& itsWeather) : weather(itsWeather) {}

    HRESULT GetAllowedViewers(IKelNode** out) override
    {
        const Side host(false);
        const KelNodePtr list = CreateKelNode(nullptr, nullptr);
        for (const std::size_t account : std::set(accounts)) {
            const KelNodePtr item = CreateKelNode(nullptr, L"AccessRightsItem");
            item.SetString(L"LogonName", Name(account));
            item.SetStringList(L"ContainerId", {L"c0"});
            item.SetBool(L"IsLocalOnly", IsLocal(account));
            list.AddChild(item);
        }
        const HRESULT hr = weather.Enter(Sources);
        if (hr < 0 && schedule.dice.OneIn(2))
            return hr;
        *out = hr < 0 ? nullptr : KelNodePtr(list).Detach(); // success without a list is a failure as well
        return S_OK;
    }

    Weather& weather;
    std::set<std::size_t> accounts;
    int registrations = 0;
};

class World;

// One node has changed.
class ModifiedNode : public Component<IKelNodeModifyEnum, IKelNodeIterator>
{
public:
    explicit ModifiedNode(KelNodePtr entry) : m_entry(std::move(entry)) {}

    HRESULT GetEnumerator(IKelNodeIterator** out) override
    {
        if (Strikes("ConfigServer", __func__))
            return Injected;
        AddRef();
        *out = this;
        return S_OK;
    }
    HRESULT Reset() override
    {
        m_isGiven = false;
        return Strikes("ConfigServer", __func__) ? Injected : S_OK;
    }
    HRESULT Next(IKelNode** out) override // has no failures: any result but S_OK ends the enumeration
    {
        const Side host(false);
        if (std::exchange(m_isGiven, true))
            return S_FALSE;
        *out = KelNodePtr(m_entry).Detach();
        return S_OK;
    }

private:
    const KelNodePtr m_entry;
    bool m_isGiven = false;
};

class ConfigSubscription : public Component<IKelModifySubscription>
{
public:
    ConfigSubscription(World& world, std::wstring path, IModifySubscriptionSink* itsSink)
        : sink(itsSink), m_world(world), m_path(std::move(path))
    {
        static std::uint32_t last = 0;
        m_id.Data1 = ++last;
    }
    HRESULT Activate() override;
    HRESULT GetId(GUID* out) override
    {
        *out = m_id;
        return Strikes("ConfigServer", __func__) ? Injected : S_OK;
    }
    Deliveries::Call Notification(); // of the node as it is now
    bool Watches(const std::wstring& path) const { return m_active && path == m_path; }

    IModifySubscriptionSink* const sink;

private:
    World& m_world;
    const std::wstring m_path;
    GUID m_id{};
    bool m_active = false;
};

// Everything that the module finds by name.
class World : public Component<IConfigServerProxy, IReportingSettingsManager, IPermissionsChecker, IAuthTokenMgr,
                               IRequestContextMgr, IRequestContext, IServiceClient, IRequestService,
                               IDatabaseConnectionManager>,
              public Weather
{
public:
    // The configuration server.

    HRESULT Subscribe(IKelNode* filter, IKelNode*, IModifySubscriptionSink* sink, IKelModifySubscription** out) override
    {
        const Side host(false);
        const std::wstring path = KelNodePtr::AddRef(filter).GetString(L"NodePath");
        if (path == L"-")
            return E_INVALIDARG;
        if (const HRESULT hr = Enter(ConfigServer); hr < 0)
            return hr;
        auto* const subscription = new ConfigSubscription(*this, path, sink);
        configSubscriptions.push_back(subscription);
        if (schedule.dice.OneIn(4))
            subscription->Notification()();
        *out = subscription;
        return S_OK;
    }

    // Notifications go on until it is noted that they are not wanted.
    HRESULT Unsubscribe(IKelModifySubscription* subscription) override
    {
        const Side host(false);
        const HRESULT hr = Enter(ConfigServer);
        std::erase(configSubscriptions, subscription);
        deliveries.Cancel(subscription);
        deliveries.Wait(subscription);
        return hr;
    }

    void NodeChanged(const std::wstring& path)
    {
        const Atomic atomic;
        for (ConfigSubscription* each : configSubscriptions) {
            if (each->Watches(path))
                deliveries.Post(each, each->Notification());
        }
    }

    KelNodePtr Node(const std::wstring& path) const
    {
        const auto index = static_cast<std::size_t>(path.back() - L'0');
        KelNodePtr node = CreateKelNode(path.c_str() + 1, nullptr);
        node.SetBool(L"IsInUse", rbacInUse[index]);
        std::vector<std::wstring> texts;
        for (const std::size_t account : viewers[index]) {
            texts.push_back(account % 3 == 0   ? SubjectId(account)
                            : account % 3 == 1 ? L"win:name=" + Name(account)
                                               : Name(account));
        }
        if (texts.size() == 3)
            texts.push_back(L"D\\nobody");
        node.SetStringList(L"Accounts", texts);
        return node;
    }

    // The settings manager.

    HRESULT Subscribe(std::int32_t, IReportingSettingsModifySink* sink, IKelNode** out) override
    {
        const Side host(false);
        if (const HRESULT hr = Enter(Settings); hr < 0)
            return hr;
        const KelNodePtr handle = CreateKelNode(L"subscription", nullptr);
        const ComponentPtr<IReportingSettingsModifySink> kept(sink);
        deliveries.First(handle.Get(), [&] {
            settingsSubscriptions.emplace_back(handle, kept);
            return SettingsNotification(handle, kept);
        });
        if (const HRESULT hr = Enter(Settings); hr < 0) { // an answer that gets lost
            Remove(handle.Get());
            goesBack = true;
            return hr;
        }
        *out = KelNodePtr(handle).Detach();
        return S_OK;
    }

    // May leave notifications on their way.
    HRESULT Unsubscribe(IKelNode* handle) override
    {
        const Side host(false);
        const HRESULT hr = Enter(Settings);
        Remove(handle);
        if (schedule.dice.OneIn(2))
            deliveries.Cancel(handle);
        if (schedule.dice.OneIn(2))
            deliveries.Wait(handle);
        return hr;
    }

    void SettingsChanged()
    {
        const Atomic atomic;
        for (const auto& [handle, sink] : settingsSubscriptions)
            deliveries.Post(handle.Get(), SettingsNotification(handle, sink));
    }

    std::wstring ReportServer() const
    {
        return (settingsLocal ? L"http://127.0.0.1/" : L"http://198.51.100.20/") + std::to_wstring(settingsSerial);
    }

    // Permissions and tokens.

    HRESULT GetAccessibleContainers(IKelNode* token, const wchar_t* permission, std::uint32_t* scope,
                                    IKelNode** containers) override
    {
        const Side host(false);
        KelNodePtr client = KelNodePtr::AddRef(token);
        bool groups = false;
        client.TryGetBool(L"Groups", groups);
        while (const KelNodePtr next = client.GetChildByName(L"OnBehalfOfClient", false))
            client = next;
        const std::wstring subject = client.GetString(L"SubjectId");
        std::size_t account = 0;
        while (SubjectId(account) != subject)
            ++account;
        const auto answer = [&] { return Granted(account, permission == std::wstring(Permissions[1]), groups); };
        Grant grant = answer();
        if (const HRESULT hr = Enter(Checker); hr < 0)
            return hr;
        if (schedule.dice.OneIn(2))
            grant = answer(); // otherwise the answer is late
        if (!grant)
            return S_OK;
        *scope = grant->empty() ? ContainerScopeAll : ContainerScopeListed;
        const KelNodePtr list = CreateKelNode(nullptr, nullptr);
        for (const std::wstring& container : *grant) {
            const KelNodePtr child = CreateKelNode(nullptr, nullptr);
            child.SetString(L"Container", container);
            list.AddChild(child);
        }
        *containers = KelNodePtr(list).Detach();
        return S_OK;
    }

    HRESULT MakeAuthToken(std::uint32_t, std::uintptr_t, std::uintptr_t, void* context, IKelNode** token) override
    {
        const Side host(false);
        Platform::Sid user;
        std::vector<Platform::Sid> groups;
        Platform::AccountInfo account;
        std::wstring sid;
        HRESULT hr = Enter(Tokens);
        hr = hr < 0 ? hr : Platform::ReadClientContext(context, user, groups);
        hr = hr < 0 ? hr : Platform::LookUpAccountBySid({}, user, account);
        hr = hr < 0 ? hr : Platform::FormatSid(user, sid);
        if (hr < 0)
            return hr;
        const KelNodePtr made = CreateKelNode(L"AuthToken", L"AuthToken");
        made.SetString(L"SubjectId", L"win:sid=" + sid);
        made.SetString(L"SubjectDisplayName", account.domain + L"\\" + account.name);
        made.SetBool(L"Groups", !groups.empty());
        made.SetInt64(L"Epoch", tokenEpoch);
        *token = KelNodePtr(made).Detach();
        return S_OK;
    }

    HRESULT IsAuthTokenExpired(IKelNode* token, BOOL* expired) override
    {
        const Side host(false);
        std::int64_t epoch = 0;
        KelNodePtr::AddRef(token).TryGetInt64(L"Epoch", epoch);
        *expired = epoch < tokenEpoch;
        return Enter(Tokens);
    }

    // The request that a thread serves.

    HRESULT GetContext(std::uint32_t, IRequestContext** out) override
    {
        if (Strikes("RequestContext", __func__))
            return Injected;
        AddRef();
        *out = this;
        return S_OK;
    }
    HRESULT GetAuthToken(IKelNode** out) override
    {
        const Side host(false);
        if (Strikes("RequestContext", __func__))
            return Injected;
        return t_token ? KelnDuplicateNodeHandle(t_token->Get(), out) : S_OK;
    }

    // The service that gives roles.

    HRESULT GetService(const wchar_t*, std::uint32_t, REFIID iid, void** out) override
    {
        const Side host(false);
        const HRESULT hr = Enter(Gate);
        return hr < 0 ? hr : QueryInterface(iid, out);
    }

    HRESULT ProcessRequest(IKelNode* request, IKelNode** response) override
    {
        const Side host(false);
        const KelNodePtr node = KelNodePtr::AddRef(request);
        const std::pair role(node.GetString(L"DestUserName"), node.GetString(L"ReportServerUrl"));
        if (std::exchange(isAskedForRole, true))
            Fail("two roles are asked for at once");
        const HRESULT hr = Enter(Gate);
        isAskedForRole = false;
        if (hr < 0 && schedule.dice.OneIn(2))
            return hr;
        const KelNodePtr answer = CreateKelNode(nullptr, nullptr);
        if (hr < 0)
            answer.SetInt32(L"AdjustResult", hr);
        else if (!roles.insert(role).second && earlyRoles.erase(role) == 0 && !goesBack &&
                 faults.struck == 0) // the module may not have been able to read an answer
            Fail("a role was asked for again");
        else if (!told.contains(role.second) || LastWait() < told[role.second])
            earlyRoles.insert(role);
        *response = KelNodePtr(answer).Detach();
        return S_OK;
    }

    // The database.

    struct Connection : Component<IDatabaseConnection>
    {
        explicit Connection(World& itsWorld) : world(itsWorld) {}
        ~Connection() override
        {
            if (world.writing == this)
                world.writing = nullptr;
        }
        HRESULT Execute(const wchar_t* sql, std::int32_t, IKelNode**) override
        {
            const Side host(false);
            if (const HRESULT hr = world.Enter(Database); hr < 0)
                return hr;
            const Host::SqlStatement statement = Host::ReadSqlStatement(sql);
            if (statement.kind == Host::SqlStatement::Kind::CreateStaging) {
                if (world.writing)
                    Fail("two writes at once");
                world.writing = this;
            }
            for (const Host::StagedRow& row : statement.rows)
                staged.emplace(row.loginName, row.managedObjectUId);
            if (statement.kind != Host::SqlStatement::Kind::Merge)
                return S_OK;
            world.table = std::exchange(staged, {});
            world.writing = nullptr;
            ++world.writes;
            return world.Enter(Database); // may fail with the work done
        }

        World& world;
        Rows staged;
    };

    HRESULT OpenConnection(IKelNode*, std::int32_t, IDatabaseConnection** out) override
    {
        const Side host(false);
        const HRESULT hr = Enter(Database);
        if (hr >= 0)
            *out = new Connection(*this);
        return hr;
    }

    // What the table is to hold by the configuration in force and what the sources know.
    Rows Expected() const
    {
        Rows rows;
        const auto add = [&](std::size_t account, const Grant& grant) {
            if (!grant || (IsLocal(account) && !updater.keepLocal && !settingsLocal))
                return;
            if (grant->empty())
                rows.insert({Name(account), std::nullopt});
            for (const std::wstring& container : *grant)
                rows.insert({Name(account), container});
        };
        if (!rbacInUse[rbac.rbacNode])
            rows.insert({std::nullopt, std::nullopt});
        for (const Source& source : sources) {
            for (const std::size_t account : source.accounts)
                add(account, source.registrations > 0 ? Grant(Containers{L"c0"}) : Grant());
        }
        for (const std::size_t client : clients)
            add(client, Granted(client, requests.permission, false));
        for (std::size_t i = 0; i < viewers.size(); ++i) {
            for (const std::size_t account : viewers[i]) {
                if (tracker.items & (1U << i))
                    add(account,
                        tracker.unlimited ? Containers() : Granted(account, tracker.permission, tracker.groups));
            }
        }
        return rows;
    }

    // Whether table and roles are as they are to be.
    bool IsInLine() const
    {
        return table == Expected() && std::all_of(table.begin(), table.end(), [&](const Row& row) {
                   return !row.first || roles.contains({*row.first, ReportServer()});
               });
    }

    static inline thread_local const KelNodePtr* t_token = nullptr;

    Source sources[2]{Source(*this), Source(*this)};
    Deliveries deliveries;
    std::vector<ConfigSubscription*> configSubscriptions;
    std::vector<std::pair<KelNodePtr, ComponentPtr<IReportingSettingsModifySink>>> settingsSubscriptions;

    std::array<bool, 2> rbacInUse{true, true};
    std::array<std::set<std::size_t>, 2> viewers;
    int settingsSerial = 0;
    bool settingsEnabled = false;
    bool settingsLocal = false;
    std::array<std::array<Grant, 2>, Accounts> grants;
    std::int64_t tokenEpoch = 0;
    std::set<std::size_t> clients; // that have asked

    // In force.
    Choice updater;
    Choice rbac;
    Choice requests;
    Choice tracker;

    Rows table;
    const Connection* writing = nullptr; // has a temporary table, and no merge yet
    std::uint64_t writes = 0;
    bool isRefused = false; // a notification, by the module

    bool isAskedForRole = false;
    std::set<std::pair<std::wstring, std::wstring>> roles; // account and report server
    // Given in a run that may have begun before it knew of the report server: they may be asked for once more.
    std::set<std::pair<std::wstring, std::wstring>> earlyRoles;
    std::map<std::wstring, nanoseconds> told; // when the report servers were made known
    bool goesBack = false;                    // the updater may have gone back to earlier settings

private:
    Grant Granted(std::size_t account, std::size_t permission, bool groups) const
    {
        return account != Member ? grants[account][permission] : groups ? Grant(Containers{L"c1"}) : Grant();
    }

    // Keeps the handle, so that no other one has its address, by which notifications are cancelled and waited for.
    Deliveries::Call SettingsNotification(const KelNodePtr& handle,
                                          const ComponentPtr<IReportingSettingsModifySink>& sink)
    {
        const KelNodePtr settings = CreateKelNode(L"DBSettings", nullptr);
        const KelNodePtr entry = CreateKelNode(L"entry", nullptr);
        entry.SetBool(L"Enabled", settingsEnabled);
        entry.SetString(L"ReportServerUrl", ReportServer());
        entry.SetString(L"ReportServerUserName", L"svc");
        entry.SetBinary(L"ReportServerPassword", {1});
        settings.AddChild(entry);
        return [this, handle, sink, settings, server = ReportServer()] {
            told[server] = Never;
            const HRESULT hr = CallModule([&] { return sink->OnModified(1, 0, settings.Get()); });
            isRefused = isRefused || hr < 0;
            told[server] = schedule.now;
        };
    }

    // Others may look at the list as soon as a node or a sink is released.
    void Remove(const IKelNode* handle)
    {
        const auto found = std::find_if(settingsSubscriptions.begin(), settingsSubscriptions.end(),
                                        [&](const auto& each) { return each.first.Get() == handle; });
        const auto taken = std::move(*found);
        settingsSubscriptions.erase(found);
    }
};

inline HRESULT ConfigSubscription::Activate()
{
    const Side host(false);
    if (const HRESULT hr = m_world.Enter(ConfigServer); hr < 0)
        return hr;
    m_world.deliveries.First(this, [this] {
        m_active = true;
        return Notification();
    });
    return S_OK;
}

inline Deliveries::Call ConfigSubscription::Notification()
{
    const Atomic atomic;
    const KelNodePtr entry = CreateKelNode(nullptr, nullptr);
    entry.SetString(L"ModifiedNodePath", m_path);
    entry.SetInt64(L"ChangesMask", 2);
    entry.AddChild(m_world.Node(m_path));
    return [self = ComponentPtr<ConfigSubscription>(this), entry] {
        const auto nodes = ComponentPtr<ModifiedNode>::Attach(new ModifiedNode(entry));
        const HRESULT hr = CallModule([&] { return self->sink->OnTriggered(self.Get(), 2, nodes.Get()); });
        self->m_world.isRefused = self->m_world.isRefused || hr < 0;
    };
}

} // namespace Simulation
