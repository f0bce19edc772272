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
// type: what look-ups call an account, well-known ones included: user, group or alias.
//
// An entry stands behind those that it names. Names are matched without regard to case. The file is read anew when its
// size or time of modification has changed. A malformed file counts as none; the debugger output says why.
#pragma once

#include "Platform/Accounts.h"

#include <map>
#include <string_view>

struct Account
{
    std::wstring domain;
    std::wstring name; // empty: the domain itself
    Platform::Sid sid;
    Platform::AccountType type;
    std::vector<const Account*> groups; // those that it is in itself
};

class AccountDirectory
{
public:
    // The accounts as the file has them now. The directory does not change: who holds it sees one state of the file.
    // Any thread.
    static std::shared_ptr<const AccountDirectory> Current();

    // Null when there is none. Names: DOMAIN\name, name@DOMAIN, either with the domain's DNS name; .\name; the name of
    // a domain; the name of an account alone, which is looked for among the well-known ones, on the computer and then
    // domain by domain.
    const Account* FindByName(std::wstring_view name) const { return Find(name); }
    const Account* FindBySid(const Platform::Sid& sid) const;

    // The well-known accounts and the computer's own domain, to which lines of a file are added.
    AccountDirectory();
    // Adds what a line that is neither blank nor a comment says. Returns what was expected in its place when it cannot
    // be used, after which the directory is of no use; null otherwise.
    const wchar_t* AddLine(std::wstring_view line);

    // The groups that the account is in, directly or through others, Everyone and Authenticated Users included.
    std::vector<Platform::Sid> GroupsOf(const Account& account) const;

private:
    struct Domain
    {
        std::wstring name;
        std::wstring sid;     // empty: that of the well-known accounts, to which nothing is added
        std::wstring dnsName; // or another second name; empty: none
    };

    AccountDirectory(std::wstring_view computer, std::wstring_view sid);

    // False when something that is named is not there or something that is added is.
    bool AddDomain(std::wstring_view name, std::wstring_view sid, std::wstring_view dnsName);
    bool AddAccount(std::wstring_view name, std::wstring_view relativeId, Platform::AccountType type);
    bool AddMember(std::wstring_view group, std::wstring_view name);
    bool SetType(std::wstring_view name, std::wstring_view type);
    bool Insert(const std::wstring& domain, std::wstring_view name, const std::wstring& sid,
                Platform::AccountType type);

    Account* Find(std::wstring_view name) const;
    Account* FindIn(const Domain* domain, std::wstring_view name) const;
    const Domain* FindDomain(std::wstring_view name) const;

    std::vector<Domain> m_domains; // those of the well-known accounts, the computer's own, others
    std::map<Platform::Sid, Account> m_accounts;
    std::map<std::wstring, Account*> m_byName; // by the folded DOMAIN\name
    bool m_isNew = true;                       // no line has been added
};
