// Reading a component's configuration node, with an ERR line that names the key when it cannot be used.
#pragma once

#include "Common/Nodes/KelNodePtr.h"

#include <chrono>
#include <string>
#include <vector>

namespace Configuration
{

// HRX 0x80070490 when the key is missing.
std::wstring RequiredString(const KelNodePtr& config, const wchar_t* key);

// The empty text when the key is missing.
std::wstring OptionalString(const KelNodePtr& config, const wchar_t* key);

// No texts when the key is missing.
std::vector<std::wstring> OptionalStrings(const KelNodePtr& config, const wchar_t* key);

// HRX 0x80070490 when there is no child of that name.
KelNodePtr RequiredChild(const KelNodePtr& config, const wchar_t* name);

// Overwrites `value` when the key is there and has a value. HRX E_INVALIDARG unless it is 0 to 4294967295 seconds, the
// node library's failure when it is no number.
void ReadSeconds(const KelNodePtr& config, const wchar_t* key, std::chrono::seconds& value);

// The key's value, `defaultValue` when it is missing. The node library's failure when it is no boolean.
bool ReadBool(const KelNodePtr& config, const wchar_t* key, bool defaultValue);

} // namespace Configuration
