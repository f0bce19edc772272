// Access rights items and lists of them (Interfaces/AccessInfo.h).
#pragma once

#include "Common/Nodes/KelNodePtr.h"

namespace AccessRights
{

inline constexpr wchar_t ItemType[] = L"AccessRightsItem";
inline constexpr wchar_t LogonName[] = L"LogonName";
inline constexpr wchar_t ContainerId[] = L"ContainerId";
inline constexpr wchar_t IsLocalOnly[] = L"IsLocalOnly";

// A list without items: a node without name and type.
KelNodePtr MakeList();

// An item without attributes.
KelNodePtr MakeItem();

} // namespace AccessRights

// A deep copy of the list without the items whose `IsLocalOnly` is true.
KelNodePtr RemoveLocalOnlyItems(const KelNodePtr& accessInfo);
