// The host's answer to the question what a token may see.
#pragma once

#include "Interfaces/ComponentBase.h"
#include "Interfaces/Nodwell.h"

enum ContainerScope : uint32_t
{
    ContainerScopeNone = 0,
    ContainerScopeListed = 1,
    ContainerScopeAll = 2,
};

// Named instance "Security.PermissionsChecker".
struct IPermissionsChecker : IComponentBase
{
    static constexpr GUID Iid{0xCB2713D1, 0xFFE1, 0x4B09, {0xB6, 0xB8, 0x19, 0x2B, 0x8B, 0x67, 0x5A, 0x3C}};

    // Which containers the token may access with the permission. For ContainerScopeListed, `containers` has one child
    // for each, with the text `Container`; a child without it widens the answer to all. May take long.
    virtual HRESULT GetAccessibleContainers(IKelNode* token, const wchar_t* permission, uint32_t* scope,
                                            IKelNode** containers) = 0;
};
