#include "Platform/Accounts.h"

#include "Platform/Posix/AccountDirectory.h"
#include "Platform/Posix/TextFile.h"

#include <algorithm>
#include <cwchar>
#include <iterator>

namespace Platform
{

namespace
{

// A SID: revision (1), number of sub-authorities, 6 bytes of authority (big-endian), sub-authorities (32 bits,
// little-endian).
constexpr std::size_t headSize = 8;
constexpr std::size_t maxSubAuthorities = 15;

struct Context
{
    Sid user;
    std::vector<Sid> groups;
};

// Takes a decimal or, behind "0x", hexadecimal number off the front of `text`; `value` is at most `limit`. False when
// there is none.
bool TakeNumber(const wchar_t*& text, std::uint64_t limit, std::uint64_t& value)
{
    if (*text < L'0' || *text > L'9')
        return false;
    const bool hexadecimal = text[0] == L'0' && (text[1] == L'x' || text[1] == L'X');
    wchar_t* end = nullptr;
    value = std::min<std::uint64_t>(std::wcstoull(text, &end, hexadecimal ? 16 : 10), limit);
    text = end;
    return true;
}

// What the SIDs of one domain have in common; empty for a SID of none. Of the domain S-1-5-32 only the same SID is.
Sid DomainOf(const Sid& sid)
{
    constexpr std::size_t end = headSize + 4 * 4;
    const auto begins = [&sid](std::uint8_t first) {
        const std::uint8_t head[] = {0, 0, 0, 0, 0, 5, first, 0, 0, 0};
        return sid.size() > headSize && std::equal(std::begin(head), std::end(head), sid.begin() + 2);
    };
    if (begins(21) && sid.size() >= end)
        return {sid.begin() + 2, sid.begin() + end};
    return begins(32) ? sid : Sid();
}

HRESULT FindAccount(const std::wstring& system, const Account* found, AccountInfo& account)
{
    if (!system.empty())
        return HResultFromWin32(RPC_S_SERVER_UNAVAILABLE);
    if (!found)
        return HResultFromWin32(ERROR_NONE_MAPPED);
    account = {found->sid, found->domain, found->name, found->type};
    return S_OK;
}

} // namespace

bool IsValidSid(const Sid& sid)
{
    return sid.size() >= headSize && sid[0] == 1 && sid[1] <= maxSubAuthorities && sid.size() == headSize + 4U * sid[1];
}

// As on Windows, blanks in front and a dash at the end do not count, and numbers that are too big are the biggest.
bool ParseSid(const std::wstring& source, Sid& sid)
{
    static constexpr std::pair<const wchar_t*, const wchar_t*> shortForms[] = {
        {L"WD", L"S-1-1-0"},  {L"AU", L"S-1-5-11"},     {L"SY", L"S-1-5-18"},     {L"LS", L"S-1-5-19"},
        {L"NS", L"S-1-5-20"}, {L"BA", L"S-1-5-32-544"}, {L"BU", L"S-1-5-32-545"},
    };
    const wchar_t* text = source.c_str() + std::min(source.find_first_not_of(L' '), source.size());
    for (const auto& [shortForm, sidText] : shortForms)
        text = EqualIgnoringCase(text, shortForm) ? sidText : text;
    if ((*text != L'S' && *text != L's') || *++text != L'-')
        return false;
    std::uint64_t number = 0;
    if (!TakeNumber(++text, 0xFF, number) || number != 1 || *text != L'-' ||
        !TakeNumber(++text, 0xFFFFFFFFFFFF, number))
        return false;
    sid = {1, 0};
    for (int shift = 40; shift >= 0; shift -= 8)
        sid.push_back(static_cast<std::uint8_t>(number >> shift));
    for (; text[0] == L'-' && text[1] != L'\0' && sid[1] < maxSubAuthorities; ++sid[1]) {
        if (!TakeNumber(++text, 0xFFFFFFFF, number))
            return false;
        for (int shift = 0; shift < 32; shift += 8)
            sid.push_back(static_cast<std::uint8_t>(number >> shift));
    }
    return sid[1] > 0 && (*text == L'\0' || std::wcscmp(text, L"-") == 0);
}

HRESULT FormatSid(const Sid& sid, std::wstring& text)
{
    if (!IsValidSid(sid))
        return HResultFromWin32(ERROR_INVALID_SID);
    std::uint64_t authority = 0;
    for (std::size_t i = 2; i < headSize; ++i)
        authority = (authority << 8) | sid[i];
    wchar_t number[16];
    const wchar_t* const format = authority > 0xFFFFFFFF ? L"0x%012llx" : L"%llu";
    std::swprintf(number, std::size(number), format, static_cast<unsigned long long>(authority));
    text = std::wstring(L"S-1-") + number;
    for (std::size_t i = headSize; i < sid.size(); i += 4)
        text +=
            L'-' + std::to_wstring(sid[i] + (sid[i + 1] << 8) + (sid[i + 2] << 16) + (std::int64_t{sid[i + 3]} << 24));
    return S_OK;
}

bool IsServiceSid(const Sid& sid)
{
    std::wstring text;
    return FormatSid(sid, text) >= 0 && (text == L"S-1-5-18" || text == L"S-1-5-19" || text == L"S-1-5-20");
}

HRESULT AreOfSameDomain(const Sid& a, const Sid& b, bool& same)
{
    if (!IsValidSid(a) || !IsValidSid(b))
        return HResultFromWin32(ERROR_INVALID_SID);
    if (DomainOf(a).empty() || DomainOf(b).empty())
        return HResultFromWin32(ERROR_NON_DOMAIN_SID);
    same = DomainOf(a) == DomainOf(b);
    return S_OK;
}

HRESULT LookUpAccountByName(const std::wstring& system, const std::wstring& name, AccountInfo& account)
{
    const std::shared_ptr<const AccountDirectory> accounts = AccountDirectory::Current();
    const HRESULT hr = FindAccount(system, accounts->FindByName(name), account);
    if (hr >= 0)
        account.name = name;
    return hr;
}

HRESULT LookUpAccountBySid(const std::wstring& system, const Sid& sid, AccountInfo& account)
{
    constexpr std::size_t longest = 511;
    if (!IsValidSid(sid))
        return HResultFromWin32(ERROR_INVALID_SID);
    const std::shared_ptr<const AccountDirectory> accounts = AccountDirectory::Current();
    const HRESULT hr = FindAccount(system, accounts->FindBySid(sid), account);
    const bool tooLong = hr >= 0 && std::max(account.name.size(), account.domain.size()) > longest;
    return tooLong ? HResultFromWin32(ERROR_INSUFFICIENT_BUFFER) : hr;
}

HRESULT MakeClientContext(const Sid& sid, bool resolveGroups, ClientContext& context)
{
    if (!IsValidSid(sid))
        return HResultFromWin32(ERROR_INVALID_SID);
    Context made{sid, {}};
    if (resolveGroups) {
        const std::shared_ptr<const AccountDirectory> accounts = AccountDirectory::Current();
        const Account* const account = accounts->FindBySid(sid);
        if (!account)
            return HResultFromWin32(ERROR_NONE_MAPPED);
        made.groups = accounts->GroupsOf(*account);
    }
    context = std::make_shared<Context>(std::move(made));
    return S_OK;
}

HRESULT ReadClientContext(void* context, Sid& user, std::vector<Sid>& groups)
{
    const Context& read = *static_cast<const Context*>(context);
    user = read.user;
    groups = read.groups;
    return S_OK;
}

} // namespace Platform
