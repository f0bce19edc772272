// The accounts that this computer knows: the well-known ones, which are built in, and those of the accounts file.
// Free of the system, because the reference host and the stand-ins for tests under Wine use it on both platforms.
//
// The accounts file, named by the environment variable KESTRINE_ACCOUNTS_FILE, is UTF-8 text (UTF-16LE with its
// byte-order mark is also read). Every line is blank, a comment or an entry:
//
//     # comment
//     computer = S-1-5-21-10-20-30
//     domain EXAMPLE = S-1-5-21-1-2-3 example.com
//     user EXAMPLE\jsmith = 1105
//     user .\karen = 1001
//     group EXAMPLE\Report Readers = 1201
//     alias .\Viewers = 1002
//     member EXAMPLE\Report Readers = EXAMPLE\jsmith
//     member .\Viewers = EXAMPLE\Report Readers
//     type NT AUTHORITY\SYSTEM = user
//
// computer: the SID of the computer's own account domain. It is the first entry; without it the SID is S-1-5-21-0-0-0.
//     The domain has the computer's name, or the one that stands ahead of the "=": computer DESK = S-1-5-21-10-20-30.
// domain: another account domain with its SID and, if it has one, its DNS name.
// user, group, alias: an account and its relative identifier. "." is the computer's own domain.
// member: a group or alias and an account in it. Groups may be in groups.
// type: what look-ups call an account, well-known ones included: user, group, domain, alias, wellknown, deleted,
//     invalid, unknown or computer.
//
// An entry stands behind those that it names. Names are matched without regard to case. The file is read anew when its
// size or time of modification has changed. A malformed file counts as none; the debugger output says why.
#pragma once

#include "Platform/Accounts.h"
#include "Platform/Posix/SidBytes.h"

#include <memory>
#include <unordered_map>

struct Account
{
    std::wstring domain;
    std::wstring name; // empty: the domain itself
    SidBytes sid;
    Platform::AccountType type;
    std::vector<std::size_t> groups; // those that it is in itself, by index
};

// Accounts by name and by SID. Reading it is safe on any thread while nobody adds to it.
class AccountDirectory
{
public:
    // The well-known accounts.
    AccountDirectory();

    // Null when there is none. Names: DOMAIN\name, name@DOMAIN, either with the domain's DNS name; .\name; the name of
    // an account alone, which is looked for among the well-known ones, on the computer and then domain by domain; the
    // name of a domain.
    const Account* FindByName(std::wstring_view name) const;
    const Account* FindBySid(const SidBytes& sid) const;

    // The groups that the account is in, directly or through others, Everyone and Authenticated Users included.
    std::vector<SidBytes> GroupsOf(const Account& account) const;

    // Each returns false, and adds nothing, when something that it names is not there or something that it adds is.
    // The computer's own domain, before all others; it is also found by the computer's name.
    bool AddComputer(std::wstring_view name, const SidBytes& sid, std::wstring_view computer);
    bool AddDomain(std::wstring_view name, const SidBytes& sid, std::wstring_view dnsName);
    bool AddAccount(std::wstring_view name, std::uint32_t relativeId, Platform::AccountType type);
    bool AddMember(std::wstring_view group, std::wstring_view member);
    bool SetType(std::wstring_view name, Platform::AccountType type);

    bool HasComputer() const { return m_domains.size() > ownDomain; }

private:
    struct Domain
    {
        std::wstring name;
        SidBytes sid;                                           // empty: no account domain
        std::unordered_map<std::wstring, std::size_t> accounts; // by folded name
    };

    static constexpr std::size_t ownDomain = 3; // behind those of the well-known accounts
    static constexpr std::size_t none = static_cast<std::size_t>(-1);

    std::size_t Find(std::wstring_view name) const;
    std::size_t FindBare(std::wstring_view name) const;
    std::size_t FindIn(std::size_t domain, std::wstring_view name) const;
    std::size_t FindDomain(std::wstring_view name) const;
    bool Insert(std::size_t domain, std::wstring_view name, SidBytes sid, Platform::AccountType type);

    std::vector<Account> m_accounts;
    std::unordered_map<SidBytes, std::size_t, SidHash> m_bySid;
    std::vector<Domain> m_domains;
    std::unordered_map<std::wstring, std::size_t> m_domainNames; // NetBIOS and DNS names, folded
};
