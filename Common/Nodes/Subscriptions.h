// Subscriptions to node changes: the request's nodes, and reading a notification.
#pragma once

#include "Common/Nodes/KelNodePtr.h"
#include "Interfaces/ConfigServer.h"

#include <functional>

inline constexpr wchar_t ConfigServerProxyName[] = L"ConfigServer.Proxy";

// "SubscribeConfig", for all kinds of changes. `options` belong to the configuration server.
KelNodePtr MakeSubscribeRequest(std::int32_t options);

// "FilterByPath". `maxDepth`: levels watched below the path; 0 for the node alone, 0x7FFFFFFF for all.
KelNodePtr MakePathFilter(const std::wstring& path, bool isParent, std::int64_t maxDepth);
void SetMaxDepth(const KelNodePtr& filter, std::int64_t maxDepth);

// One entry of a notification.
struct ModifiedNode
{
    std::wstring path;
    std::uint32_t changesMask; // low 32 bits of what the server sent
    KelNodePtr node;           // empty when the entry carries none
};

// Calls `callback` for each entry in order. Throws HRX for an entry without path or mask; entries before it were passed
// on, later ones are not.
void ForEachModifiedNode(IKelNodeModifyEnum* modifiedNodes, const std::function<void(const ModifiedNode&)>& callback);
