// Who gained and who lost rights between two access-info lists.
#pragma once

#include "Common/Nodes/KelNodePtr.h"

#include <string>

// "+3 -1 rows: +CORP\ann (2 objects), +CORP\bob (every object), -CORP\eve (1 object)": the rows that only one of the
// lists stands for. Accounts stand in the order of their texts, 20 at most, then " and N more". A row that a list holds
// several times counts once; texts are compared to the letter. Takes time in proportion to the lists, and memory for
// the accounts whose items differ; for more where many items in a row came or went. Throws HRX when a node cannot be
// read.
std::wstring DescribeAccessChanges(const KelNodePtr& before, const KelNodePtr& after);
