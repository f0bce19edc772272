// Text values of a registry key.
#pragma once

#include <map>
#include <string>

// Value name -> text of the key's REG_SZ and REG_EXPAND_SZ values; other types are passed over. The path may start with
// HKLM, HKEY_LOCAL_MACHINE, HKCU or HKEY_CURRENT_USER and a separator; otherwise it lies below HKEY_LOCAL_MACHINE. A
// key that cannot be opened has no values.
std::map<std::wstring, std::wstring> ReadRegistryTexts(const std::wstring& keyPath);
