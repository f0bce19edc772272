// The host's reporting settings and the sink that is notified of their changes.
//
// The settings of type 1 (database connection settings) are a node whose children are entries with `Enabled` (boolean),
// `ReportServerUrl`, `ReportServerUserName` (texts) and `ReportServerPassword` (any type). The first enabled entry
// counts.
#pragma once

#include "Interfaces/ComponentBase.h"
#include "Interfaces/Nodwell.h"

struct IReportingSettingsModifySink : IComponentBase
{
    static constexpr GUID Iid{0x4C6FFB83, 0x545F, 0x4F0F, {0xA8, 0x9F, 0x0A, 0x0F, 0x9A, 0x8A, 0x89, 0x6C}};

    // The settings are now `settings` (borrowed for the call). `value` is not used. Called on a thread of the manager's
    // choosing. E_POINTER for a null node.
    virtual HRESULT OnModified(int32_t settingsType, int32_t value, IKelNode* settings) = 0;
};

// Named instance; its name is the updater's key `ReportingSettingsManager`.
struct IReportingSettingsManager : IComponentBase
{
    static constexpr GUID Iid{0x316334B1, 0xA966, 0x4688, {0xA9, 0xC5, 0x01, 0x5B, 0x02, 0x09, 0x7A, 0x4A}};

    virtual HRESULT UnusedSlot3() { return E_NOTIMPL; }
    virtual HRESULT UnusedSlot4() { return E_NOTIMPL; }
    virtual HRESULT UnusedSlot5() { return E_NOTIMPL; }

    // Subscribes `sink` (the manager keeps a reference) to the settings of a type; the module passes 1. `subscription`
    // receives the handle for `Unsubscribe`. The current settings, where there are any, are delivered as the first
    // notification.
    virtual HRESULT Subscribe(int32_t settingsType, IReportingSettingsModifySink* sink, IKelNode** subscription) = 0;

    // Ends the subscription and releases the sink.
    virtual HRESULT Unsubscribe(IKelNode* subscription) = 0;
};
