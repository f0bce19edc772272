#include "Subsystems/ManagementService/Kestrine/AccessRightsItem.h"

namespace AccessRights
{

KelNodePtr MakeList()
{
    return CreateKelNode(nullptr, nullptr);
}

KelNodePtr MakeItem()
{
    return CreateKelNode(nullptr, ItemType);
}

} // namespace AccessRights

KelNodePtr RemoveLocalOnlyItems(const KelNodePtr& accessInfo)
{
    KelNodePtr copy = accessInfo.Clone(KelnWholeTree);
    for (const KelNodePtr& item : copy.GetChildren()) {
        bool isLocalOnly = false;
        if (item.TryGetBool(AccessRights::IsLocalOnly, isLocalOnly) && isLocalOnly)
            copy.RemoveChild(item);
    }
    return copy;
}
