// Navigation by path.
#pragma once

#include "Common/Nodes/KelNodePtr.h"

enum NodePathFlags : std::uint32_t
{
    NodePathDownOnly = 1, // resolves nothing when steps up would be needed
    NodePathRequired = 2, // HRX 0x80070490 instead of an empty result
};

// The node at `path`, whose segments are separated by "\": absolute paths (beginning with "\") are compared with the
// start node's own path, other paths lead downward from it. Empty when there is no such node.
KelNodePtr ResolveNodePath(const KelNodePtr& start, const std::wstring& path, std::uint32_t flags);
