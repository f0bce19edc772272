// Who may view: client requests, a run of the configured accounts tracker, a run of the roles updater.
#include "Benchmarks/Support.h"
#include "Platform/Testing/TestAccounts.h"
#include "Subsystems/ManagementService/Kestrine/ConfiguredAccountsTracker.h"
#include "Subsystems/ManagementService/Kestrine/PrepareReportAccessService.h"
#include "Subsystems/ManagementService/Kestrine/SSRSRolesUpdater.h"
#include "Tests/Support/HostFakes.h"
#include "Tests/Support/SecurityFakes.h"

#include <benchmark/benchmark.h>
#include <optional>

namespace
{

using Texts = std::vector<std::wstring>;

const Texts Containers{L"0C8E2B1A-5D3F-4E7A-9B61-2F4D8C7A1E05", L"5B0F3A77-16C2-4D0E-8A9D-7E31B2C4D5F6",
                       L"9D41C6E0-2A8B-4F13-B7C5-60E1F2A3B4C5"};

// Counts the updates that it is asked for.
struct CountingUpdater : FakeComponent<IAccessInfoUpdater>
{
    HRESULT RegisterAccessInfoSource(IAccessInfoSource*) override { return E_NOTIMPL; }
    HRESULT UnregisterAccessInfoSource(IAccessInfoSource*) override { return E_NOTIMPL; }
    HRESULT UpdateAccessInfo(IAccessInfoSource*, BOOL) override
    {
        ++updates;
        return S_OK;
    }
    std::atomic<int> updates{0};
};

void WaitWhile(const std::function<bool()>& condition)
{
    while (condition())
        std::this_thread::yield();
}

class Requests : public benchmark::Fixture
{
public:
    // Every thread calls it, the others wait for the first one.
    void SetUp(benchmark::State& state) override
    {
        if (state.thread_index() == 0)
            m_site.emplace();
    }
    void TearDown(benchmark::State& state) override
    {
        if (state.thread_index() == 0)
            m_site.reset();
    }

protected:
    struct Site
    {
        Site()
        {
            SetMaxSeverity(L"WARN");
            CComponentObject<CPrepareReportAccessService>::Create(IRequestService::Iid, service.OutVoid());
            const KelNodePtr config = CreateKelNode(nullptr, nullptr);
            config.SetString(L"ReportAccessInfoUpdater", L"Benchmark.Updater");
            config.SetString(L"RequiredContainerPermission", L"ViewReports");
            ComponentPtr<IConfigurableComponent> configurable;
            service->QueryInterface(IConfigurableComponent::Iid, configurable.OutVoid());
            configurable->Configure(config.Get());
            for (int i = 0; i < 1000; ++i)
                checker.grants[L"EXAMPLE\\user" + std::to_wstring(i)] = Containers;
        }

        FakeRequestContextMgr contexts;
        FakePermissionsChecker checker;
        CountingUpdater updater;
        RegisteredInstance namedContexts{L"Core.RequestContextMgr", static_cast<IRequestContextMgr*>(&contexts)};
        RegisteredInstance namedChecker{L"Security.PermissionsChecker", &checker};
        RegisteredInstance namedUpdater{L"Benchmark.Updater", &updater};
        ComponentPtr<IRequestService> service;
    };
    std::optional<Site> m_site;
};

// Requests of a thousand clients whose access does not change.
BENCHMARK_DEFINE_F(Requests, OfKnownClients)(benchmark::State& state)
{
    std::vector<KelNodePtr> tokens;
    for (int i = 0; i < 1000; ++i) {
        const std::wstring number = std::to_wstring(i);
        tokens.push_back(MakeToken(L"win:sid=S-1-5-21-1-2-3-" + number, L"EXAMPLE\\user" + number));
    }
    const KelNodePtr request = CreateKelNode(nullptr, nullptr);
    std::size_t next = 0;
    for (auto _ : state) {
        FakeRequestContextMgr::t_token = &tokens[next++ % tokens.size()];
        IKelNode* response = nullptr;
        if (m_site->service->ProcessRequest(request.Get(), &response) != S_OK)
            state.SkipWithError("a request failed");
    }
    FakeRequestContextMgr::t_token = nullptr;
    state.SetItemsProcessed(state.iterations());
}

// From the notification to the updater's being asked: every name resolved, every token judged or minted, every
// permission queried.
void TrackerRun(benchmark::State& state)
{
    SetMaxSeverity(L"ERR");
    std::string entries = "computer = S-1-5-21-10-20-30\ndomain CORP = S-1-5-21-1-2-3\n";
    FakeTokenMgr tokenMgr;
    FakePermissionsChecker checker;
    Texts texts;
    for (std::int64_t i = 0; i < state.range(0); ++i) {
        const std::string number = std::to_string(i);
        entries += "user CORP\\user" + number + " = " + std::to_string(1000 + i) + "\n";
        texts.push_back(L"CORP\\user" + std::to_wstring(i));
        tokenMgr.names[L"S-1-5-21-1-2-3-" + std::to_wstring(1000 + i)] = texts.back();
        checker.grants[texts.back()] = Containers;
    }
    const TestAccounts accounts(entries);
    const KelNodePtr all = CreateKelNode(L"Viewers", nullptr);
    all.SetStringList(L"Accounts", texts);
    const KelNodePtr allButOne = CreateKelNode(L"Viewers", nullptr);
    allButOne.SetStringList(L"Accounts", {texts.begin() + 1, texts.end()});

    CountingUpdater updater;
    FakeConfigServer server;
    const RegisteredInstance namedServer(L"ConfigServer.Proxy", &server);
    const RegisteredInstance namedUpdater(L"Benchmark.Updater", &updater);
    const RegisteredInstance namedChecker(L"Security.PermissionsChecker", &checker);
    const RegisteredInstance namedTokenMgr(L"Security.AuthTokenMgr", &tokenMgr);
    const KelNodePtr config = CreateKelNode(nullptr, nullptr);
    config.SetString(L"ReportAccessInfoUpdater", L"Benchmark.Updater");
    config.SetString(L"RequiredContainerPermission", L"ViewReports");
    const KelNodePtr items = CreateKelNode(L"TrackingItems", nullptr);
    const KelNodePtr item = CreateKelNode(nullptr, L"TrackingItem");
    item.SetString(L"NodePath", L"\\Site\\Viewers");
    item.SetString(L"Attribute", L"Accounts");
    items.AddChild(item);
    config.AddChild(items);
    ComponentPtr<IConfigurableComponent> tracker;
    CComponentObject<CConfiguredAccountsTracker>::Create(IConfigurableComponent::Iid, tracker.OutVoid());
    tracker->Configure(config.Get());

    const auto run = [&](const KelNodePtr& viewers) {
        const int updates = updater.updates;
        server.Notify(server.subscriptions[0], viewers);
        WaitWhile([&] { return updater.updates == updates; });
    };
    const auto start = std::chrono::steady_clock::now();
    run(all);
    state.counters["first run, ms"] = static_cast<double>(
        std::chrono::duration_cast<std::chrono::milliseconds>(std::chrono::steady_clock::now() - start).count());
    bool whole = true;
    for (auto _ : state) {
        whole = !whole;
        run(whole ? all : allButOne);
    }
    state.SetComplexityN(state.range(0));
}

// From the report of new accounts to the last request.
void RolesRun(benchmark::State& state)
{
    SetMaxSeverity(L"WARN");
    FakeSettingsGate gate;
    std::atomic<std::int64_t> requests{0};
    gate.hook = [&](const std::wstring&) { ++requests; };
    const RegisteredInstance namedClient(L"Core.ServiceClient", static_cast<IServiceClient*>(&gate));
    ComponentPtr<IConfigurableComponent> configurable;
    CComponentObject<CSSRSRolesUpdater>::Create(IConfigurableComponent::Iid, configurable.OutVoid());
    ComponentPtr<IAccessInfoConsumer> consumer;
    configurable->QueryInterface(IAccessInfoConsumer::Iid, consumer.OutVoid());
    configurable->Configure(CreateKelNode(nullptr, nullptr).Get());
    const KelNodePtr list = MakeAccessInfo(state.range(0));
    int round = 0;
    for (auto _ : state) {
        // New settings make every account a new one.
        const KelNodePtr settings = MakeEntry(L"entry", true, (L"http://reports/" + std::to_wstring(++round)).c_str());
        settings.SetString(L"ReportServerUserName", L"svc");
        settings.SetString(L"ReportServerPassword", L"secret");
        const std::int64_t expected = requests + state.range(0);
        consumer->OnReportingSettingsUpdated(settings.Get());
        consumer->OnAccessInfoUpdated(list.Get());
        WaitWhile([&] { return requests < expected; });
    }
    state.SetComplexityN(state.range(0));
}

} // namespace

BENCHMARK_REGISTER_F(Requests, OfKnownClients)->Threads(1)->Threads(8)->UseRealTime();
BENCHMARK(TrackerRun)
    ->Arg(1000)
    ->Arg(10000)
    ->Unit(benchmark::kMillisecond)
    ->UseRealTime()
    ->Complexity(benchmark::oNLogN);
BENCHMARK(RolesRun)->Arg(1000)->Arg(10000)->Unit(benchmark::kMillisecond)->UseRealTime()->Complexity(benchmark::oNLogN);
