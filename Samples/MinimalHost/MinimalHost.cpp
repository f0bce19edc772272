// A host in miniature: one object is all that the updater asks of its host. It has one update cycle run, prints the SQL
// for the reporting database, and lets go of the module.
#include "Host/Halvex/Registry.h"
#include "Interfaces/AccessInfo.h"
#include "Interfaces/ComponentPtr.h"
#include "Interfaces/ComponentsModule.h"
#include "Interfaces/ConfigurableComponent.h"
#include "Interfaces/ReportingDatabase.h"
#include "Interfaces/ReportingSettings.h"

#include <cwchar>
#include <iostream>

void Check(HRESULT result)
{
    if (FAILED(result))
        throw result;
}

// A node that has no name; its texts are UTF-16LE, the terminating zero included.
struct Node
{
    explicit Node(const wchar_t* type = nullptr) { Check(KelnCreateNode(nullptr, type, &handle)); }
    Node(const Node&) = delete;
    ~Node() { KelnCloseNodeHandle(handle); }

    template <std::size_t N>
    void Set(const wchar_t* name, const char16_t (&text)[N], uint16_t type = KelnText)
    {
        Check(KelnSetAttribute(handle, name, type, text, sizeof text));
    }

    IKelNode* handle = nullptr;
};

struct MinimalHost final : IDatabaseConnectionManager, IDatabaseConnection, IReportingSettingsManager, IAccessInfoSource
{
    // It lives in main(), longer than every reference to it.
    ULONG AddRef() override { return 2; }
    ULONG Release() override { return 1; }
    HRESULT QueryInterface(REFIID iid, void** out) override
    {
        if (iid == IDatabaseConnectionManager::Iid)
            *out = static_cast<IDatabaseConnectionManager*>(this);
        else if (iid == IReportingSettingsManager::Iid)
            *out = static_cast<IReportingSettingsManager*>(this);
        else if (iid == IAccessInfoSource::Iid)
            *out = static_cast<IAccessInfoSource*>(this);
        else
            return E_NOINTERFACE;
        return S_OK;
    }

    HRESULT OpenConnection(IKelNode*, int32_t, IDatabaseConnection** out) override
    {
        *out = this;
        return S_OK;
    }
    HRESULT Execute(const wchar_t* sql, int32_t, IKelNode**) override
    {
        std::wcout << sql << std::endl;
        isListed = isListed || std::wcsstr(sql, L"(N'EXAMPLE\\ann',NULL,'A')");
        isWritten = isWritten || (isListed && std::wcsstr(sql, L"MERGE"));
        return S_OK;
    }

    HRESULT Subscribe(int32_t type, IReportingSettingsModifySink* sink, IKelNode** subscription) override
    {
        const HRESULT result = KelnCreateNode(L"Subscription", nullptr, subscription);
        if (SUCCEEDED(result))
            sink->OnModified(type, 0, settings.handle);
        return result;
    }
    HRESULT Unsubscribe(IKelNode*) override { return S_OK; }

    HRESULT GetAllowedViewers(IKelNode** list) override
    try {
        Node item(L"AccessRightsItem"); // without containers: may view everything
        item.Set(L"LogonName", u"EXAMPLE\\ann");
        if (!*list)
            Check(KelnCreateNode(nullptr, nullptr, list));
        return KelnAddChild(*list, item.handle);
    } catch (HRESULT failure) {
        return failure;
    }

    Node settings;
    bool isListed = false;
    bool isWritten = false;
};

int main()
try {
    MinimalHost host;
    Node entry;
    entry.Set(L"ReportServerUrl", u"http://localhost/ReportServer");
    const uint8_t enabled = 1;
    Check(KelnSetAttribute(entry.handle, L"Enabled", KelnBool, &enabled, sizeof enabled));
    Check(KelnAddChild(host.settings.handle, entry.handle));
    Check(HalvexRegisterInstance(L"Host", static_cast<IAccessInfoSource*>(&host)));

    Node config;
    config.Set(L"DatabaseConnectionManager", u"Host");
    config.Set(L"ReportingSettingsManager", u"Host");
    config.Set(L"RegisterAccessInfoSources", u"Host", KelnTextList);

    void* object = nullptr;
    Check(GetComponentsModuleObject(&object));
    const auto kestrine = static_cast<IComponentsModule*>(object); // is not counted
    {
        ComponentPtr<IConfigurableComponent> component;
        Check(kestrine->CreateInstance(KestrineClasses::ReportAccessInfoUpdater, IConfigurableComponent::Iid,
                                       component.OutVoid()));
        Check(component->Configure(config.handle));
        ComponentPtr<IAccessInfoUpdater> updater;
        Check(component->QueryInterface(IAccessInfoUpdater::Iid, updater.OutVoid()));
        Check(updater->UpdateAccessInfo(nullptr, TRUE)); // returns when a cycle is over
    }
    BOOL locked = TRUE;
    Check(kestrine->IsLocked(&locked));
    Check(HalvexUnregisterInstance(L"Host"));
    Check(host.isWritten && !locked ? S_OK : E_FAIL);
    return 0;
} catch (HRESULT failure) {
    std::wcerr << L"MinimalHost: failed with 0x" << std::hex << static_cast<ULONG>(failure) << std::endl;
    return 1;
}
