// Security identifiers as bytes and as text. Internal to the platform; free of the system, because the stand-ins for
// tests under Wine use it as well.
#pragma once

#include "Platform/Accounts.h"

#include <string_view>

// Revision (1), number of sub-authorities, 6 bytes of authority (big-endian), sub-authorities (32 bits, little-endian).
using SidBytes = Platform::Sid;

inline constexpr std::size_t MaxSubAuthorities = 15;

struct SidHash
{
    std::size_t operator()(const SidBytes& sid) const;
};

std::size_t SubAuthorityCount(const SidBytes& sid);
std::uint32_t SubAuthority(const SidBytes& sid, std::size_t index);
void AppendSubAuthority(SidBytes& sid, std::uint32_t value);

// Takes a decimal or, behind "0x", hexadecimal number off the front of `text`; `value` is at most `limit`. False when
// there is none.
bool TakeNumber(std::wstring_view& text, std::uint64_t limit, std::uint64_t& value);

// "S-1-5-21-1-2-3-1105"; an authority beyond 32 bits is hexadecimal. Numbers that are too big are read as the biggest.
// A dash at the end does not count.
bool ReadSidText(std::wstring_view text, SidBytes& sid);
std::wstring SidText(const SidBytes& sid);

// S-1-5-21-a-b-c, without anything behind it.
bool IsAccountDomain(const SidBytes& sid);
// Whether two SIDs are of one domain; false when one of them is of none. Of the domain S-1-5-32 only the same SID is.
bool CompareDomains(const SidBytes& a, const SidBytes& b, bool& equal);
