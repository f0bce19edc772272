// The host's auth tokens.
//
// A token is a node with the texts `AuthTokenId`, `SubjectId` ("win:sid=" and the SID for a Windows account) and
// `SubjectDisplayName`, and, when its subject acts for another client, that client's token as the child
// `OnBehalfOfClient`. The token at the end of that chain is the originating client's.
#pragma once

#include "Interfaces/ComponentBase.h"
#include "Interfaces/Nodwell.h"

// Named instance "Security.AuthTokenMgr".
struct IAuthTokenMgr : IComponentBase
{
    static constexpr GUID Iid{0xA650AE27, 0x67D4, 0x4292, {0xB3, 0xF1, 0xAA, 0x32, 0x78, 0x25, 0xB4, 0x51}};

    // Mints a token for the account of an authorization context (AUTHZ_CLIENT_CONTEXT_HANDLE), which the caller frees
    // afterwards. The module passes kind 2 and 0 for both reserved arguments.
    virtual HRESULT MakeAuthToken(uint32_t kind, uintptr_t reserved1, uintptr_t reserved2, void* authzClientContext,
                                  IKelNode** token) = 0;

    virtual HRESULT IsAuthTokenExpired(IKelNode* token, BOOL* expired) = 0;
};
