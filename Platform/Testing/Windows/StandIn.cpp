// The system's authorization functions and account look-ups, on the native account code. Only what the module and the
// tests call is answered.
#include "Platform/Accounts.h"

#include <algorithm>
#include <array>
#include <cstring>
#include <windows.h>

namespace
{

struct Context
{
    Platform::Sid user;
    std::vector<Platform::Sid> groups;
};

BOOL Fail(HRESULT result)
{
    SetLastError(static_cast<DWORD>(result & 0xFFFF));
    return FALSE;
}

Platform::Sid ReadSid(PSID sid)
{
    const auto* const bytes = static_cast<const std::uint8_t*>(sid);
    return {bytes, bytes + GetLengthSid(sid)};
}

// Sizes count characters: the terminator as well when the text does not fit.
void StoreText(const std::wstring& text, LPWSTR buffer, DWORD* size, bool fits)
{
    if (fits)
        std::copy_n(text.c_str(), text.size() + 1, buffer);
    *size = static_cast<DWORD>(text.size() + (fits ? 0 : 1));
}

BOOL LookUpByName(LPCWSTR, LPCWSTR name, PSID sid, DWORD* sidSize, LPWSTR domain, DWORD* domainSize, SID_NAME_USE* use)
{
    Platform::AccountInfo found;
    if (const HRESULT hr = Platform::LookUpAccountByName({}, name, found); hr < 0)
        return Fail(hr);
    const bool fits = *sidSize >= found.sid.size() && *domainSize > found.domain.size();
    *sidSize = static_cast<DWORD>(found.sid.size());
    StoreText(found.domain, domain, domainSize, fits);
    if (!fits)
        return Fail(ERROR_INSUFFICIENT_BUFFER);
    std::copy(found.sid.begin(), found.sid.end(), static_cast<std::uint8_t*>(sid));
    *use = static_cast<SID_NAME_USE>(found.type);
    return TRUE;
}

BOOL LookUpBySid(LPCWSTR, PSID sid, LPWSTR name, DWORD* nameSize, LPWSTR domain, DWORD* domainSize, SID_NAME_USE* use)
{
    Platform::AccountInfo found;
    if (const HRESULT hr = Platform::LookUpAccountBySid({}, ReadSid(sid), found); hr < 0)
        return Fail(hr);
    const bool fits = *nameSize > found.name.size() && *domainSize > found.domain.size();
    StoreText(found.name, name, nameSize, fits);
    StoreText(found.domain, domain, domainSize, fits);
    *use = static_cast<SID_NAME_USE>(found.type);
    return fits || Fail(ERROR_INSUFFICIENT_BUFFER);
}

// While it lives, a function of advapi32.dll, which is loaded because this library imports from it, begins with a jump
// to `target`, for every module of the process. Not safe while another thread enters the function.
class Redirection
{
public:
    Redirection(const char* name, const void* target)
        : m_entry(reinterpret_cast<void*>(GetProcAddress(GetModuleHandleW(L"advapi32.dll"), name)))
    {
        Code jump{0x48, 0xB8, 0, 0, 0, 0, 0, 0, 0, 0, 0xFF, 0xE0}; // mov rax, target; jmp rax
        std::memcpy(&jump[2], &target, sizeof(target));
        std::memcpy(m_original.data(), m_entry, m_original.size());
        Write(jump);
    }
    ~Redirection() { Write(m_original); }
    Redirection(const Redirection&) = delete;
    Redirection& operator=(const Redirection&) = delete;

private:
    using Code = std::array<BYTE, 12>;

    void Write(const Code& code) const
    {
        DWORD protection = 0;
        if (!VirtualProtect(m_entry, code.size(), PAGE_EXECUTE_READWRITE, &protection))
            return;
        std::memcpy(m_entry, code.data(), code.size());
        VirtualProtect(m_entry, code.size(), protection, &protection);
        FlushInstructionCache(GetCurrentProcess(), m_entry, code.size());
    }

    void* m_entry;
    Code m_original;
};

const Redirection byName("LookupAccountNameW", reinterpret_cast<const void*>(&LookUpByName));
const Redirection bySid("LookupAccountSidW", reinterpret_cast<const void*>(&LookUpBySid));

} // namespace

// The SDK's header of these functions is not included: it says that they are imported.
#define EXPORTED extern "C" __declspec(dllexport)

EXPORTED BOOL AuthzInitializeResourceManager(DWORD, void*, void*, void*, LPCWSTR, void** manager)
{
    static char theOne;
    *manager = &theOne;
    return TRUE;
}

EXPORTED BOOL AuthzFreeResourceManager(void*)
{
    return TRUE;
}

EXPORTED BOOL AuthzInitializeContextFromSid(DWORD flags, PSID user, void*, LARGE_INTEGER*, LUID, void*, void** context)
{
    Platform::ClientContext made;
    if (const HRESULT hr = Platform::MakeClientContext(ReadSid(user), flags == 0, made); hr < 0)
        return Fail(hr);
    auto read = std::make_unique<Context>();
    Platform::ReadClientContext(made.get(), read->user, read->groups);
    *context = read.release();
    return TRUE;
}

EXPORTED BOOL AuthzFreeContext(void* context)
{
    delete static_cast<Context*>(context);
    return TRUE;
}

// The answer points to the context's own SIDs.
EXPORTED BOOL AuthzGetInformationFromContext(void* handle, int what, DWORD size, DWORD* needed, void* buffer)
{
    constexpr int groupSids = 2;
    Context& context = *static_cast<Context*>(handle);
    *needed = static_cast<DWORD>(sizeof(TOKEN_GROUPS) + context.groups.size() * sizeof(SID_AND_ATTRIBUTES));
    if (size < *needed)
        return Fail(ERROR_INSUFFICIENT_BUFFER);
    if (what != groupSids) {
        static_cast<TOKEN_USER*>(buffer)->User = {context.user.data(), 0};
        return TRUE;
    }
    TOKEN_GROUPS& groups = *static_cast<TOKEN_GROUPS*>(buffer);
    groups.GroupCount = static_cast<DWORD>(context.groups.size());
    for (std::size_t i = 0; i < context.groups.size(); ++i)
        groups.Groups[i] = {context.groups[i].data(), SE_GROUP_ENABLED};
    return TRUE;
}
