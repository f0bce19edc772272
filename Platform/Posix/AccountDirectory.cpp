#include "Platform/Posix/AccountDirectory.h"

#include "Platform/LetterCase.h"
#include "Platform/Posix/TextFile.h"
#include "Platform/Posix/WellKnownAccounts.h"

#include <algorithm>

namespace
{

constexpr wchar_t everyone[] = L"S-1-1-0";
constexpr wchar_t authenticatedUsers[] = L"S-1-5-11";
constexpr wchar_t builtin[] = L"S-1-5-32";

std::wstring Folded(std::wstring_view text)
{
    return ToLowerCase(std::wstring(text));
}

bool IsName(std::wstring_view text)
{
    return !text.empty() && text != L"." && text.find_first_of(L"\\@") == text.npos;
}

SidBytes SidOf(const wchar_t* text)
{
    SidBytes sid;
    ReadSidText(text, sid);
    return sid;
}

} // namespace

AccountDirectory::AccountDirectory()
{
    for (const wchar_t* const name : {L"", L"NT AUTHORITY", L"BUILTIN"}) {
        m_domainNames.emplace(Folded(name), m_domains.size());
        m_domains.push_back({name, {}, {}});
    }
    const std::size_t builtinDomain = FindDomain(L"BUILTIN");
    m_domains[builtinDomain].sid = SidOf(builtin);
    Insert(builtinDomain, L"BUILTIN", SidOf(builtin), Platform::AccountType::Domain);
    for (const WellKnownAccount& account : wellKnownAccounts)
        Insert(FindDomain(account.domain), account.name, SidOf(account.sid), account.type);
    // Services are configured with these spellings.
    auto& ntAuthority = m_domains[FindDomain(L"NT AUTHORITY")].accounts;
    ntAuthority.emplace(Folded(L"LOCALSERVICE"), Find(L"LOCAL SERVICE"));
    ntAuthority.emplace(Folded(L"NETWORKSERVICE"), Find(L"NETWORK SERVICE"));
}

const Account* AccountDirectory::FindByName(std::wstring_view name) const
{
    const std::size_t index = Find(name);
    return index == none ? nullptr : &m_accounts[index];
}

const Account* AccountDirectory::FindBySid(const SidBytes& sid) const
{
    const auto found = m_bySid.find(sid);
    return found == m_bySid.end() ? nullptr : &m_accounts[found->second];
}

std::vector<SidBytes> AccountDirectory::GroupsOf(const Account& account) const
{
    std::vector<bool> seen(m_accounts.size());
    std::vector<std::size_t> found;
    const auto add = [&](std::size_t index) {
        if (!seen[index])
            found.push_back(index);
        seen[index] = true;
    };
    seen[static_cast<std::size_t>(&account - m_accounts.data())] = true;
    std::for_each(account.groups.begin(), account.groups.end(), add);
    for (const wchar_t* const sid : {everyone, authenticatedUsers})
        add(m_bySid.at(SidOf(sid)));
    for (std::size_t i = 0; i < found.size(); ++i) {
        const std::vector<std::size_t>& groups = m_accounts[found[i]].groups;
        std::for_each(groups.begin(), groups.end(), add);
    }
    std::vector<SidBytes> sids;
    for (const std::size_t index : found)
        sids.push_back(m_accounts[index].sid);
    return sids;
}

bool AccountDirectory::AddComputer(std::wstring_view name, const SidBytes& sid, std::wstring_view computer)
{
    return !HasComputer() && AddDomain(name, sid, EqualIgnoringCase(name, computer) ? L"" : computer);
}

bool AccountDirectory::AddDomain(std::wstring_view name, const SidBytes& sid, std::wstring_view dnsName)
{
    const auto isNew = [this](std::wstring_view text) { return IsName(text) && FindDomain(text) == none; };
    const std::size_t index = m_domains.size();
    if (!isNew(name) || !(dnsName.empty() || isNew(dnsName)) || !IsAccountDomain(sid) || m_bySid.contains(sid))
        return false;
    m_domains.push_back({std::wstring(name), sid, {}});
    m_domainNames.emplace(Folded(name), index);
    if (!dnsName.empty())
        m_domainNames.emplace(Folded(dnsName), index);
    return Insert(index, {}, sid, Platform::AccountType::Domain);
}

bool AccountDirectory::AddAccount(std::wstring_view name, std::uint32_t relativeId, Platform::AccountType type)
{
    const std::size_t backslash = std::min(name.find(L'\\'), name.size());
    const std::size_t domain = FindDomain(name.substr(0, backslash));
    name.remove_prefix(std::min(backslash + 1, name.size()));
    if (domain == none || domain < ownDomain || !IsName(name))
        return false;
    SidBytes sid = m_domains[domain].sid;
    AppendSubAuthority(sid, relativeId);
    return Insert(domain, name, std::move(sid), type);
}

bool AccountDirectory::AddMember(std::wstring_view group, std::wstring_view member)
{
    const std::size_t groupIndex = Find(group);
    const std::size_t memberIndex = Find(member);
    if (groupIndex == none || memberIndex == none)
        return false;
    const Platform::AccountType type = m_accounts[groupIndex].type;
    if (type != Platform::AccountType::Group && type != Platform::AccountType::Alias)
        return false;
    m_accounts[memberIndex].groups.push_back(groupIndex);
    return true;
}

bool AccountDirectory::SetType(std::wstring_view name, Platform::AccountType type)
{
    const std::size_t index = Find(name);
    if (index != none)
        m_accounts[index].type = type;
    return index != none;
}

std::size_t AccountDirectory::Find(std::wstring_view name) const
{
    if (const std::size_t backslash = name.find(L'\\'); backslash != name.npos)
        return FindIn(FindDomain(name.substr(0, backslash)), name.substr(backslash + 1));
    const std::size_t at = name.rfind(L'@');
    if (at == name.npos)
        return FindBare(name.empty() ? L"BUILTIN" : name);
    const std::size_t domain = FindDomain(name.substr(at + 1));
    return domain < ownDomain ? none : FindIn(domain, name.substr(0, at));
}

std::size_t AccountDirectory::FindBare(std::wstring_view name) const
{
    const std::size_t domain = name == L"." ? none : FindDomain(name);
    if (domain != none && !m_domains[domain].sid.empty())
        return m_bySid.at(m_domains[domain].sid);
    std::size_t found = none;
    for (std::size_t i = 0; i < m_domains.size() && found == none; ++i)
        found = FindIn(i, name);
    return found;
}

std::size_t AccountDirectory::FindIn(std::size_t domain, std::wstring_view name) const
{
    if (domain == none)
        return none;
    const auto& accounts = m_domains[domain].accounts;
    const auto found = accounts.find(Folded(name));
    return found == accounts.end() ? none : found->second;
}

std::size_t AccountDirectory::FindDomain(std::wstring_view name) const
{
    if (name == L".")
        return HasComputer() ? ownDomain : none;
    const auto found = m_domainNames.find(Folded(name));
    return found == m_domainNames.end() ? none : found->second;
}

bool AccountDirectory::Insert(std::size_t domain, std::wstring_view name, SidBytes sid, Platform::AccountType type)
{
    auto& accounts = m_domains[domain].accounts;
    if (m_bySid.contains(sid) || (!name.empty() && !accounts.try_emplace(Folded(name), m_accounts.size()).second))
        return false;
    m_bySid.emplace(sid, m_accounts.size());
    m_accounts.push_back({m_domains[domain].name, std::wstring(name), std::move(sid), type, {}});
    return true;
}
