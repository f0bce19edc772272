#include "Platform/Posix/Failure.h"
#include "Platform/Posix/SidBytes.h"
#include "Platform/Posix/TextFile.h"
#include "Platform/Posix/WellKnownAccounts.h"

#include <algorithm>
#include <cstdlib>

namespace
{

// A copy that LocalFree releases; null, with the last error, when there is no memory.
template <class Value>
Value* LocalCopy(const Value* values, std::size_t count)
{
    auto* const copy = static_cast<Value*>(std::malloc(count * sizeof(Value)));
    if (!copy)
        return Fail(ERROR_NOT_ENOUGH_MEMORY, copy);
    std::copy_n(values, count, copy);
    return copy;
}

template <class Predicate>
const WellKnownAccount* FindWellKnown(Predicate predicate)
{
    const auto* const found = std::find_if(std::begin(wellKnownAccounts), std::end(wellKnownAccounts), predicate);
    return found == std::end(wellKnownAccounts) ? nullptr : found;
}

// Blanks in front do not count.
bool ParseSidOrAlias(std::wstring_view text, SidBytes& sid)
{
    text.remove_prefix(std::min(text.find_first_not_of(L' '), text.size()));
    const auto* const alias =
        FindWellKnown([text](const WellKnownAccount& account) { return EqualIgnoringCase(account.shortSid, text); });
    return ParseSid(alias ? alias->sid : text, sid);
}

} // namespace

BOOL IsValidSid(PSID sid)
{
    return IsValidSidAt(sid);
}

DWORD GetLengthSid(PSID sid)
{
    return static_cast<DWORD>(SidLengthAt(sid));
}

BOOL CopySid(DWORD size, PSID destination, PSID source)
{
    if (!destination || !IsValidSidAt(source))
        return Fail(destination ? ERROR_INVALID_SID : ERROR_INVALID_PARAMETER);
    if (size < SidLengthAt(source))
        return Fail(ERROR_INSUFFICIENT_BUFFER);
    std::copy_n(static_cast<const BYTE*>(source), SidLengthAt(source), static_cast<BYTE*>(destination));
    return TRUE;
}

BOOL ConvertSidToStringSidW(PSID sid, LPWSTR* text)
try {
    if (!IsValidSidAt(sid))
        return Fail(ERROR_INVALID_SID);
    if (!text)
        return Fail(ERROR_INVALID_PARAMETER);
    const std::wstring formatted = FormatSid(ReadSid(sid));
    *text = LocalCopy(formatted.c_str(), formatted.size() + 1);
    return *text != nullptr;
} catch (...) {
    return Fail(ExceptionCode());
}

BOOL ConvertStringSidToSidW(LPCWSTR text, PSID* sid)
try {
    if (!text || !sid)
        return Fail(ERROR_INVALID_PARAMETER);
    SidBytes parsed;
    if (!ParseSidOrAlias(text, parsed))
        return Fail(ERROR_INVALID_SID);
    *sid = LocalCopy(parsed.data(), parsed.size());
    return *sid != nullptr;
} catch (...) {
    return Fail(ExceptionCode());
}

BOOL IsWellKnownSid(PSID sid, WELL_KNOWN_SID_TYPE type)
try {
    const auto* const account =
        FindWellKnown([type](const WellKnownAccount& candidate) { return candidate.wellKnownType == type; });
    if (!account || type == 0)
        return Fail(ERROR_INVALID_PARAMETER);
    return IsValidSidAt(sid) && FormatSid(ReadSid(sid)) == account->sid;
} catch (...) {
    return Fail(ExceptionCode());
}

BOOL EqualDomainSid(PSID a, PSID b, BOOL* equal)
try {
    if (!IsValidSidAt(a) || !IsValidSidAt(b))
        return Fail(ERROR_INVALID_SID);
    if (!equal)
        return Fail(ERROR_INVALID_PARAMETER);
    bool same = false;
    if (!CompareDomains(ReadSid(a), ReadSid(b), same))
        return Fail(ERROR_NON_DOMAIN_SID);
    *equal = same;
    return TRUE;
} catch (...) {
    return Fail(ExceptionCode());
}
