// From the texts that name accounts to SIDs, and from SIDs to current account names. No state; any thread.
#pragma once

#include "Subsystems/ManagementService/Kestrine/Sid.h"

namespace AuthIdHelpers
{

// Reads "win:sid=S-1-…" (prefixes exact). False for every other text; throws HRX for a SID that is not valid.
bool AuthIdToSid(const std::wstring& authId, CSid& sid);

} // namespace AuthIdHelpers

// Stores the SID of an auth id of the SID form, of "win:name=…", or of an account name. True only when a name was
// looked up. Failures are logged at WARN and leave the SID as it was. Never throws HRX.
bool ResolveAccountSid(const std::wstring& accountText, CSid& sid);

// On the local system. A DOMAIN\name that is not known is tried once more as name@DOMAIN. Throws HRX.
CSid LookupSidByName(const std::wstring& accountName);

// The account's current name, DOMAIN\name; the part that there is when one is missing. `system`: empty for the local
// computer. Throws HRX.
std::wstring LookupAccountBySid(const std::wstring& system, const CSid& sid, Platform::AccountType* nameUse);

// LocalSystem, LocalService or NetworkService.
bool IsWellKnownServiceSid(const CSid& sid);

// Makes a user of one of the three service accounts a well-known group. Returns whether it did.
bool AdjustSidType(const CSid& sid, Platform::AccountType& nameUse);
