// Security identifiers as text ("S-1-5-21-…"), which is how sites, grants and tokens hold them, and account names.
#pragma once

#include "Platform/Accounts.h"

#include <optional>
#include <string>

namespace Host
{

// Throws Failure when it is no SID.
std::wstring SidText(const Platform::Sid& sid);

// Whether the text is a SID just as SidText writes it.
bool IsSidText(const std::wstring& text);

// DOMAIN\name; nullopt when this computer does not know the account.
std::optional<std::wstring> LookUpAccountName(const Platform::Sid& sid);

// This computer's NetBIOS name.
std::wstring ComputerName();

} // namespace Host
