#include "Platform/Posix/SidBytes.h"

#include <algorithm>
#include <cwchar>

namespace
{

constexpr std::size_t headSize = 8;
constexpr std::uint32_t ntAuthority = 5;
constexpr std::uint32_t accountDomains = 21;
constexpr std::uint32_t builtinDomain = 32;
constexpr std::size_t domainSubAuthorities = 4;

std::uint64_t Authority(const SidBytes& sid)
{
    std::uint64_t value = 0;
    for (std::size_t i = 2; i < headSize; ++i)
        value = (value << 8) | sid[i];
    return value;
}

bool IsOfNtAuthority(const SidBytes& sid, std::uint32_t firstSubAuthority)
{
    return Authority(sid) == ntAuthority && SubAuthorityCount(sid) > 0 && SubAuthority(sid, 0) == firstSubAuthority;
}

// Of an account domain, or the domain itself.
bool IsInAccountDomain(const SidBytes& sid)
{
    return IsOfNtAuthority(sid, accountDomains) && SubAuthorityCount(sid) >= domainSubAuthorities;
}

bool IsBuiltin(const SidBytes& sid)
{
    return IsOfNtAuthority(sid, builtinDomain);
}

std::uint64_t DigitValue(wchar_t c)
{
    return static_cast<std::uint64_t>(c <= L'9' ? c - L'0' : (c | 0x20) - L'a' + 10);
}

} // namespace

std::size_t SidHash::operator()(const SidBytes& sid) const
{
    return std::hash<std::string_view>()({reinterpret_cast<const char*>(sid.data()), sid.size()});
}

std::size_t SubAuthorityCount(const SidBytes& sid)
{
    return sid[1];
}

std::uint32_t SubAuthority(const SidBytes& sid, std::size_t index)
{
    std::uint32_t value = 0;
    for (std::size_t i = 4; i-- > 0;)
        value = (value << 8) | sid[headSize + 4 * index + i];
    return value;
}

void AppendSubAuthority(SidBytes& sid, std::uint32_t value)
{
    for (int i = 0; i < 4; ++i)
        sid.push_back(static_cast<std::uint8_t>(value >> (8 * i)));
    ++sid[1];
}

bool TakeNumber(std::wstring_view& text, std::uint64_t limit, std::uint64_t& value)
{
    const bool hexadecimal = text.starts_with(L"0x") || text.starts_with(L"0X");
    text.remove_prefix(hexadecimal ? 2 : 0);
    const wchar_t* const digits = hexadecimal ? L"0123456789abcdefABCDEF" : L"0123456789";
    const std::size_t end = std::min(text.find_first_not_of(digits), text.size());
    value = 0;
    for (const wchar_t c : text.substr(0, end))
        value = std::min(value * (hexadecimal ? 16 : 10) + DigitValue(c), limit);
    text.remove_prefix(end);
    return end > 0;
}

bool ReadSidText(std::wstring_view text, SidBytes& sid)
{
    std::uint64_t number = 0;
    if (!text.starts_with(L"S-") && !text.starts_with(L"s-"))
        return false;
    text.remove_prefix(2);
    if (!TakeNumber(text, 0xFF, number) || number != 1 || !text.starts_with(L'-'))
        return false;
    text.remove_prefix(1);
    if (!TakeNumber(text, 0xFFFFFFFFFFFF, number))
        return false;
    sid = {1, 0};
    for (int shift = 40; shift >= 0; shift -= 8)
        sid.push_back(static_cast<std::uint8_t>(number >> shift));
    while (text.size() > 1 && text.front() == L'-' && SubAuthorityCount(sid) < MaxSubAuthorities) {
        text.remove_prefix(1);
        if (!TakeNumber(text, 0xFFFFFFFF, number))
            return false;
        AppendSubAuthority(sid, static_cast<std::uint32_t>(number));
    }
    return SubAuthorityCount(sid) > 0 && (text.empty() || text == L"-");
}

std::wstring SidText(const SidBytes& sid)
{
    const std::uint64_t authority = Authority(sid);
    wchar_t hexadecimal[15];
    std::swprintf(hexadecimal, std::size(hexadecimal), L"0x%012llx", static_cast<unsigned long long>(authority));
    std::wstring text = L"S-1-" + (authority > 0xFFFFFFFF ? hexadecimal : std::to_wstring(authority));
    for (std::size_t i = 0; i < SubAuthorityCount(sid); ++i)
        text += L'-' + std::to_wstring(SubAuthority(sid, i));
    return text;
}

bool IsAccountDomain(const SidBytes& sid)
{
    return IsInAccountDomain(sid) && SubAuthorityCount(sid) == domainSubAuthorities;
}

bool CompareDomains(const SidBytes& a, const SidBytes& b, bool& equal)
{
    const bool builtin = IsBuiltin(a) || IsBuiltin(b);
    const std::uint8_t* const domain = a.data() + headSize;
    if ((!IsBuiltin(a) && !IsInAccountDomain(a)) || (!IsBuiltin(b) && !IsInAccountDomain(b)))
        return false;
    equal = builtin ? a == b : std::equal(domain, domain + 4 * domainSubAuthorities, b.data() + headSize);
    return true;
}
