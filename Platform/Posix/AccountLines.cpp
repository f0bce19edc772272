#include "Platform/Posix/AccountLines.h"

#include "Platform/Network.h"
#include "Platform/Posix/TextFile.h"

#include <algorithm>

namespace
{

constexpr wchar_t defaultComputerSid[] = L"S-1-5-21-0-0-0";
constexpr wchar_t blanks[] = L" \t";

std::wstring ComputerName()
{
    std::wstring name;
    Platform::GetLocalComputerName(name);
    return name;
}

bool AddComputer(AccountDirectory& directory, std::wstring_view name, std::wstring_view value)
{
    SidBytes sid;
    const std::wstring computer = ComputerName();
    return ReadSidText(value, sid) && directory.AddComputer(name.empty() ? computer : name, sid, computer);
}

bool AddDomain(AccountDirectory& directory, std::wstring_view name, std::wstring_view value)
{
    SidBytes sid;
    const std::wstring_view sidText = value.substr(0, value.find_first_of(blanks));
    return ReadSidText(sidText, sid) && directory.AddDomain(name, sid, Trim(value.substr(sidText.size())));
}

template <Platform::AccountType type>
bool AddAccount(AccountDirectory& directory, std::wstring_view name, std::wstring_view value)
{
    std::uint64_t relativeId = 0;
    return TakeNumber(value, 1ULL << 32, relativeId) && value.empty() && relativeId < 1ULL << 32 &&
           directory.AddAccount(name, static_cast<std::uint32_t>(relativeId), type);
}

bool AddMember(AccountDirectory& directory, std::wstring_view name, std::wstring_view value)
{
    return directory.AddMember(name, value);
}

bool SetType(AccountDirectory& directory, std::wstring_view name, std::wstring_view value)
{
    static constexpr std::wstring_view types[] = {L"user",    L"group",   L"domain",  L"alias",   L"wellknown",
                                                  L"deleted", L"invalid", L"unknown", L"computer"};
    const auto* const type = std::find(std::begin(types), std::end(types), value);
    return type != std::end(types) && directory.SetType(name, static_cast<Platform::AccountType>(type - types + 1));
}

struct Entry
{
    std::wstring_view keyword;
    bool (*add)(AccountDirectory& directory, std::wstring_view name, std::wstring_view value);
    const wchar_t* expected;
};

constexpr Entry entries[] = {
    {L"computer", &AddComputer, L"\"computer = S-1-5-21-1-2-3\" as the first entry"},
    {L"domain", &AddDomain, L"\"domain NAME = S-1-5-21-1-2-3 dns.name\" with a new domain"},
    {L"user", &AddAccount<Platform::AccountType::User>,
     L"\"user DOMAIN\\name = 1105\" with a domain from above and a new account"},
    {L"group", &AddAccount<Platform::AccountType::Group>,
     L"\"group DOMAIN\\name = 1105\" with a domain from above and a new account"},
    {L"alias", &AddAccount<Platform::AccountType::Alias>,
     L"\"alias DOMAIN\\name = 1105\" with a domain from above and a new account"},
    {L"member", &AddMember, L"\"member DOMAIN\\group = DOMAIN\\account\" with a group and an account from above"},
    {L"type", &SetType,
     L"\"type DOMAIN\\account = user\" with an account from above; other types are group, domain, "
     L"alias, wellknown, deleted, invalid, unknown and computer"},
};

} // namespace

void AddMissingComputer(AccountDirectory& directory)
{
    if (!directory.HasComputer())
        AddComputer(directory, {}, defaultComputerSid);
}

const wchar_t* AddAccountLine(AccountDirectory& directory, std::wstring_view line)
{
    line = Trim(line);
    if (line.empty() || line.starts_with(L'#'))
        return nullptr;
    const std::wstring_view keyword = line.substr(0, line.find_first_of(L" \t="));
    const auto* const entry = std::find_if(std::begin(entries), std::end(entries),
                                           [&](const Entry& candidate) { return candidate.keyword == keyword; });
    if (entry == std::end(entries))
        return L"an entry that begins with computer, domain, user, group, alias, member or type";
    if (entry->add != &AddComputer)
        AddMissingComputer(directory);
    const std::size_t separator = line.find(L'=');
    if (separator == line.npos)
        return entry->expected;
    const std::wstring_view name = Trim(line.substr(keyword.size(), separator - keyword.size()));
    return entry->add(directory, name, Trim(line.substr(separator + 1))) ? nullptr : entry->expected;
}
