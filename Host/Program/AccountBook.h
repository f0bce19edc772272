// The accounts of a site: those that the reference host's computer knows beside the well-known ones.
#pragma once

#include "Host/Program/JsonCursor.h"

#include <map>

namespace Host
{

// Names of accounts are DOMAIN\name and compare without regard to case; the domain "." is the computer's own.
class AccountBook
{
public:
    // No accounts.
    AccountBook();
    // Those of a site's section "accounts", checked. Throws InputError.
    explicit AccountBook(const JsonCursor& json);

    // The SID of the account with this name, or the text itself when it is a SID; nullopt when it is neither.
    std::optional<std::wstring> SidOf(const std::wstring& nameOrSid) const;
    // The name with the computer's in place of ".".
    std::wstring FullName(const std::wstring& name) const;

    // Throw InputError when there is no account `name`, or when it cannot have the name DOMAIN\newName.
    void Remove(const JsonCursor& name);
    void Rename(const JsonCursor& name, const JsonCursor& newName);

    // The content of the file that the environment variable KESTRINE_ACCOUNTS_FILE names.
    std::string FileText() const;

private:
    struct Domain
    {
        std::wstring name;
        std::wstring sid;
        std::wstring dnsName;
    };
    struct Account
    {
        std::wstring kind; // user, group or alias
        std::wstring name;
        std::vector<std::wstring> members; // SIDs; one that has gone does not count
    };

    void ReadComputer(const JsonCursor& json);
    void ReadDomain(const JsonCursor& json);
    void ReadAccount(const wchar_t* kind, const std::wstring& name, const JsonCursor& relativeId);
    void ReadMember(const std::wstring& group, const JsonCursor& member);
    void ReadType(const std::wstring& name, const JsonCursor& type);
    bool IsTaken(const std::wstring& domainName) const;
    std::string Key(const std::wstring& name) const;

    std::vector<Domain> m_domains; // the computer's first
    std::map<std::wstring, Account> m_accounts;
    std::map<std::string, std::wstring> m_sids;   // by name in lower case
    std::map<std::wstring, std::wstring> m_types; // of well-known accounts
};

} // namespace Host
