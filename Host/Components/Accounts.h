// Security identifiers as text ("S-1-5-21-…"), which is how sites, grants and tokens hold them, and account names.
#pragma once

#include "Platform/Win32.h"

#include <memory>
#include <optional>
#include <string>

namespace Host
{

struct LocalMemoryRelease
{
    void operator()(void* memory) const { LocalFree(memory); }
};
using UniqueSid = std::unique_ptr<void, LocalMemoryRelease>;

// Null when the text is no SID.
UniqueSid ParseSid(const std::wstring& text);

// Throws Failure when there is no SID at `sid`.
std::wstring SidText(PSID sid);

// Whether the text is a SID just as SidText writes it; that of an account domain.
bool IsSidText(const std::wstring& text);
bool IsDomainSidText(const std::wstring& text);

// DOMAIN\name; nothing when this computer does not know the account.
std::optional<std::wstring> LookUpAccountName(PSID sid);

// This computer's NetBIOS name.
std::wstring ComputerName();

} // namespace Host
