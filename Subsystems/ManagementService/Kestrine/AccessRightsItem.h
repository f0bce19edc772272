// Access rights items and lists of them (Interfaces/AccessInfo.h).
#pragma once

#include "Common/ErrorHandling/HResult.h"
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

// What a source's GetAllowedViewers does: `append` adds its items to the caller's list, or to a new one, which the
// caller gets when all went well. Throws HRX E_POINTER for a null pointer, and what `append` throws.
template <class Append>
void HandOut(IKelNode** accessInfo, Append append)
{
    CheckPointer(accessInfo);
    KelNodePtr list = *accessInfo ? KelNodePtr::AddRef(*accessInfo) : MakeList();
    append(list);
    if (!*accessInfo)
        *accessInfo = list.Detach();
}

// Calls `take(object)` for each row of the table that the item stands for; the empty text is every object. Only an
// absent `ContainerId` stands for every object; one without value names none.
template <class Take>
void ForEachRow(const KelNodePtr& item, Take take)
{
    std::vector<std::wstring> containers;
    if (!item.GetStringList(ContainerId, containers) && !item.HasAttribute(ContainerId))
        take(std::wstring());
    for (const std::wstring& container : containers) {
        if (!container.empty())
            take(container);
    }
}

} // namespace AccessRights

// A deep copy of the list without the items whose `IsLocalOnly` is true.
KelNodePtr RemoveLocalOnlyItems(const KelNodePtr& accessInfo);
