// What surrounds the module in a life: a host of twins that are as simple as can be, and what they know. Only the
// thread that the scheduler lets run touches it, so nothing here is locked unless somebody waits for it.
#pragma once

#include "Common/Components/InterfaceLookup.h"
#include "Common/Nodes/KelNodePtr.h"
#include "Interfaces/AccessInfo.h"
#include "Interfaces/AuthTokens.h"
#include "Interfaces/ComponentPtr.h"
#include "Interfaces/ConfigServer.h"
#include "Interfaces/PermissionsChecker.h"
#include "Interfaces/ReportingDatabase.h"
#include "Interfaces/ReportingSettings.h"
#include "Interfaces/RequestContext.h"
#include "Interfaces/RequestService.h"
#include "Interfaces/ServiceClient.h"
#include "Platform/Threads.h"

#include <array>
#include <functional>
#include <list>
#include <map>
#include <mutex>
#include <optional>
#include <set>
#include <vector>

namespace Simulation
{

template <class... I>
class Twin : public I...
{
public:
    Twin() = default;
    virtual ~Twin() = default;
    Twin(const Twin&) = delete;
    Twin& operator=(const Twin&) = delete;

    ULONG AddRef() override { return ++m_references; }
    ULONG Release() override
    {
        const ULONG left = --m_references;
        if (left == 0)
            delete this;
        return left;
    }
    HRESULT QueryInterface(REFIID iid, void** out) override
    {
        const HRESULT hr = LookUpInterface(*this, InterfaceList<I...>(), iid, out);
        if (hr >= 0)
            AddRef();
        return hr;
    }
    ULONG References() const { return m_references; }

private:
    ULONG m_references = 1;
};

enum class Service
{
    ConfigServer,
    Settings,
    Checker,
    Tokens,
    Gate,
    Database,
    Source,
    Network,
    Count
};

inline constexpr HRESULT Injected = static_cast<HRESULT>(0x8004F001);
inline constexpr int Accounts = 10; // the first six make requests, the others are named in the configuration
inline constexpr int Requesters = 6;
inline constexpr int Member = 8; // has its permissions from a group
inline constexpr const wchar_t* Permissions[]{L"ViewReports", L"ViewData"};

std::wstring Name(int account);
std::wstring Sid(int account);
bool IsLocal(int account);

// How the components are configured. Each reads its part.
struct Choice
{
    bool keepLocal = false;
    int rbacNode = 0;
    int permission = 0;
    bool unlimited = false; // configured accounts need no permission
    bool groups = false;
    int items = 3; // a bit for each of the nodes whose accounts are tracked
};

using Containers = std::vector<std::wstring>; // empty: all
using Grant = std::optional<Containers>;
using Row = std::pair<std::optional<std::wstring>, std::optional<std::wstring>>;
using Rows = std::set<Row>;

// Notifications, one after the other for each key, on a thread of the host.
class Deliveries
{
public:
    Deliveries();
    void Stop();
    void Post(const void* key, std::function<void()> call);
    // The first one of a key: on the calling thread or posted.
    void First(const void* key, const std::function<std::function<void()>()>& make);
    // Forgets what was posted, or waits for the call in progress; the others leave it to chance.
    void Cancel(const void* key);
    void Wait(const void* key);
    bool IsIdle() const { return m_queue.empty() && m_running.empty(); }

private:
    void Run();
    void Finish(const void* key);

    Platform::Mutex m_lock;
    Platform::Condition m_changed;
    std::list<std::pair<const void*, std::function<void()>>> m_queue;
    std::map<const void*, unsigned> m_running; // the threads
    bool m_stopped = false;
    Platform::WorkerThread m_thread;
};

class ConfigSubscription : public Twin<IKelModifySubscription>
{
public:
    ConfigSubscription(std::wstring itsPath, IModifySubscriptionSink* itsSink);
    ~ConfigSubscription() override;
    HRESULT Activate() override;
    HRESULT UnusedSlot4() override { return E_NOTIMPL; }
    HRESULT GetId(GUID* out) override { return *out = id, S_OK; }
    std::function<void()> Notification(); // of the state now

    const std::wstring path;
    IModifySubscriptionSink* const sink;
    GUID id{};
    bool active = false;
};

struct ConfigServer : Twin<IConfigServerProxy>
{
    HRESULT Subscribe(IKelNode* filter, IKelNode* request, IModifySubscriptionSink* sink,
                      IKelModifySubscription** out) override;
    HRESULT Unsubscribe(IKelModifySubscription* subscription) override;
    void Notify(const std::wstring& path);

    std::vector<ConfigSubscription*> subscriptions;
};

struct SettingsManager : Twin<IReportingSettingsManager>
{
    HRESULT UnusedSlot3() override { return E_NOTIMPL; }
    HRESULT UnusedSlot4() override { return E_NOTIMPL; }
    HRESULT UnusedSlot5() override { return E_NOTIMPL; }
    HRESULT Subscribe(std::int32_t settingsType, IReportingSettingsModifySink* sink, IKelNode** out) override;
    HRESULT Unsubscribe(IKelNode* subscription) override;
    void Notify();
    void Remove(const IKelNode* handle);

    std::vector<std::pair<KelNodePtr, ComponentPtr<IReportingSettingsModifySink>>> subscriptions;
};

struct Checker : Twin<IPermissionsChecker>
{
    HRESULT GetAccessibleContainers(IKelNode* token, const wchar_t* permission, std::uint32_t* scope,
                                    IKelNode** containers) override;
};

struct Tokens : Twin<IAuthTokenMgr>
{
    HRESULT MakeAuthToken(std::uint32_t kind, std::uintptr_t, std::uintptr_t, void* context, IKelNode** token) override;
    HRESULT IsAuthTokenExpired(IKelNode* token, BOOL* expired) override;
};

struct Contexts : Twin<IRequestContextMgr, IRequestContext>
{
    HRESULT GetContext(std::uint32_t, IRequestContext** out) override { return AddRef(), *out = this, S_OK; }
    HRESULT UnusedSlot3() override { return E_NOTIMPL; }
    HRESULT UnusedSlot4() override { return E_NOTIMPL; }
    HRESULT UnusedSlot5() override { return E_NOTIMPL; }
    HRESULT UnusedSlot6() override { return E_NOTIMPL; }
    HRESULT UnusedSlot7() override { return E_NOTIMPL; }
    HRESULT UnusedSlot8() override { return E_NOTIMPL; }
    HRESULT UnusedSlot9() override { return E_NOTIMPL; }
    HRESULT GetAuthToken(IKelNode** out) override;

    static inline thread_local const KelNodePtr* t_token = nullptr;
};

struct Gate : Twin<IServiceClient, IRequestService>
{
    HRESULT GetService(const wchar_t* name, std::uint32_t, REFIID iid, void** out) override;
    HRESULT ProcessRequest(IKelNode* request, IKelNode** response) override;

    using Role = std::pair<std::wstring, std::wstring>; // account and report server

    bool isAsked = false;
    bool isExact = true; // nothing has made the updater go back to earlier settings
    std::set<Role> granted;
    // By a run that had begun before it could know of the report server: they may be asked for once more.
    std::set<Role> early;
    std::map<std::wstring, nanoseconds> told; // when the report servers were made known
};

struct Connection;
struct Database : Twin<IDatabaseConnectionManager>
{
    HRESULT OpenConnection(IKelNode* entry, std::int32_t mode, IDatabaseConnection** out) override;

    Rows table;
    const Connection* writing = nullptr; // has a temporary table, and no merge yet
    int writes = 0;
};

struct Source : Twin<IAccessInfoSource>
{
    HRESULT GetAllowedViewers(IKelNode** out) override;

    std::set<int> accounts;
    int registrations = 0;
};

class World
{
public:
    World();

    // At the beginning of a call into the host: takes its time, and fails now and then where the weather is bad.
    HRESULT Enter(Service service);
    void Heal();
    KelNodePtr Content(const std::wstring& path) const; // of a node of the configuration
    KelNodePtr Settings() const;
    std::wstring ReportServer() const;
    Grant GrantedAsConfigured(int account) const;

    // What the table is to hold by the configuration in force and what the sources know.
    Rows Expected() const;
    bool IsInLine() const { return database->table == Expected(); }
    // Accounts in the table that have no role yet.
    std::vector<std::wstring> WithoutRole() const;

    // References of the host's.
    ConfigServer* const configServer = new ConfigServer;
    SettingsManager* const settingsManager = new SettingsManager;
    Checker* const checker = new Checker;
    Tokens* const tokens = new Tokens;
    Contexts* const contexts = new Contexts;
    Gate* const gate = new Gate;
    Database* const database = new Database;
    Source* const sources[2]{new Source, new Source};
    Deliveries deliveries;

    bool calm = true;                                                            // nothing fails, and quickly
    std::array<nanoseconds, static_cast<std::size_t>(Service::Count)> outages{}; // until when
    int injected = 0;

    // The configuration server's tree, the settings, who is granted what, and who has asked.
    std::array<bool, 2> rbacInUse{true, true};
    std::array<std::set<int>, 2> viewers;
    int settingsSerial = 0;
    bool settingsEnabled = false;
    bool settingsLocal = false;
    std::array<std::array<Grant, 2>, Accounts> grants;
    std::int64_t tokenEpoch = 0;
    std::set<int> clients;
    Choice updater;
    Choice rbac;
    Choice requests;
    Choice tracker;
};

// Of the life in progress.
extern World* world;

} // namespace Simulation
