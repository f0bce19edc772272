// Comparison of nodes.
#pragma once

#include "Common/Nodes/KelNodePtr.h"

enum KelCompareFlags : std::uint32_t
{
    KelCompareAll = 0,            // paths, every attribute, children in order
    KelIgnoreIdentity = 1,        // not the two nodes' own names or paths
    KelCompareNames = 2,          // names instead of paths
    KelIgnoreChildren = 4,        //
    KelIgnoreChildOrder = 8,      //
    KelIgnoreAttributes = 16,     //
    KelIgnoreCase = 32,           // of text attributes
    KelIgnoreHashAttributes = 64, // attributes whose names begin with "#"
    KelPairByPosition = 128,      // children by position instead of by name
};

// Children are matched by name: the partner of child i is child i of the other node where the names agree, and only
// otherwise the child found by name. Lists of nameless items are thereby compared item by item, in linear time.
bool KelNodesEqual(const KelNodePtr& a, const KelNodePtr& b, std::uint32_t flags);

// For nodes that may be empty: both are empty, or neither is and they are equal.
bool KelNodesEqualOrNone(const KelNodePtr& a, const KelNodePtr& b, std::uint32_t flags);
