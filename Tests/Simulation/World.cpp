#include "Tests/Simulation/World.h"

#include "Host/ReportingDatabase/SqlStatements.h"
#include "Host/Support/Failure.h"
#include "Platform/Accounts.h"
#include "Platform/Network.h"
#include "Platform/Text.h"
#include "Subsystems/ManagementService/Kestrine/AccountResolution.h"

#include <algorithm>

namespace Simulation
{

World* world = nullptr;

std::wstring Name(int account)
{
    return (IsLocal(account) ? L"HERE\\u" : L"D\\u") + std::to_wstring(account);
}

std::wstring Sid(int account)
{
    return (IsLocal(account) ? L"S-1-5-21-9-9-9-" : L"S-1-5-21-1-2-3-") + std::to_wstring(1000 + account);
}

bool IsLocal(int account)
{
    return account == 5 || account == 9;
}

namespace
{

int AccountOf(const std::wstring& subjectId)
{
    for (int i = 0; i < Accounts; ++i) {
        if (subjectId == L"win:sid=" + Sid(i))
            return i;
    }
    Fail("an unknown account: " + Text::ToUtf8(subjectId));
}

std::vector<std::wstring> AccountTexts(const std::set<int>& accounts)
{
    std::vector<std::wstring> texts;
    for (const int account : accounts)
        texts.push_back(account % 3 == 0   ? L"win:sid=" + Sid(account)
                        : account % 3 == 1 ? L"win:name=" + Name(account)
                                           : Name(account));
    if (accounts.contains(7))
        texts.push_back(L"D\\nobody");
    return texts;
}

void AddRows(Rows& rows, int account, const Grant& grant)
{
    if (grant && grant->empty())
        rows.insert({Name(account), std::nullopt});
    for (const std::wstring& container : grant.value_or(Containers()))
        rows.insert({Name(account), container});
}

} // namespace

World::World()
{
    world = this;
    for (auto& account : grants) {
        for (Grant& grant : account) {
            if (const int kind = Dice().Below(4); kind != 0)
                grant = kind == 1 ? Containers() : Containers{L"c1", kind == 2 ? L"c2" : L"c3"};
        }
    }
    grants[Member] = {};
}

HRESULT World::Enter(Service service)
{
    Note("call " + std::to_string(static_cast<int>(service)));
    Point();
    if (Dice().OneIn(calm ? 16 : 4))
        SleepFor(milliseconds(1 + Dice().Below(calm || Dice().OneIn(2) ? 200 : 20'000)));
    if (calm || outages[static_cast<std::size_t>(service)] < Now() || Dice().OneIn(3))
        return S_OK;
    ++injected;
    Note("fails");
    return Injected;
}

void World::Heal()
{
    calm = true;
    outages = {};
    ++tokenEpoch; // tokens that bear an earlier name
}

KelNodePtr World::Content(const std::wstring& path) const
{
    const auto index = static_cast<std::size_t>(path.back() - L'0');
    const bool isRbac = path.find(L"RBAC") != std::wstring::npos;
    KelNodePtr node = CreateKelNode(isRbac ? L"RBAC" : L"Viewers", isRbac ? L"Status" : L"Viewers");
    if (isRbac)
        node.SetBool(L"IsInUse", rbacInUse[index]);
    else
        node.SetStringList(L"Accounts", AccountTexts(viewers[index]));
    return node;
}

std::wstring World::ReportServer() const
{
    return (settingsLocal ? L"http://local/" : L"http://remote/") + std::to_wstring(settingsSerial);
}

KelNodePtr World::Settings() const
{
    const KelNodePtr settings = CreateKelNode(L"DBSettings", nullptr);
    const KelNodePtr entry = CreateKelNode(L"entry", nullptr);
    entry.SetBool(L"Enabled", settingsEnabled);
    entry.SetString(L"ReportServerUrl", ReportServer());
    entry.SetString(L"ReportServerUserName", L"svc");
    entry.SetBinary(L"ReportServerPassword", {1});
    settings.AddChild(entry);
    return settings;
}

Grant World::GrantedAsConfigured(int account) const
{
    if (tracker.unlimited)
        return Containers();
    if (account == Member)
        return tracker.groups ? Grant(Containers{L"c1"}) : Grant();
    return grants[static_cast<std::size_t>(account)][static_cast<std::size_t>(tracker.permission)];
}

Rows World::Expected() const
{
    Rows rows;
    const auto add = [&](int account, const Grant& grant) {
        if (!IsLocal(account) || updater.keepLocal || settingsLocal)
            AddRows(rows, account, grant);
    };
    if (!rbacInUse[static_cast<std::size_t>(rbac.rbacNode)])
        rows.insert({std::nullopt, std::nullopt});
    for (const Source* source : sources) {
        for (const int account : source->accounts)
            add(account, source->registrations > 0 ? Grant(Containers{L"c0"}) : Grant());
    }
    for (const int client : clients)
        add(client, grants[static_cast<std::size_t>(client)][static_cast<std::size_t>(requests.permission)]);
    for (std::size_t i = 0; i < viewers.size(); ++i) {
        for (const int account : viewers[i])
            add(account, tracker.items & (1 << i) ? GrantedAsConfigured(account) : Grant());
    }
    return rows;
}

std::vector<std::wstring> World::WithoutRole() const
{
    std::vector<std::wstring> names;
    for (const Row& row : database->table) {
        if (row.first && !gate->granted.contains({*row.first, ReportServer()}))
            names.push_back(*row.first);
    }
    return names;
}

Deliveries::Deliveries() : m_thread([this] { Run(); }) {}

void Deliveries::Stop()
{
    m_stopped = true;
    m_changed.NotifyAll();
    m_thread.Join();
}

void Deliveries::Post(const void* key, std::function<void()> call)
{
    m_queue.emplace_back(key, std::move(call));
    m_changed.NotifyAll();
}

void Deliveries::First(const void* key, const std::function<std::function<void()>()>& make)
{
    std::function<void()> call;
    {
        const Atomic atomic;
        call = make();
        if (Dice().OneIn(2)) {
            Post(key, call);
            return;
        }
        m_running[key] = CurrentThread();
    }
    call();
    Finish(key);
}

void Deliveries::Finish(const void* key)
{
    m_running.erase(key);
    m_changed.NotifyAll();
}

void Deliveries::Cancel(const void* key)
{
    m_queue.remove_if([key](const auto& each) { return each.first == key; });
}

void Deliveries::Wait(const void* key)
{
    const std::lock_guard lock(m_lock);
    for (auto found = m_running.find(key); found != m_running.end() && found->second != CurrentThread();
         found = m_running.find(key))
        m_changed.Wait(m_lock);
}

void Deliveries::Run()
{
    NameThread("deliveries");
    std::unique_lock lock(m_lock);
    for (;;) {
        const auto next = std::find_if(m_queue.begin(), m_queue.end(),
                                       [this](const auto& each) { return !m_running.contains(each.first); });
        if (next != m_queue.end()) {
            const auto [key, call] = std::move(*next);
            m_queue.erase(next);
            m_running[key] = CurrentThread();
            lock.unlock();
            Note("notifies");
            if (Dice().OneIn(4))
                SleepFor(milliseconds(Dice().Below(world->calm ? 200 : 5000)));
            call();
            Finish(key);
            lock.lock();
        } else if (m_stopped) {
            return;
        } else {
            m_changed.Wait(lock);
        }
    }
}

namespace
{

class Entries : public Twin<IKelNodeModifyEnum, IKelNodeIterator>
{
public:
    explicit Entries(KelNodePtr entry) : m_entry(std::move(entry)) {}
    HRESULT GetEnumerator(IKelNodeIterator** out) override { return AddRef(), *out = this, S_OK; }
    HRESULT Reset() override { return m_told = false, S_OK; }
    HRESULT Next(IKelNode** node) override
    {
        return std::exchange(m_told, true) ? S_FALSE : KelnDuplicateNodeHandle(m_entry.Get(), node);
    }

private:
    const KelNodePtr m_entry;
    bool m_told = false;
};

} // namespace

ConfigSubscription::ConfigSubscription(std::wstring itsPath, IModifySubscriptionSink* itsSink)
    : path(std::move(itsPath)), sink(itsSink)
{
    static std::uint32_t last = 0;
    id.Data1 = ++last;
    world->configServer->subscriptions.push_back(this);
}

ConfigSubscription::~ConfigSubscription()
{
    std::erase(world->configServer->subscriptions, this);
}

std::function<void()> ConfigSubscription::Notification()
{
    const KelNodePtr entry = CreateKelNode(nullptr, nullptr);
    entry.SetString(L"ModifiedNodePath", path);
    entry.SetInt64(L"ChangesMask", 2);
    entry.AddChild(world->Content(path));
    return [self = ComponentPtr<ConfigSubscription>(this), entry] {
        const auto entries = ComponentPtr<Entries>::Attach(new Entries(entry));
        self->sink->OnTriggered(self.Get(), 2, entries.Get());
    };
}

HRESULT ConfigSubscription::Activate()
{
    if (const HRESULT hr = world->Enter(Service::ConfigServer); hr < 0)
        return hr;
    world->deliveries.First(this, [this] {
        active = true;
        return Notification();
    });
    return S_OK;
}

HRESULT ConfigServer::Subscribe(IKelNode* filter, IKelNode*, IModifySubscriptionSink* sink,
                                IKelModifySubscription** out)
{
    if (const HRESULT hr = world->Enter(Service::ConfigServer); hr < 0)
        return hr;
    const std::wstring path = KelNodePtr::AddRef(filter).GetString(L"NodePath");
    if (path == L"-")
        return E_INVALIDARG;
    auto* const subscription = new ConfigSubscription(path, sink);
    if (Dice().OneIn(4))
        subscription->Notification()();
    *out = subscription;
    return S_OK;
}

// Notifications go on until it is noted that they are not wanted.
HRESULT ConfigServer::Unsubscribe(IKelModifySubscription* subscription)
{
    const HRESULT hr = world->Enter(Service::ConfigServer);
    std::erase(subscriptions, subscription);
    world->deliveries.Cancel(subscription);
    world->deliveries.Wait(subscription);
    return hr;
}

void ConfigServer::Notify(const std::wstring& path)
{
    const Atomic atomic;
    for (ConfigSubscription* each : std::vector(subscriptions)) {
        if (each->active && each->path == path)
            world->deliveries.Post(each, each->Notification());
    }
}

namespace
{

std::function<void()> SettingsNotification(const ComponentPtr<IReportingSettingsModifySink>& sink)
{
    return [sink, settings = world->Settings(), server = world->ReportServer()] {
        world->gate->told[server] = nanoseconds::max();
        sink->OnModified(1, 0, settings.Get());
        world->gate->told[server] = Now();
    };
}

} // namespace

HRESULT SettingsManager::Subscribe(std::int32_t, IReportingSettingsModifySink* sink, IKelNode** out)
{
    if (const HRESULT hr = world->Enter(Service::Settings); hr < 0)
        return hr;
    const KelNodePtr handle = CreateKelNode(L"subscription", nullptr);
    const ComponentPtr<IReportingSettingsModifySink> kept(sink);
    world->deliveries.First(handle.Get(), [&] {
        subscriptions.emplace_back(handle, kept);
        return SettingsNotification(kept);
    });
    if (const HRESULT hr = world->Enter(Service::Settings); hr < 0) { // an answer that gets lost
        Remove(handle.Get());
        world->gate->isExact = false;
        return hr;
    }
    *out = KelNodePtr(handle).Detach();
    return S_OK;
}

// Others may look at the list as soon as a node or a sink is released.
void SettingsManager::Remove(const IKelNode* handle)
{
    const auto found = std::find_if(subscriptions.begin(), subscriptions.end(),
                                    [&](const auto& each) { return each.first.Get() == handle; });
    const auto taken = std::move(*found);
    subscriptions.erase(found);
}

// May leave notifications on their way.
HRESULT SettingsManager::Unsubscribe(IKelNode* subscription)
{
    const HRESULT hr = world->Enter(Service::Settings);
    Remove(subscription);
    if (Dice().OneIn(2))
        world->deliveries.Cancel(subscription);
    if (Dice().OneIn(2))
        world->deliveries.Wait(subscription);
    return hr;
}

void SettingsManager::Notify()
{
    const Atomic atomic;
    for (const auto& [handle, sink] : std::vector(subscriptions))
        world->deliveries.Post(handle.Get(), SettingsNotification(sink));
}

HRESULT Checker::GetAccessibleContainers(IKelNode* token, const wchar_t* permission, std::uint32_t* scope,
                                         IKelNode** containers)
{
    KelNodePtr client = KelNodePtr::AddRef(token);
    bool groups = false;
    client.TryGetBool(L"Groups", groups);
    while (const KelNodePtr next = client.GetChildByName(L"OnBehalfOfClient", false))
        client = next;
    const int account = AccountOf(client.GetString(L"SubjectId"));
    const auto answer = [&] {
        if (account == Member)
            return groups ? Grant(Containers{L"c1"}) : Grant();
        return world->grants[static_cast<std::size_t>(account)][permission == std::wstring(Permissions[1])];
    };
    Grant grant = answer();
    if (const HRESULT hr = world->Enter(Service::Checker); hr < 0)
        return hr;
    if (Dice().OneIn(2))
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

HRESULT Tokens::MakeAuthToken(std::uint32_t, std::uintptr_t, std::uintptr_t, void* context, IKelNode** token)
{
    Platform::Sid user;
    std::vector<Platform::Sid> groups;
    if (const HRESULT hr = Platform::ReadClientContext(context, user, groups); hr < 0)
        return hr;
    if (const HRESULT hr = world->Enter(Service::Tokens); hr < 0)
        return hr;
    Platform::AccountInfo info;
    if (const HRESULT hr = Platform::LookUpAccountBySid({}, user, info); hr < 0)
        return hr;
    std::wstring sid;
    Platform::FormatSid(user, sid);
    const KelNodePtr made = CreateKelNode(L"AuthToken", L"AuthToken");
    made.SetString(L"SubjectId", L"win:sid=" + sid);
    made.SetString(L"SubjectDisplayName", info.domain + L"\\" + info.name);
    made.SetBool(L"Groups", !groups.empty());
    made.SetInt64(L"Epoch", world->tokenEpoch);
    *token = KelNodePtr(made).Detach();
    return S_OK;
}

HRESULT Tokens::IsAuthTokenExpired(IKelNode* token, BOOL* expired)
{
    if (const HRESULT hr = world->Enter(Service::Tokens); hr < 0)
        return hr;
    std::int64_t epoch = 0;
    KelNodePtr::AddRef(token).TryGetInt64(L"Epoch", epoch);
    *expired = epoch < world->tokenEpoch;
    return S_OK;
}

HRESULT Contexts::GetAuthToken(IKelNode** out)
{
    *out = t_token ? KelNodePtr(*t_token).Detach() : nullptr;
    return S_OK;
}

HRESULT Gate::GetService(const wchar_t*, std::uint32_t, REFIID iid, void** out)
{
    const HRESULT hr = world->Enter(Service::Gate);
    return hr < 0 ? hr : QueryInterface(iid, out);
}

HRESULT Gate::ProcessRequest(IKelNode* request, IKelNode** response)
{
    const KelNodePtr node = KelNodePtr::AddRef(request);
    const Role role(node.GetString(L"DestUserName"), node.GetString(L"ReportServerUrl"));
    if (std::exchange(isAsked, true))
        Fail("two roles are asked for at once");
    const HRESULT hr = world->Enter(Service::Gate);
    isAsked = false;
    if (hr < 0 && Dice().OneIn(2))
        return hr;
    const KelNodePtr answer = CreateKelNode(nullptr, nullptr);
    if (hr < 0)
        answer.SetInt32(L"AdjustResult", hr);
    else if (!granted.insert(role).second && early.erase(role) == 0 && isExact)
        Fail("a role was asked for again: " + Text::ToUtf8(role.first));
    else if (!told.contains(role.second) || LastWait() < told[role.second])
        early.insert(role);
    *response = KelNodePtr(answer).Detach();
    return S_OK;
}

struct Connection : Twin<IDatabaseConnection>
{
    ~Connection() override
    {
        if (world->database->writing == this)
            world->database->writing = nullptr;
    }
    HRESULT Execute(const wchar_t* sql, std::int32_t, IKelNode**) override
    {
        Database& database = *world->database;
        if (const HRESULT hr = world->Enter(Service::Database); hr < 0)
            return hr;
        const Host::SqlStatement statement = Host::ReadSqlStatement(sql);
        if (statement.kind == Host::SqlStatement::Kind::CreateStaging) {
            if (database.writing)
                Fail("two writes at once");
            database.writing = this;
        }
        for (const Host::StagedRow& row : statement.rows)
            staged.emplace(row.loginName, row.managedObjectUId);
        if (statement.kind != Host::SqlStatement::Kind::Merge)
            return S_OK;
        database.table = std::exchange(staged, {});
        database.writing = nullptr;
        ++database.writes;
        return world->Enter(Service::Database); // may fail with the work done
    }

    Rows staged;
};

HRESULT Database::OpenConnection(IKelNode*, std::int32_t, IDatabaseConnection** out)
{
    const HRESULT hr = world->Enter(Service::Database);
    if (hr >= 0)
        *out = new Connection;
    return hr;
}

HRESULT Source::GetAllowedViewers(IKelNode** out)
{
    const KelNodePtr list = CreateKelNode(nullptr, nullptr);
    for (const int account : std::set(accounts)) {
        const KelNodePtr item = CreateKelNode(nullptr, L"AccessRightsItem");
        item.SetString(L"LogonName", Name(account));
        item.SetStringList(L"ContainerId", {L"c0"});
        if (IsLocal(account))
            item.SetBool(L"IsLocalOnly", true);
        list.AddChild(item);
    }
    const HRESULT hr = world->Enter(Service::Source);
    if (hr < 0 && Dice().OneIn(2))
        return hr;
    *out = hr < 0 ? nullptr : KelNodePtr(list).Detach(); // success without a list is a failure as well
    return S_OK;
}

} // namespace Simulation

// The simulated network: one host that is this computer, and all others.
namespace Platform
{

NetworkSession::NetworkSession() : m_result(S_OK) {}

NetworkSession::~NetworkSession() = default;

HRESULT ResolveHost(const std::wstring& host, std::vector<NetworkAddress>& addresses)
{
    const HRESULT hr = Simulation::world->Enter(Simulation::Service::Network);
    const auto first = static_cast<std::uint8_t>(host == L"local" ? 127 : host == L"HERE" ? 10 : 11);
    addresses = {{NetworkAddress::V4, {first, 0, 0, 1}, 0}};
    return hr;
}

HRESULT GetLocalComputerName(std::wstring& name)
{
    name = L"HERE";
    return S_OK;
}

} // namespace Platform
