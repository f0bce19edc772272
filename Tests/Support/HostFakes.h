// The host's components as the updater and the sources see them: they note what they are asked and fail on demand.
#pragma once

#include "Common/Nodes/KelNodePtr.h"
#include "Interfaces/AccessInfo.h"
#include "Interfaces/ConfigServer.h"
#include "Interfaces/ReportingDatabase.h"
#include "Interfaces/ReportingSettings.h"
#include "Tests/Support/FakeComponent.h"
#include "Tests/Support/Waiting.h"

#include <functional>
#include <optional>
#include <vector>

// An access rights item; no containers: not limited.
inline KelNodePtr MakeTestItem(const wchar_t* logonName, const std::vector<std::wstring>& containers = {},
                               bool isLocalOnly = false)
{
    KelNodePtr item = CreateKelNode(nullptr, L"AccessRightsItem");
    item.SetString(L"LogonName", logonName);
    if (!containers.empty())
        item.SetStringList(L"ContainerId", containers);
    if (isLocalOnly)
        item.SetBool(L"IsLocalOnly", true);
    return item;
}

using Texts = std::vector<std::wstring>;

inline KelNodePtr MakeTestList(const std::vector<KelNodePtr>& items)
{
    KelNodePtr list = CreateKelNode(nullptr, nullptr);
    for (const KelNodePtr& item : items)
        list.AddChild(item.Clone(KelnWholeTree));
    return list;
}

// "name(container,…)!" for each item, "!" for local ones.
inline Texts Describe(const KelNodePtr& list)
{
    Texts texts;
    for (const KelNodePtr& item : list.GetChildren()) {
        std::wstring text = item.GetString(L"LogonName");
        std::vector<std::wstring> containers;
        const bool limited = item.GetStringList(L"ContainerId", containers);
        for (const std::wstring& container : containers)
            text += (&container == &containers[0] ? L"(" : L",") + container;
        text += limited ? L")" : L"";
        bool local = false;
        texts.push_back(item.TryGetBool(L"IsLocalOnly", local) && local ? text + L"!" : text);
    }
    return texts;
}

struct FakeSource : FakeComponent<IAccessInfoSource>
{
    HRESULT GetAllowedViewers(IKelNode** accessInfo) override
    {
        ++asked;
        if (result >= 0 && list)
            *accessInfo = list.Clone(KelnWholeTree).Detach();
        return result;
    }

    std::atomic<int> asked{0};
    HRESULT result = S_OK;
    KelNodePtr list = CreateKelNode(nullptr, nullptr);
};

struct FakeConsumer : FakeComponent<IAccessInfoConsumer>
{
    HRESULT OnReportingSettingsUpdated(IKelNode* entry) override
    {
        settings.push_back(KelNodePtr::AddRef(entry));
        return settingsResult;
    }
    HRESULT OnAccessInfoUpdated(IKelNode* accessInfo) override
    {
        lists.push_back(Describe(KelNodePtr::AddRef(accessInfo)));
        if (hook)
            hook();
        return listResult;
    }

    std::vector<KelNodePtr> settings;
    std::vector<Texts> lists;
    std::function<void()> hook; // of the lists
    HRESULT settingsResult = S_OK;
    HRESULT listResult = S_OK;
};

// The manager, and the one connection that it hands out.
struct FakeDatabase : FakeComponent<IDatabaseConnectionManager, IDatabaseConnection>
{
    HRESULT OpenConnection(IKelNode* entry, std::int32_t mode, IDatabaseConnection** out) override
    {
        EXPECT_EQ(mode, 1);
        entries.push_back(KelNodePtr::AddRef(entry));
        if (result == S_OK) {
            AddRef();
            *out = this;
        }
        return result;
    }
    HRESULT Execute(const wchar_t* sql, std::int32_t reserved, IKelNode** out) override
    {
        EXPECT_EQ(reserved, 0);
        statements.emplace_back(sql);
        *out = CreateKelNode(L"result", nullptr).Detach();
        return S_OK;
    }

    std::vector<KelNodePtr> entries;
    HRESULT result = S_OK; // of opening; another success comes without a connection
    Texts statements;
};

struct FakeSettingsManager : FakeComponent<IReportingSettingsManager>
{
    HRESULT Subscribe(std::int32_t settingsType, IReportingSettingsModifySink* newSink,
                      IKelNode** subscription) override
    {
        EXPECT_EQ(settingsType, 1);
        if (result != S_OK)
            return result;
        sink = ComponentPtr<IReportingSettingsModifySink>(newSink);
        ++subscriptions;
        *subscription = CreateKelNode(L"subscription", nullptr).Detach();
        return S_OK;
    }
    HRESULT Unsubscribe(IKelNode* subscription) override
    {
        EXPECT_NE(subscription, nullptr);
        if (--subscriptions == 0)
            sink.Reset();
        return E_FAIL; // nobody checks
    }

    // The entries become the connection settings, in a tree that nobody keeps.
    HRESULT Deliver(const std::vector<KelNodePtr>& entries)
    {
        const KelNodePtr root = CreateKelNode(L"Reporting", nullptr);
        const KelNodePtr settings = CreateKelNode(L"DBSettings", nullptr);
        root.AddChild(settings);
        for (const KelNodePtr& entry : entries)
            settings.AddChild(entry);
        return sink->OnModified(1, 0, settings.Get());
    }

    ComponentPtr<IReportingSettingsModifySink> sink;
    int subscriptions = 0;
    HRESULT result = S_OK; // of subscribing; another success comes without a subscription
};

inline KelNodePtr MakeEntry(const wchar_t* name, bool enabled, const wchar_t* url)
{
    KelNodePtr entry = CreateKelNode(name, nullptr);
    entry.SetBool(L"Enabled", enabled);
    entry.SetString(L"ReportServerUrl", url);
    return entry;
}

struct FakeUpdater : FakeComponent<IAccessInfoUpdater>
{
    HRESULT RegisterAccessInfoSource(IAccessInfoSource*) override { return E_NOTIMPL; }
    HRESULT UnregisterAccessInfoSource(IAccessInfoSource*) override { return E_NOTIMPL; }
    HRESULT UpdateAccessInfo(IAccessInfoSource* source, BOOL wait) override
    {
        calls.emplace_back(source, wait != FALSE);
        return result;
    }

    std::vector<std::pair<IAccessInfoSource*, bool>> calls;
    HRESULT result = S_OK;
};

// One subscription of the fake configuration server.
struct FakeSubscription : FakeComponent<IKelModifySubscription>
{
    HRESULT Activate() override
    {
        ++activated;
        if (hook)
            hook();
        return activateResult;
    }
    HRESULT GetId(GUID* out) override
    {
        *out = id;
        return S_OK;
    }

    GUID id{};
    int activated = 0;
    std::function<void()> hook; // of the activation
    HRESULT activateResult = S_OK;
};

struct FakeModifiedNodes : FakeComponent<IKelNodeModifyEnum, IKelNodeIterator>
{
    HRESULT GetEnumerator(IKelNodeIterator** out) override
    {
        if (hook)
            hook();
        if (withoutEnumerator)
            return S_OK;
        AddRef();
        *out = this;
        return S_OK;
    }
    HRESULT Reset() override
    {
        next = 0;
        return E_NOTIMPL; // nobody checks
    }
    HRESULT Next(IKelNode** node) override
    {
        return next < entries.size() ? KelnDuplicateNodeHandle(entries[next++].Get(), node) : S_FALSE;
    }
    // `content` may be empty.
    void Add(const KelNodePtr& content)
    {
        KelNodePtr entry = CreateKelNode(nullptr, nullptr);
        entry.SetString(L"ModifiedNodePath", L"\\Changed");
        entry.SetInt64(L"ChangesMask", 0x1'0000'0002);
        if (content)
            entry.AddChild(content.Clone(KelnWholeTree));
        entries.push_back(entry);
    }

    std::vector<KelNodePtr> entries;
    std::size_t next = 0;
    std::function<void()> hook;
    bool withoutEnumerator = false;
};

// Hands out the subscriptions that the test prepared, in order.
struct FakeConfigServer : FakeComponent<IConfigServerProxy>
{
    FakeConfigServer()
    {
        for (std::size_t i = 0; i < subscriptions.size(); ++i)
            subscriptions[i].id.Data1 = static_cast<std::uint32_t>(100 - i);
    }
    HRESULT Subscribe(IKelNode* filter, IKelNode* request, IModifySubscriptionSink* newSink,
                      IKelModifySubscription** out) override
    {
        filters.push_back(KelNodePtr::AddRef(filter));
        requests.push_back(KelNodePtr::AddRef(request));
        sink = newSink;
        if (result != S_OK)
            return result;
        FakeSubscription& subscription = subscriptions.at(live.size() + unsubscribed.size());
        subscription.AddRef();
        *out = &subscription;
        live.push_back(&subscription);
        return S_OK;
    }
    HRESULT Unsubscribe(IKelModifySubscription* subscription) override
    {
        unsubscribed.push_back(subscription);
        std::erase(live, subscription);
        return E_FAIL; // nobody checks
    }
    HRESULT Notify(FakeSubscription& subscription, const KelNodePtr& content)
    {
        FakeModifiedNodes nodes;
        nodes.Add(content);
        return sink->OnTriggered(&subscription, 7, &nodes);
    }

    std::vector<FakeSubscription> subscriptions = std::vector<FakeSubscription>(6);
    std::vector<KelNodePtr> filters;
    std::vector<KelNodePtr> requests;
    std::vector<IKelModifySubscription*> live;
    std::vector<IKelModifySubscription*> unsubscribed;
    IModifySubscriptionSink* sink = nullptr;
    HRESULT result = S_OK; // of subscribing; another success comes without a subscription
};
