#include "Platform/Posix/AccountFile.h"
#include "Platform/Posix/Failure.h"

#include <algorithm>

namespace
{

// A caller's buffer and its size.
template <class Value>
struct Buffer
{
    Value* data;
    DWORD* size;

    bool Holds(std::size_t count) const { return data && *size >= count; }
};

// Sizes count characters: the terminator too when the text does not fit, but not when it does.
bool StoreText(const std::wstring& text, const Buffer<wchar_t>& buffer, bool fits)
{
    if (fits)
        std::copy_n(text.c_str(), text.size() + 1, buffer.data);
    *buffer.size = static_cast<DWORD>(text.size() + (fits ? 0 : 1));
    return fits;
}

bool IsOtherComputer(LPCWSTR system)
{
    return system && *system;
}

} // namespace

BOOL LookupAccountNameW(LPCWSTR system, LPCWSTR account, PSID sid, DWORD* sidSize, LPWSTR domain, DWORD* domainSize,
                        SID_NAME_USE* use)
try {
    if (!sidSize || !domainSize || !use)
        return Fail(ERROR_INVALID_PARAMETER);
    if (IsOtherComputer(system))
        return Fail(RPC_S_SERVER_UNAVAILABLE);
    const std::shared_ptr<const AccountDirectory> accounts = CurrentAccounts();
    const Account* const found = accounts->FindByName(account ? account : L"");
    if (!found)
        return Fail(ERROR_NONE_MAPPED);
    const Buffer<BYTE> sidBuffer{static_cast<BYTE*>(sid), sidSize};
    const Buffer<wchar_t> domainBuffer{domain, domainSize};
    const bool fits = sidBuffer.Holds(found->sid.size()) && domainBuffer.Holds(found->domain.size() + 1);
    *sidSize = static_cast<DWORD>(found->sid.size());
    if (!StoreText(found->domain, domainBuffer, fits))
        return Fail(ERROR_INSUFFICIENT_BUFFER);
    std::copy(found->sid.begin(), found->sid.end(), sidBuffer.data);
    *use = found->type;
    return TRUE;
} catch (...) {
    return Fail(ExceptionCode());
}

BOOL LookupAccountSidW(LPCWSTR system, PSID sid, LPWSTR name, DWORD* nameSize, LPWSTR domain, DWORD* domainSize,
                       SID_NAME_USE* use)
try {
    if (!nameSize || !domainSize || !use)
        return Fail(ERROR_INVALID_PARAMETER);
    if (IsOtherComputer(system))
        return Fail(RPC_S_SERVER_UNAVAILABLE);
    if (!IsValidSid(sid))
        return Fail(ERROR_INVALID_SID);
    const std::shared_ptr<const AccountDirectory> accounts = CurrentAccounts();
    const Account* const found = accounts->FindBySid(ReadSid(sid));
    if (!found)
        return Fail(ERROR_NONE_MAPPED);
    const Buffer<wchar_t> nameBuffer{name, nameSize};
    const Buffer<wchar_t> domainBuffer{domain, domainSize};
    const bool fits = nameBuffer.Holds(found->name.size() + 1) && domainBuffer.Holds(found->domain.size() + 1);
    StoreText(found->name, nameBuffer, fits);
    if (!StoreText(found->domain, domainBuffer, fits))
        return Fail(ERROR_INSUFFICIENT_BUFFER);
    *use = found->type;
    return TRUE;
} catch (...) {
    return Fail(ExceptionCode());
}
