// The system's authorization functions and account look-ups, on the native account code. Only what the module and the
// tests call is answered.
#include "Platform/Testing/Windows/StandIn.h"

#include "Platform/Posix/CurrentAccounts.h"

#include <algorithm>
#include <atomic>
#include <cstddef>

namespace
{

struct Context
{
    SidBytes user;
    std::vector<SidBytes> groups;
};

std::atomic<DWORD> liveHandles{0};

BOOL Fail(DWORD code)
{
    SetLastError(code);
    return FALSE;
}

SidBytes ReadSid(PSID sid)
{
    const auto* const bytes = static_cast<const std::uint8_t*>(sid);
    return {bytes, bytes + GetLengthSid(sid)};
}

// Sizes count characters: the terminator as well when the text does not fit.
bool StoreText(const std::wstring& text, LPWSTR buffer, DWORD* size, bool fits)
{
    if (fits)
        std::copy_n(text.c_str(), text.size() + 1, buffer);
    *size = static_cast<DWORD>(text.size() + (fits ? 0 : 1));
    return fits;
}

} // namespace

BOOL StandInLookupAccountName(LPCWSTR, LPCWSTR name, PSID sid, DWORD* sidSize, LPWSTR domain, DWORD* domainSize,
                              SID_NAME_USE* use)
{
    const auto accounts = CurrentAccounts();
    const Account* const found = accounts->FindByName(name ? name : L"");
    if (!found)
        return Fail(ERROR_NONE_MAPPED);
    const bool fits = sid && *sidSize >= found->sid.size() && domain && *domainSize > found->domain.size();
    *sidSize = static_cast<DWORD>(found->sid.size());
    if (!StoreText(found->domain, domain, domainSize, fits))
        return Fail(ERROR_INSUFFICIENT_BUFFER);
    std::copy(found->sid.begin(), found->sid.end(), static_cast<std::uint8_t*>(sid));
    *use = static_cast<SID_NAME_USE>(found->type);
    return TRUE;
}

BOOL StandInLookupAccountSid(LPCWSTR, PSID sid, LPWSTR name, DWORD* nameSize, LPWSTR domain, DWORD* domainSize,
                             SID_NAME_USE* use)
{
    if (!IsValidSid(sid))
        return Fail(ERROR_INVALID_SID);
    const auto accounts = CurrentAccounts();
    const Account* const found = accounts->FindBySid(ReadSid(sid));
    if (!found)
        return Fail(ERROR_NONE_MAPPED);
    const bool fits = name && *nameSize > found->name.size() && domain && *domainSize > found->domain.size();
    StoreText(found->name, name, nameSize, fits);
    if (!StoreText(found->domain, domain, domainSize, fits))
        return Fail(ERROR_INSUFFICIENT_BUFFER);
    *use = static_cast<SID_NAME_USE>(found->type);
    return TRUE;
}

BOOL AuthzInitializeResourceManager(DWORD, void*, void*, void*, LPCWSTR, void** manager)
{
    *manager = new char;
    ++liveHandles;
    return TRUE;
}

BOOL AuthzFreeResourceManager(void* manager)
{
    delete static_cast<char*>(manager);
    --liveHandles;
    return TRUE;
}

BOOL AuthzInitializeContextFromSid(DWORD flags, PSID user, void*, LARGE_INTEGER*, LUID, void*, void** context)
{
    if (!IsValidSid(user))
        return Fail(ERROR_INVALID_SID);
    auto made = std::make_unique<Context>(Context{ReadSid(user), {}});
    if (flags == 0) {
        const auto accounts = CurrentAccounts();
        const Account* const account = accounts->FindBySid(made->user);
        if (!account)
            return Fail(ERROR_NONE_MAPPED);
        made->groups = accounts->GroupsOf(*account);
    }
    *context = made.release();
    ++liveHandles;
    return TRUE;
}

BOOL AuthzFreeContext(void* context)
{
    delete static_cast<Context*>(context);
    --liveHandles;
    return TRUE;
}

// The SIDs lie behind the structure that points to them.
BOOL AuthzGetInformationFromContext(void* handle, int what, DWORD size, DWORD* sizeNeeded, void* buffer)
{
    constexpr int groupSids = 2;
    const Context& context = *static_cast<const Context*>(handle);
    const std::vector<SidBytes> user{context.user};
    const std::vector<SidBytes>& sids = what == groupSids ? context.groups : user;
    const std::size_t entries = what == groupSids ? offsetof(TOKEN_GROUPS, Groups) : 0;
    std::size_t place = entries + std::max<std::size_t>(sids.size(), 1) * sizeof(SID_AND_ATTRIBUTES);
    std::size_t needed = place;
    for (const SidBytes& sid : sids)
        needed += sid.size();
    *sizeNeeded = static_cast<DWORD>(needed);
    if (!buffer || size < needed)
        return Fail(ERROR_INSUFFICIENT_BUFFER);
    auto* const bytes = static_cast<std::uint8_t*>(buffer);
    if (what == groupSids)
        static_cast<TOKEN_GROUPS*>(buffer)->GroupCount = static_cast<DWORD>(sids.size());
    auto* entry = reinterpret_cast<SID_AND_ATTRIBUTES*>(bytes + entries);
    for (const SidBytes& sid : sids) {
        *entry++ = {bytes + place, SE_GROUP_ENABLED};
        std::copy(sid.begin(), sid.end(), bytes + place);
        place += sid.size();
    }
    return TRUE;
}

DWORD AuthzTestLiveHandles()
{
    return liveHandles;
}
