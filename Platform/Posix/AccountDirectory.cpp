#include "Platform/Posix/AccountDirectory.h"

#include "Platform/LetterCase.h"
#include "Platform/Network.h"
#include "Platform/Posix/NativePath.h"
#include "Platform/Posix/TextFile.h"
#include "Platform/Settings.h"

#include <algorithm>
#include <filesystem>
#include <iterator>
#include <mutex>

using Platform::AccountType;

namespace
{

constexpr std::size_t ownDomain = 3; // behind those of the well-known accounts
constexpr std::size_t none = static_cast<std::size_t>(-1);

constexpr struct
{
    std::size_t domain;
    const wchar_t* name;
    const wchar_t* sid;
    AccountType type;
} wellKnownAccounts[] = {
    {0, L"Everyone", L"S-1-1-0", AccountType::WellKnownGroup},
    {1, L"NETWORK", L"S-1-5-2", AccountType::WellKnownGroup},
    {1, L"INTERACTIVE", L"S-1-5-4", AccountType::WellKnownGroup},
    {1, L"SERVICE", L"S-1-5-6", AccountType::WellKnownGroup},
    {1, L"ANONYMOUS LOGON", L"S-1-5-7", AccountType::WellKnownGroup},
    {1, L"Authenticated Users", L"S-1-5-11", AccountType::WellKnownGroup},
    {1, L"SYSTEM", L"S-1-5-18", AccountType::WellKnownGroup},
    {1, L"LOCAL SERVICE", L"S-1-5-19", AccountType::WellKnownGroup},
    {1, L"NETWORK SERVICE", L"S-1-5-20", AccountType::WellKnownGroup},
    {2, L"BUILTIN", L"S-1-5-32", AccountType::Domain},
    {2, L"Administrators", L"S-1-5-32-544", AccountType::Alias},
    {2, L"Users", L"S-1-5-32-545", AccountType::Alias},
    {2, L"Guests", L"S-1-5-32-546", AccountType::Alias},
};

constexpr std::wstring_view typeNames[] = {L"user",    L"group",   L"domain",  L"alias",   L"wellknown",
                                           L"deleted", L"invalid", L"unknown", L"computer"}; // from 1

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

struct FileState
{
    std::string path;
    std::filesystem::file_time_type time;
    std::uintmax_t size;

    bool operator==(const FileState&) const = default;
};

// A missing file also has a state.
FileState StateOf(const std::string& path)
{
    std::error_code ignored;
    const std::filesystem::path file(std::u8string(path.begin(), path.end()));
    return {path, std::filesystem::last_write_time(file, ignored), std::filesystem::file_size(file, ignored)};
}

} // namespace

std::shared_ptr<const AccountDirectory> AccountDirectory::Current()
{
    static std::mutex lock; // guards the rest
    static FileState state;
    static std::shared_ptr<const AccountDirectory> directory;
    const std::lock_guard guard(lock);
    FileState now = StateOf(ToNativePath(Platform::EnvironmentVariable(L"KESTRINE_ACCOUNTS_FILE").value_or(L"")));
    if (!directory || state != now) {
        directory = Load(now.path);
        state = std::move(now);
    }
    return directory;
}

std::shared_ptr<const AccountDirectory> AccountDirectory::Load(const std::string& file)
{
    AccountDirectory directory;
    if (!ReadEntries(file, [&directory](std::wstring_view line) { return directory.AddLine(Trim(line)); }))
        directory = AccountDirectory();
    directory.CompleteComputer();
    return std::make_shared<AccountDirectory>(std::move(directory));
}

AccountDirectory::AccountDirectory() : m_domains{{L"", L"", L""}, {L"NT AUTHORITY", L"", L""}, {L"BUILTIN", L"", L""}}
{
    for (const auto& account : wellKnownAccounts)
        Insert(account.domain, account.name, account.sid, account.type);
    // Services are configured with these spellings.
    m_byName[{1, L"localservice"}] = m_byName.at({1, L"local service"});
    m_byName[{1, L"networkservice"}] = m_byName.at({1, L"network service"});
}

const Account* AccountDirectory::FindBySid(const Platform::Sid& sid) const
{
    const auto found = m_bySid.find(sid);
    return found == m_bySid.end() ? nullptr : found->second;
}

std::vector<Platform::Sid> AccountDirectory::GroupsOf(const Account& account) const
{
    std::vector<const Account*> found{&account};
    const auto add = [&found](const Account* group) {
        if (std::find(found.begin(), found.end(), group) == found.end())
            found.push_back(group);
    };
    for (const wchar_t* const everybody : {L"Everyone", L"Authenticated Users"})
        add(FindByName(everybody));
    for (std::size_t i = 0; i < found.size(); ++i) {
        const Account& member = *found[i];
        std::for_each(member.groups.begin(), member.groups.end(), add);
    }
    std::vector<Platform::Sid> sids;
    for (std::size_t i = 1; i < found.size(); ++i)
        sids.push_back(found[i]->sid);
    return sids;
}

const wchar_t* AccountDirectory::AddLine(std::wstring_view line)
{
    static constexpr std::pair<std::wstring_view, const wchar_t*> entries[] = {
        {L"computer", L"\"computer = S-1-5-21-1-2-3\" as the first entry"},
        {L"domain", L"\"domain NAME = S-1-5-21-1-2-3 dns.name\" with a new domain"},
        {L"user", L"\"user DOMAIN\\name = 1105\" with a domain from above and a new account"},
        {L"group", L"\"group DOMAIN\\name = 1105\" with a domain from above and a new account"},
        {L"alias", L"\"alias DOMAIN\\name = 1105\" with a domain from above and a new account"},
        {L"member", L"\"member DOMAIN\\group = DOMAIN\\account\" with a group and an account from above"},
        {L"type", L"\"type DOMAIN\\account = user\" with an account from above; other types are group, domain, alias, "
                  L"wellknown, deleted, invalid, unknown and computer"},
    };
    const std::wstring_view keyword = line.substr(0, line.find_first_of(L" \t="));
    const auto* const entry = std::find_if(std::begin(entries), std::end(entries),
                                           [keyword](const auto& candidate) { return candidate.first == keyword; });
    if (entry == std::end(entries))
        return L"an entry that begins with computer, domain, user, group, alias, member or type";
    const std::size_t separator = line.find(L'=');
    const bool added =
        separator != line.npos && AddEntry(keyword, Trim(line.substr(keyword.size(), separator - keyword.size())),
                                           Trim(line.substr(separator + 1)));
    return added ? nullptr : entry->second;
}

bool AccountDirectory::AddEntry(std::wstring_view keyword, std::wstring_view name, std::wstring_view value)
{
    if (keyword == L"computer") {
        const std::wstring computer = ComputerName();
        return m_domains.size() == ownDomain &&
               AddDomain(name.empty() ? computer : name, value,
                         name.empty() || EqualIgnoringCase(name, computer) ? L"" : computer);
    }
    CompleteComputer();
    const std::wstring_view sid = value.substr(0, value.find_first_of(L" \t"));
    if (keyword == L"domain")
        return AddDomain(name, sid, Trim(value.substr(sid.size())));
    Account* const named = Find(name);
    if (keyword == L"member") {
        Account* const member = Find(value);
        const bool isGroup = named && (named->type == AccountType::Group || named->type == AccountType::Alias);
        if (member && isGroup)
            member->groups.push_back(named);
        return member && isGroup;
    }
    if (keyword == L"type") {
        const auto* const type = std::find(std::begin(typeNames), std::end(typeNames), value);
        if (named)
            named->type = static_cast<AccountType>(type - typeNames + 1);
        return named && type != std::end(typeNames);
    }
    return AddAccount(name, value,
                      keyword == L"user"    ? AccountType::User
                      : keyword == L"group" ? AccountType::Group
                                            : AccountType::Alias);
}

bool AccountDirectory::AddDomain(std::wstring_view name, std::wstring_view sid, std::wstring_view dnsName)
{
    const auto isNew = [this](std::wstring_view text) { return IsName(text) && FindDomain(text) == none; };
    const bool isDomainSid = sid.starts_with(L"S-1-5-21-") && std::count(sid.begin(), sid.end(), L'-') == 6;
    if (!isNew(name) || !(dnsName.empty() || isNew(dnsName)) || !isDomainSid)
        return false;
    m_domains.push_back({std::wstring(name), std::wstring(sid), std::wstring(dnsName)});
    if (!Insert(m_domains.size() - 1, name, std::wstring(sid), AccountType::Domain))
        return false;
    m_accounts.back().name.clear();
    return true;
}

bool AccountDirectory::AddAccount(std::wstring_view name, std::wstring_view relativeId, AccountType type)
{
    const std::size_t backslash = name.find(L'\\');
    const std::size_t domain = backslash == name.npos ? none : FindDomain(name.substr(0, backslash));
    return domain != none && domain >= ownDomain && IsRelativeId(relativeId) &&
           Insert(domain, name.substr(backslash + 1), m_domains[domain].sid + L'-' + std::wstring(relativeId), type);
}

void AccountDirectory::CompleteComputer()
{
    if (m_domains.size() == ownDomain)
        AddDomain(ComputerName(), L"S-1-5-21-0-0-0", {});
}

// A directory that refuses something is given up as a whole: nothing needs to be undone.
bool AccountDirectory::Insert(std::size_t domain, std::wstring_view name, const std::wstring& sidText, AccountType type)
{
    Platform::Sid sid;
    if (!IsName(name) || !Platform::ParseSid(sidText, sid))
        return false;
    Account& account = m_accounts.emplace_back(Account{m_domains[domain].name, std::wstring(name), sid, type, {}});
    return m_bySid.try_emplace(sid, &account).second &&
           m_byName.try_emplace({domain, ToLowerCase(account.name)}, &account).second;
}

Account* AccountDirectory::Find(std::wstring_view name) const
{
    if (const std::size_t backslash = name.find(L'\\'); backslash != name.npos)
        return FindIn(FindDomain(name.substr(0, backslash)), name.substr(backslash + 1));
    if (const std::size_t at = name.rfind(L'@'); at != name.npos) {
        const std::size_t domain = FindDomain(name.substr(at + 1));
        return domain < ownDomain ? nullptr : FindIn(domain, name.substr(0, at));
    }
    const std::size_t named = FindDomain(name);
    Account* found = named == none ? nullptr : FindIn(named, m_domains[named].name);
    for (std::size_t i = 0; i < m_domains.size() && !found; ++i)
        found = FindIn(i, name);
    return found;
}

Account* AccountDirectory::FindIn(std::size_t domain, std::wstring_view name) const
{
    const auto found = m_byName.find({domain, ToLowerCase(std::wstring(name))});
    return found == m_byName.end() ? nullptr : found->second;
}

std::size_t AccountDirectory::FindDomain(std::wstring_view name) const
{
    if (name == L".")
        return m_domains.size() > ownDomain ? ownDomain : none;
    const auto found = std::find_if(m_domains.begin(), m_domains.end(), [name](const Domain& domain) {
        return EqualIgnoringCase(domain.name, name) || EqualIgnoringCase(domain.dnsName, name);
    });
    return found == m_domains.end() ? none : static_cast<std::size_t>(found - m_domains.begin());
}
