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

inline constexpr std::size_t MaxSidSize = 68;

// What a look-up calls an account; the numbers are the system's.
enum class AccountType
{
    User = 1,
    Group = 2,
    Domain = 3,
    Alias = 4,
    WellKnownGroup = 5,
    DeletedAccount = 6,
    Invalid = 7,
    Unknown = 8,
    Computer = 9,
};

enum class WellKnownSid
{
    LocalSystem,
    LocalService,
    NetworkService,
};

struct AccountInfo
{
    Sid sid;
    std::wstring domain;
    std::wstring name;
    AccountType type = AccountType::Invalid;
};

// Whether the bytes are one SID, whole and without anything behind it.
bool IsValidSid(const Sid& sid);

// Reads S-1-5-… or the two letters of a well-known account. False when the text is neither.
bool ParseSid(const std::wstring& text, Sid& sid);

// Stores "S-1-5-18" for a valid SID.
HRESULT FormatSid(const Sid& sid, std::wstring& text);

bool IsWellKnownSid(const Sid& sid, WellKnownSid which);

// Whether two SIDs belong to the same account domain; 0x800704EA when one of them belongs to none.
HRESULT AreOfSameDomain(const Sid& a, const Sid& b, bool& same);

// Looks an account up on `system` (empty: this computer). 0x80070534 when there is none, E_FAIL for a SID of more than
// MaxSidSize bytes. `name` of the result is the one asked for.
HRESULT LookUpAccountByName(const std::wstring& system, const std::wstring& name, AccountInfo& account);

// The same by SID. 0x8007007A for names of more than 511 characters.
HRESULT LookUpAccountBySid(const std::wstring& system, const Sid& sid, AccountInfo& account);

// The authorization context of an account, as the host's token manager takes it: on Windows an
// AUTHZ_CLIENT_CONTEXT_HANDLE.
class ClientContext
{
public:
    ClientContext() = default;

    // With `resolveGroups` the context has the account's groups, and the account must be known (0x80070534).
    static HRESULT Make(const Sid& sid, bool resolveGroups, ClientContext& context);

    void* Get() const { return m_context.get(); }

private:
    struct FreeManager
    {
        void operator()(void* manager) const;
    };
    struct FreeContext
    {
        void operator()(void* context) const;
    };
    std::unique_ptr<void, FreeManager> m_manager; // outlives the context; none natively
    std::unique_ptr<void, FreeContext> m_context;
};

// For hosts: the account and the groups of a context that somebody has handed over. E_INVALIDARG, natively, for what is
// no context.
HRESULT ReadClientContext(void* context, Sid& user, std::vector<Sid>& groups);

} // namespace Platform
