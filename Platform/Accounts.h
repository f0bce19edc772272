// Security identifiers, accounts by name and by SID, and authorization contexts of accounts. Natively the accounts come
// from a text file (Posix/AccountDirectory.h). Any thread.
#pragma once

#include "Platform/Types.h"

#include <cstdint>
#include <memory>
#include <string>
#include <vector>

namespace Platform
{

// A security identifier in its binary form.
using Sid = std::vector<std::uint8_t>;

// What a look-up calls an account; the numbers are the system's, which has more.
enum class AccountType
{
    User = 1,
    Group = 2,
    Domain = 3,
    Alias = 4,
    WellKnownGroup = 5,
    Invalid = 7,
};

struct AccountInfo
{
    Sid sid;
    std::wstring domain;
    std::wstring name;
    AccountType type = AccountType::Invalid;
};

// Whether the bytes are one SID, whole and without anything behind it; none is longer than 68 bytes.
bool IsValidSid(const Sid& sid);

// Reads S-1-5-… or the two letters of a well-known account. False when the text is neither.
bool ParseSid(const std::wstring& text, Sid& sid);

// Stores "S-1-5-18" for a valid SID.
HRESULT FormatSid(const Sid& sid, std::wstring& text);

// Whether it is the SID of LocalSystem, LocalService or NetworkService.
bool IsServiceSid(const Sid& sid);

// Whether two SIDs belong to the same account domain; 0x800704EA when one of them belongs to none.
HRESULT AreOfSameDomain(const Sid& a, const Sid& b, bool& same);

// Looks an account up on `system` (empty: this computer). 0x80070534 when there is none, E_FAIL for a SID of more than
// 68 bytes. `name` of the result is the one asked for.
HRESULT LookUpAccountByName(const std::wstring& system, const std::wstring& name, AccountInfo& account);

// The same by SID. 0x8007007A for names of more than 511 characters.
HRESULT LookUpAccountBySid(const std::wstring& system, const Sid& sid, AccountInfo& account);

// The authorization context of an account, as the host's token manager takes it: on Windows what is pointed to is an
// AUTHZ_CLIENT_CONTEXT_HANDLE.
using ClientContext = std::shared_ptr<void>;

// With `resolveGroups` the context has the account's groups, and the account must be known (0x80070534). A failure
// leaves `context` as it is.
HRESULT MakeClientContext(const Sid& sid, bool resolveGroups, ClientContext& context);

// For hosts: the account and the groups of a context that somebody has handed over.
HRESULT ReadClientContext(void* context, Sid& user, std::vector<Sid>& groups);

} // namespace Platform
