#include "Platform/Posix/AccountFile.h"
#include "Platform/Posix/AuthzCounts.h"
#include "Platform/Posix/Failure.h"
#include "Platform/Posix/Win32Authz.h"

#include <algorithm>
#include <cstddef>
#include <memory>
#include <mutex>

struct AUTHZ_RESOURCE_MANAGER
{};

struct AUTHZ_CLIENT_CONTEXT
{
    SidBytes user;
    std::vector<SidBytes> groups;
};

namespace
{

// The objects behind the handles. A handle that is not one, or no longer, does no harm.
template <class Object>
class HandleTable
{
public:
    Object* Add(Object object)
    {
        const auto added = std::make_shared<Object>(std::move(object));
        const std::lock_guard guard(m_lock);
        return m_objects.emplace(added.get(), added).first->first;
    }

    bool Remove(Object* handle)
    {
        const std::lock_guard guard(m_lock);
        return m_objects.erase(handle) > 0;
    }

    std::shared_ptr<const Object> Find(Object* handle)
    {
        const std::lock_guard guard(m_lock);
        const auto found = m_objects.find(handle);
        return found == m_objects.end() ? nullptr : found->second;
    }

    DWORD Count()
    {
        const std::lock_guard guard(m_lock);
        return static_cast<DWORD>(m_objects.size());
    }

private:
    std::mutex m_lock; // guards the objects
    std::unordered_map<Object*, std::shared_ptr<const Object>> m_objects;
};

constexpr DWORD groupAttributes = SE_GROUP_MANDATORY | SE_GROUP_ENABLED_BY_DEFAULT | SE_GROUP_ENABLED;

HandleTable<AUTHZ_RESOURCE_MANAGER> managers;
HandleTable<AUTHZ_CLIENT_CONTEXT> contexts;

// Of an account that has to be there only if its groups are wanted.
bool MakeContext(const SidBytes& user, bool withGroups, AUTHZ_CLIENT_CONTEXT& context)
{
    context.user = user;
    if (!withGroups)
        return true;
    const std::shared_ptr<const AccountDirectory> accounts = CurrentAccounts();
    const Account* const account = accounts->FindBySid(user);
    if (account)
        context.groups = accounts->GroupsOf(*account);
    return account != nullptr;
}

std::size_t TotalSize(const std::vector<SidBytes>& sids)
{
    std::size_t size = 0;
    for (const SidBytes& sid : sids)
        size += sid.size();
    return size;
}

// Stores the SIDs at `place` and what points to them in `entries`.
void StoreSids(const std::vector<SidBytes>& sids, DWORD attributes, SID_AND_ATTRIBUTES* entries, BYTE* place)
{
    for (const SidBytes& sid : sids) {
        *entries++ = {place, attributes};
        place = std::copy(sid.begin(), sid.end(), place);
    }
}

} // namespace

BOOL AuthzInitializeResourceManager(DWORD flags, PFN_AUTHZ_DYNAMIC_ACCESS_CHECK accessCheck,
                                    PFN_AUTHZ_COMPUTE_DYNAMIC_GROUPS computeGroups,
                                    PFN_AUTHZ_FREE_DYNAMIC_GROUPS freeGroups, LPCWSTR /*name*/,
                                    AUTHZ_RESOURCE_MANAGER_HANDLE* manager)
try {
    // Without the first flag there were audits to write.
    if ((flags | AUTHZ_RM_FLAG_NO_CENTRAL_ACCESS_POLICIES) !=
            (AUTHZ_RM_FLAG_NO_AUDIT | AUTHZ_RM_FLAG_NO_CENTRAL_ACCESS_POLICIES) ||
        accessCheck || computeGroups || freeGroups)
        return Fail(ERROR_NOT_SUPPORTED);
    if (!manager)
        return Fail(ERROR_INVALID_PARAMETER);
    *manager = managers.Add({});
    return TRUE;
} catch (...) {
    return Fail(ExceptionCode());
}

BOOL AuthzFreeResourceManager(AUTHZ_RESOURCE_MANAGER_HANDLE manager)
{
    return managers.Remove(manager) ? TRUE : Fail(ERROR_INVALID_PARAMETER);
}

BOOL AuthzInitializeContextFromSid(DWORD flags, PSID user, AUTHZ_RESOURCE_MANAGER_HANDLE manager,
                                   LARGE_INTEGER* expiration, LUID /*identifier*/, PVOID dynamicGroupArguments,
                                   AUTHZ_CLIENT_CONTEXT_HANDLE* context)
try {
    if ((flags & ~AUTHZ_SKIP_TOKEN_GROUPS) != 0 || expiration || dynamicGroupArguments)
        return Fail(ERROR_NOT_SUPPORTED);
    if (!context || !managers.Find(manager))
        return Fail(ERROR_INVALID_PARAMETER);
    if (!IsValidSid(user))
        return Fail(ERROR_INVALID_SID);
    AUTHZ_CLIENT_CONTEXT made;
    if (!MakeContext(ReadSid(user), flags == 0, made))
        return Fail(ERROR_NONE_MAPPED);
    *context = contexts.Add(std::move(made));
    return TRUE;
} catch (...) {
    return Fail(ExceptionCode());
}

BOOL AuthzFreeContext(AUTHZ_CLIENT_CONTEXT_HANDLE context)
{
    return contexts.Remove(context) ? TRUE : Fail(ERROR_INVALID_PARAMETER);
}

BOOL AuthzGetInformationFromContext(AUTHZ_CLIENT_CONTEXT_HANDLE context,
                                    AUTHZ_CONTEXT_INFORMATION_CLASS informationClass, DWORD size, DWORD* sizeNeeded,
                                    PVOID buffer)
try {
    const std::shared_ptr<const AUTHZ_CLIENT_CONTEXT> found = contexts.Find(context);
    if (!found || !sizeNeeded)
        return Fail(ERROR_INVALID_PARAMETER);
    if (informationClass != AuthzContextInfoUserSid && informationClass != AuthzContextInfoGroupsSids)
        return Fail(ERROR_NOT_SUPPORTED);
    const bool groups = informationClass == AuthzContextInfoGroupsSids;
    const std::vector<SidBytes> user{found->user};
    const std::vector<SidBytes>& sids = groups ? found->groups : user;
    const std::size_t entries = groups ? offsetof(TOKEN_GROUPS, Groups) : offsetof(TOKEN_USER, User);
    const std::size_t head = entries + std::max<std::size_t>(sids.size(), 1) * sizeof(SID_AND_ATTRIBUTES);
    *sizeNeeded = static_cast<DWORD>(head + TotalSize(sids));
    if (!buffer || size < *sizeNeeded)
        return Fail(ERROR_INSUFFICIENT_BUFFER);
    auto* const bytes = static_cast<BYTE*>(buffer);
    if (groups)
        static_cast<TOKEN_GROUPS*>(buffer)->GroupCount = static_cast<DWORD>(sids.size());
    StoreSids(sids, groups ? groupAttributes : 0, reinterpret_cast<SID_AND_ATTRIBUTES*>(bytes + entries), bytes + head);
    return TRUE;
} catch (...) {
    return Fail(ExceptionCode());
}

DWORD AuthzTestLiveContexts()
{
    return contexts.Count();
}

DWORD AuthzTestLiveResourceManagers()
{
    return managers.Count();
}
