// Nodes in log lines.
#pragma once

#include "Common/Diagnostics/LogText.h"
#include "Common/Nodes/HiddenAttributes.h"
#include "Common/Nodes/KelNodePtr.h"

// "KelNode[0x<handle>]:" and, from the next line on, the whole tree with hidden attributes masked; "KelNode[<null>]"
// for an empty handle. The node itself is never changed.
std::wstring KelNodeForLog(const KelNodePtr& node, const HiddenAttributes& hidden);

LogText& operator<<(LogText& text, const KelNodePtr& node);
