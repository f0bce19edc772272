// A host in miniature: one object is all that the updater asks of its host. It has one update cycle run, prints the SQL
// for the reporting database, and lets go of the module.
#include "Host/Halvex/Registry.h"
#include "Interfaces/AccessInfo.h"
#include "Interfaces/Component.h"
#include "Interfaces/ComponentsModule.h"
#include "Interfaces/ConfigurableComponent.h"
#include "Interfaces/ReportingDatabase.h"
#include "Interfaces/ReportingSettings.h"

#include <iostream>

// A node without name.
struct Node
{
    explicit Node(const wchar_t* type = nullptr) { KelnCreateNode(nullptr, type, &handle); }
    Node(const Node&) = delete;
    ~Node() { KelnCloseNodeHandle(handle); }

    template <class Value> // texts are UTF-16LE, the terminating zero included
    void Set(const wchar_t* name, uint16_t type, const Value& value)
    {
        KelnSetAttribute(handle, name, type, &value, sizeof value);
    }

    IKelNode* handle = nullptr;
};

struct MinimalHost final
    : Component<IDatabaseConnectionManager, IDatabaseConnection, IReportingSettingsManager, IAccessInfoSource>
{
    HRESULT OpenConnection(IKelNode*, int32_t, IDatabaseConnection** out) override
    {
        return AddRef(), *out = this, S_OK;
    }
    HRESULT Execute(const wchar_t* text, int32_t, IKelNode**) override { return sql += text, S_OK; }

    HRESULT Subscribe(int32_t type, IReportingSettingsModifySink* sink, IKelNode** subscription) override
    {
        Node settings, entry;
        entry.Set(L"ReportServerUrl", KelnText, u"http://localhost/ReportServer");
        entry.Set(L"Enabled", KelnBool, true);
        KelnAddChild(settings.handle, entry.handle);
        sink->OnModified(type, 0, settings.handle);
        return KelnCreateNode(L"Subscription", nullptr, subscription);
    }
    HRESULT Unsubscribe(IKelNode*) override { return S_OK; }

    HRESULT GetAllowedViewers(IKelNode** list) override
    {
        Node item(L"AccessRightsItem"); // without containers: may view everything
        item.Set(L"LogonName", KelnText, u"EXAMPLE\\ann");
        if (!*list)
            KelnCreateNode(nullptr, nullptr, list);
        return KelnAddChild(*list, item.handle);
    }

    std::wstring sql;
};

int main()
{
    const auto host = MakeComponent<MinimalHost>();
    HalvexRegisterInstance(L"Host", host->Base());
    Node config;
    config.Set(L"DatabaseConnectionManager", KelnText, u"Host");
    config.Set(L"ReportingSettingsManager", KelnText, u"Host");
    config.Set(L"RegisterAccessInfoSources", KelnTextList, u"Host");

    void* object = nullptr;
    GetComponentsModuleObject(&object);
    const auto kestrine = static_cast<IComponentsModule*>(object); // is not counted
    ComponentPtr<IConfigurableComponent> component;
    ComponentPtr<IAccessInfoUpdater> updater;
    const bool isDone = SUCCEEDED(kestrine->CreateInstance(KestrineClasses::ReportAccessInfoUpdater,
                                                           IConfigurableComponent::Iid, component.OutVoid())) &&
                        SUCCEEDED(component->Configure(config.handle)) &&
                        SUCCEEDED(component->QueryInterface(IAccessInfoUpdater::Iid, updater.OutVoid())) &&
                        SUCCEEDED(updater->UpdateAccessInfo(nullptr, TRUE)); // returns when a cycle is over
    updater.Reset();
    component.Reset();
    HalvexUnregisterInstance(L"Host");
    BOOL isLocked = TRUE;
    kestrine->IsLocked(&isLocked);
    std::wcout << host->sql << std::endl;
    const std::size_t row = host->sql.find(L"(N'EXAMPLE\\ann',NULL,'A')");
    return isDone && !isLocked && host->sql.find(L"MERGE", row) != host->sql.npos ? 0 : 1;
}
