#include "Host/Program/AccountBook.h"

#include "Host/Components/SidTexts.h"
#include "Host/ReportingDatabase/LowerCase.h"
#include "Platform/Text.h"

#include <algorithm>

namespace Host
{

namespace
{

constexpr wchar_t DefaultComputerSid[] = L"S-1-5-21-0-0-0";

std::string LowerCase(const std::wstring& text)
{
    return ToLower(Text::ToUtf8(text));
}

bool IsPlainName(std::wstring_view name)
{
    return !name.empty() && name != L"." && name.find_first_of(L"\\@=\t\r\n") == name.npos && name.front() != L' ' &&
           name.back() != L' ';
}

std::wstring ReadPlainName(const JsonCursor& json)
{
    const std::wstring name = json.Name();
    if (!IsPlainName(name))
        json.Fail("a plain name, without domain");
    return name;
}

std::wstring ReadDomainSid(const JsonCursor& json)
{
    const std::wstring sid = json.Name();
    if (!IsDomainSidText(sid))
        json.Fail("the SID of a domain such as \"S-1-5-21-10-20-30\"");
    return sid;
}

bool IsKnownToTheSystem(const std::wstring& name)
{
    Platform::AccountInfo account;
    return SUCCEEDED(Platform::LookUpAccountByName({}, name, account));
}

} // namespace

AccountBook::AccountBook() : m_domains{{ComputerName(), DefaultComputerSid, {}}} {}

AccountBook::AccountBook(const JsonCursor& json) : AccountBook()
{
    json.CheckKeys({"computer", "domains", "users", "groups", "aliases", "types"});
    const auto members = [](const JsonCursor& parent, const char* key) {
        return parent.Has(key) ? parent[key].Members() : decltype(parent.Members())();
    };
    const std::pair<const char*, const wchar_t*> groupKinds[] = {{"groups", L"group"}, {"aliases", L"alias"}};

    if (const auto computer = json.Find("computer"))
        ReadComputer(*computer);
    for (const JsonCursor& domain : json.Has("domains") ? json["domains"].Items() : std::vector<JsonCursor>())
        ReadDomain(domain);
    for (const auto& [name, relativeId] : members(json, "users"))
        ReadAccount(L"user", name, relativeId);
    for (const auto& [key, kind] : groupKinds) {
        for (const auto& [name, group] : members(json, key)) {
            group.CheckKeys({"rid", "members"});
            ReadAccount(kind, name, group["rid"]);
        }
    }
    for (const auto& [key, kind] : groupKinds) {
        for (const auto& [name, group] : members(json, key)) {
            for (const JsonCursor& member : group.Has("members") ? group["members"].Items() : std::vector<JsonCursor>())
                ReadMember(name, member);
        }
    }
    for (const auto& [name, type] : members(json, "types"))
        ReadType(name, type);
}

void AccountBook::ReadComputer(const JsonCursor& json)
{
    json.CheckKeys({"name", "sid"});
    if (const auto name = json.Find("name"))
        m_domains.front().name = ReadPlainName(*name);
    if (const auto sid = json.Find("sid"))
        m_domains.front().sid = ReadDomainSid(*sid);
}

void AccountBook::ReadDomain(const JsonCursor& json)
{
    json.CheckKeys({"name", "sid", "dnsName"});
    Domain domain{ReadPlainName(json["name"]), ReadDomainSid(json["sid"]), {}};
    if (IsTaken(domain.name))
        json["name"].Fail("a domain's name that is not taken");
    if (std::any_of(m_domains.begin(), m_domains.end(), [&](const Domain& each) { return each.sid == domain.sid; }))
        json["sid"].Fail("a SID that is not taken");
    m_domains.push_back(domain);
    if (const auto dnsName = json.Find("dnsName")) {
        domain.dnsName = ReadPlainName(*dnsName);
        if (IsTaken(domain.dnsName))
            dnsName->Fail("a domain's name that is not taken");
    }
    m_domains.back() = std::move(domain);
}

void AccountBook::ReadAccount(const wchar_t* kind, const std::wstring& name, const JsonCursor& relativeId)
{
    const std::wstring fullName = FullName(name);
    const std::size_t backslash = fullName.find(L'\\');
    const auto domain = std::find_if(m_domains.begin(), m_domains.end(), [&](const Domain& each) {
        return LowerCase(each.name) == LowerCase(fullName.substr(0, backslash));
    });
    if (backslash == fullName.npos || domain == m_domains.end() || !IsPlainName(fullName.substr(backslash + 1)))
        relativeId.Fail("DOMAIN\\name or .\\name with a domain of /accounts/domains as key");
    const std::wstring sid = domain->sid + L'-' + std::to_wstring(relativeId.Integer(0, UINT32_MAX));
    if (!m_accounts.try_emplace(sid, Account{kind, fullName, {}}).second)
        relativeId.Fail("a relative identifier that is not taken in its domain");
    if (!m_sids.emplace(Key(name), sid).second)
        relativeId.Fail("an account's name that is not taken as key");
}

void AccountBook::ReadMember(const std::wstring& group, const JsonCursor& member)
{
    const std::optional<std::wstring> sid = SidOf(member.Name());
    if (!sid || !m_accounts.contains(*sid))
        member.Fail("the name of an account of /accounts");
    m_accounts.at(*SidOf(group)).members.push_back(*sid);
}

void AccountBook::ReadType(const std::wstring& name, const JsonCursor& type)
{
    const std::wstring types[] = {L"user",    L"group",   L"domain",  L"alias",   L"wellknown",
                                  L"deleted", L"invalid", L"unknown", L"computer"};
    if (SidOf(name) || !IsKnownToTheSystem(name))
        type.Fail("the name of a well-known account as key");
    if (std::find(std::begin(types), std::end(types), type.Name()) == std::end(types))
        type.Fail("\"user\", \"group\" or another type of account");
    m_types.emplace(name, type.Name());
}

std::optional<std::wstring> AccountBook::SidOf(const std::wstring& nameOrSid) const
{
    const auto found = m_sids.find(Key(nameOrSid));
    if (found != m_sids.end())
        return found->second;
    return IsSidText(nameOrSid) ? std::optional(nameOrSid) : std::nullopt;
}

std::wstring AccountBook::FullName(const std::wstring& name) const
{
    return name.starts_with(L".\\") ? m_domains.front().name + name.substr(1) : name;
}

void AccountBook::Remove(const JsonCursor& name)
{
    const auto known = m_sids.extract(Key(name.Name()));
    if (!known)
        name.Fail("the name of an account of /accounts that exists by then");
    m_accounts.erase(known.mapped());
}

void AccountBook::Rename(const JsonCursor& name, const JsonCursor& newName)
{
    auto known = m_sids.extract(Key(name.Name()));
    if (!known)
        name.Fail("the name of an account of /accounts that exists by then");
    std::wstring& accountName = m_accounts.at(known.mapped()).name;
    accountName.replace(accountName.find(L'\\') + 1, std::wstring::npos, ReadPlainName(newName));
    known.key() = Key(accountName);
    if (!m_sids.insert(std::move(known)).inserted)
        newName.Fail("a name that is not taken in its domain");
}

std::string AccountBook::FileText() const
{
    std::wstring text;
    for (const Domain& domain : m_domains)
        text += (text.empty() ? L"computer " : L"domain ") + domain.name + L" = " + domain.sid + L' ' + domain.dnsName +
                L'\n';
    for (const auto& [sid, account] : m_accounts)
        text += account.kind + L' ' + account.name + L" = " + sid.substr(sid.rfind(L'-') + 1) + L'\n';
    for (const auto& [sid, group] : m_accounts) {
        for (const std::wstring& member : group.members) {
            if (const auto account = m_accounts.find(member); account != m_accounts.end())
                text += L"member " + group.name + L" = " + account->second.name + L'\n';
        }
    }
    for (const auto& [name, type] : m_types)
        text += L"type " + name + L" = " + type + L'\n';
    return Text::ToUtf8(text);
}

bool AccountBook::IsTaken(const std::wstring& domainName) const
{
    const std::string key = LowerCase(domainName);
    return key == "nt authority" || key == "builtin" ||
           std::any_of(m_domains.begin(), m_domains.end(), [&](const Domain& each) {
               return LowerCase(each.name) == key || LowerCase(each.dnsName) == key;
           });
}

std::string AccountBook::Key(const std::wstring& name) const
{
    return LowerCase(FullName(name));
}

} // namespace Host
