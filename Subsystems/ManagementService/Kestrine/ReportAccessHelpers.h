// From what an account may see to access rights items, and which accounts are local to this computer. Any thread.
#pragma once

#include "Common/Nodes/KelNodePtr.h"
#include "Subsystems/ManagementService/Kestrine/Sid.h"

// An item for the token's originating client, with the containers that the permissions checker grants the token; empty
// when it grants none. `fallbackName` stands in for a display name that is not resolved. Throws HRX. May take long.
KelNodePtr MakeAccessInfoForToken(const KelNodePtr& token, const std::wstring& requiredPermission,
                                  const std::wstring& fallbackName);

// An item that is not limited to containers; empty for an empty name. Throws HRX.
KelNodePtr MakeFullAccessItem(const std::wstring& logonName, const CSid& sid);

// Whether the account belongs to this computer's own account domain. What cannot be compared does not (logged at INFO).
bool IsALocalComputerUser(const CSid& sid);

// A built-in service account, or a user of this computer.
bool IsLocalAccount(const CSid& sid);

// The same for an auth id of the form "win:sid=…"; false for every other text.
bool IsLocalAuthId(const std::wstring& authId);

// This computer's account domain, looked up once. Throws HRX, and tries again with the next call, when that fails.
CSid GetLocalComputerSid();
