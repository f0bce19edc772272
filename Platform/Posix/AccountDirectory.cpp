#include "Platform/Posix/AccountDirectory.h"

#include "Platform/LetterCase.h"
#include "Platform/Network.h"
#include "Platform/Posix/NativePath.h"
#include "Platform/Posix/TextFile.h"
#include "Platform/Settings.h"

#include <algorithm>
#include <mutex>
#include <tuple>
#include <utility>

using Platform::AccountType;

namespace
{

constexpr std::size_t ownDomain = 3; // behind those of the well-known accounts

constexpr struct
{
    const wchar_t* domain;
    const wchar_t* name;
    const wchar_t* sid;
    AccountType type;
} wellKnownAccounts[] = {
    {L"", L"Everyone", L"S-1-1-0", AccountType::WellKnownGroup},
    {L"NT AUTHORITY", L"Authenticated Users", L"S-1-5-11", AccountType::WellKnownGroup},
    {L"NT AUTHORITY", L"SYSTEM", L"S-1-5-18", AccountType::WellKnownGroup},
    {L"NT AUTHORITY", L"LOCAL SERVICE", L"S-1-5-19", AccountType::WellKnownGroup},
    {L"NT AUTHORITY", L"NETWORK SERVICE", L"S-1-5-20", AccountType::WellKnownGroup},
    {L"BUILTIN", L"Administrators", L"S-1-5-32-544", AccountType::Alias},
    {L"BUILTIN", L"Users", L"S-1-5-32-545", AccountType::Alias},
};

// Invalid for other words.
AccountType TypeCalled(std::wstring_view word)
{
    return word == L"user"    ? AccountType::User
           : word == L"group" ? AccountType::Group
           : word == L"alias" ? AccountType::Alias
                              : AccountType::Invalid;
}

std::wstring KeyOf(const std::wstring& domain, std::wstring_view name)
{
    return ToLowerCase((domain + L'\\').append(name));
}

bool IsName(std::wstring_view text)
{
    return !text.empty() && text != L"." && text.find_first_of(L"\\@") == text.npos;
}

bool IsRelativeId(std::wstring_view text)
{
    return !text.empty() && text.size() <= 10 && text.find_first_not_of(L"0123456789") == text.npos &&
           std::stoull(std::wstring(text)) <= UINT32_MAX;
}

std::wstring ComputerName()
{
    std::wstring name;
    Platform::GetLocalComputerName(name);
    return name;
}

} // namespace

std::shared_ptr<const AccountDirectory> AccountDirectory::Current()
{
    static std::mutex lock; // guards the rest
    static std::shared_ptr<const AccountDirectory> directory;
    static std::tuple<std::wstring, std::filesystem::file_time_type, std::uintmax_t> state; // of its file
    const std::lock_guard guard(lock);
    const std::wstring file = Platform::EnvironmentVariable(L"KESTRINE_ACCOUNTS_FILE").value_or(L"");
    const std::filesystem::path path = ToNativePath(file);
    std::error_code ignored; // a missing file also has a state
    std::tuple now(file, std::filesystem::last_write_time(path, ignored), std::filesystem::file_size(path, ignored));
    if (!directory || state != now) {
        AccountDirectory read;
        const bool isGood = ReadEntries(file, [&read](std::wstring_view line) { return read.AddLine(Trim(line)); });
        directory = std::make_shared<AccountDirectory>(isGood ? std::move(read) : AccountDirectory());
        state = std::move(now);
    }
    return directory;
}

AccountDirectory::AccountDirectory() : AccountDirectory(ComputerName(), L"S-1-5-21-0-0-0") {}

// Without the domain when it is not a good one.
AccountDirectory::AccountDirectory(std::wstring_view computer, std::wstring_view sid)
    : m_domains{{L"", L"", L""}, {L"NT AUTHORITY", L"", L""}, {L"BUILTIN", L"", L""}}
{
    for (const auto& account : wellKnownAccounts)
        Insert(account.domain, account.name, account.sid, account.type);
    // Services are configured with these spellings.
    m_byName[L"nt authority\\localservice"] = Find(L"LOCAL SERVICE");
    m_byName[L"nt authority\\networkservice"] = Find(L"NETWORK SERVICE");
    AddDomain(computer, sid, ComputerName());
}

const Account* AccountDirectory::FindBySid(const Platform::Sid& sid) const
{
    const auto found = m_accounts.find(sid);
    return found == m_accounts.end() ? nullptr : &found->second;
}

std::vector<Platform::Sid> AccountDirectory::GroupsOf(const Account& account) const
{
    std::vector<const Account*> found{&account, Find(L"Everyone"), Find(L"Authenticated Users")};
    std::vector<Platform::Sid> sids;
    for (std::size_t i = 0; i < found.size(); ++i) {
        if (i > 0)
            sids.push_back(found[i]->sid);
        for (const Account* const group : found[i]->groups) {
            if (std::find(found.begin(), found.end(), group) == found.end())
                found.push_back(group);
        }
    }
    return sids;
}

const wchar_t* AccountDirectory::AddLine(std::wstring_view line)
{
    const bool isFirst = std::exchange(m_isNew, false);
    const std::wstring_view keyword = line.substr(0, line.find_first_of(L" \t="));
    const std::size_t separator = std::min(line.find(L'='), line.size());
    const std::wstring_view name = Trim(line.substr(keyword.size(), separator - keyword.size()));
    const std::wstring_view value = Trim(line.substr(std::min(separator + 1, line.size())));
    if (keyword == L"computer") {
        *this = AccountDirectory(name.empty() ? ComputerName() : name, value);
        m_isNew = false;
        return isFirst && m_domains.size() > ownDomain ? nullptr : L"\"computer = S-1-5-21-1-2-3\" as the first entry";
    }
    if (keyword == L"domain") {
        const std::wstring_view sid = value.substr(0, value.find_first_of(L" \t"));
        return AddDomain(name, sid, Trim(value.substr(sid.size())))
                   ? nullptr
                   : L"\"domain NAME = S-1-5-21-1-2-3 dns.name\" with a new domain";
    }
    if (keyword == L"member")
        return AddMember(name, value)
                   ? nullptr
                   : L"\"member DOMAIN\\group = DOMAIN\\account\" with a group and an account from above";
    if (keyword == L"type")
        return SetType(name, value) ? nullptr
                                    : L"\"type DOMAIN\\account = user\" with an account from above; other types are "
                                      L"group and alias";
    const AccountType type = TypeCalled(keyword);
    if (type == AccountType::Invalid)
        return L"an entry that begins with computer, domain, user, group, alias, member or type";
    return AddAccount(name, value, type) ? nullptr
                                         : L"\"user DOMAIN\\name = 1105\" with a domain from above and a new account";
}

bool AccountDirectory::AddDomain(std::wstring_view name, std::wstring_view sid, std::wstring_view dnsName)
{
    const auto isNew = [this](std::wstring_view text) { return IsName(text) && !FindDomain(text); };
    const bool isDomainSid = sid.starts_with(L"S-1-5-21-") && std::count(sid.begin(), sid.end(), L'-') == 6;
    if (!isNew(name) || !(dnsName.empty() || isNew(dnsName)) || !isDomainSid)
        return false;
    m_domains.push_back({std::wstring(name), std::wstring(sid), std::wstring(dnsName)});
    return Insert(m_domains.back().name, {}, m_domains.back().sid, AccountType::Domain);
}

bool AccountDirectory::AddAccount(std::wstring_view name, std::wstring_view relativeId, AccountType type)
{
    const std::size_t backslash = std::min(name.find(L'\\'), name.size());
    const Domain* const domain = FindDomain(name.substr(0, backslash));
    name.remove_prefix(std::min(backslash + 1, name.size()));
    return domain && !domain->sid.empty() && IsName(name) && IsRelativeId(relativeId) &&
           Insert(domain->name, name, domain->sid + L'-' + std::wstring(relativeId), type);
}

bool AccountDirectory::AddMember(std::wstring_view group, std::wstring_view name)
{
    const Account* const named = Find(group);
    Account* const member = Find(name);
    if (!member || !named || (named->type != AccountType::Group && named->type != AccountType::Alias))
        return false;
    member->groups.push_back(named);
    return true;
}

bool AccountDirectory::SetType(std::wstring_view name, std::wstring_view type)
{
    Account* const named = Find(name);
    if (named)
        named->type = TypeCalled(type);
    return named && named->type != AccountType::Invalid;
}

// A directory that refuses something is given up as a whole: nothing needs to be undone.
bool AccountDirectory::Insert(const std::wstring& domain, std::wstring_view name, const std::wstring& sid,
                              AccountType type)
{
    Platform::Sid bytes;
    if (!Platform::ParseSid(sid, bytes))
        return false;
    const auto [added, isNew] = m_accounts.try_emplace(bytes, Account{domain, std::wstring(name), bytes, type, {}});
    return isNew && m_byName.try_emplace(KeyOf(domain, name), &added->second).second;
}

Account* AccountDirectory::Find(std::wstring_view name) const
{
    if (name.empty() || name.ends_with(L'\\') || name.starts_with(L'@')) // names nobody
        return nullptr;
    if (const std::size_t backslash = name.find(L'\\'); backslash != name.npos)
        return FindIn(FindDomain(name.substr(0, backslash)), name.substr(backslash + 1));
    if (const std::size_t at = name.rfind(L'@'); at != name.npos)
        return FindIn(FindDomain(name.substr(at + 1)), name.substr(0, at));
    Account* found = FindIn(FindDomain(name), {});
    for (auto domain = m_domains.begin(); domain != m_domains.end() && !found; ++domain)
        found = FindIn(&*domain, name);
    return found;
}

Account* AccountDirectory::FindIn(const Domain* domain, std::wstring_view name) const
{
    const auto found = domain ? m_byName.find(KeyOf(domain->name, name)) : m_byName.end();
    return found == m_byName.end() ? nullptr : found->second;
}

const AccountDirectory::Domain* AccountDirectory::FindDomain(std::wstring_view name) const
{
    if (name == L".")
        return m_domains.size() > ownDomain ? &m_domains[ownDomain] : nullptr;
    const auto found = std::find_if(m_domains.begin(), m_domains.end(), [name](const Domain& domain) {
        return EqualIgnoringCase(domain.name, name) || EqualIgnoringCase(domain.dnsName, name);
    });
    return found == m_domains.end() ? nullptr : &*found;
}
