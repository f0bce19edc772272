// Reading a component's configuration node, with an ERR line that names the key when it cannot be used.
#pragma once

#include "Common/ErrorHandling/NamedFailure.h"
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

// The key's value, `defaultValue` when it is missing or has none. HRX E_INVALIDARG unless it is 0 to 4294967295
// seconds, the node library's failure when it is no number.
std::chrono::seconds ReadSeconds(const KelNodePtr& config, const wchar_t* key, std::chrono::seconds defaultValue);

// The same for a boolean.
bool ReadBool(const KelNodePtr& config, const wchar_t* key, bool defaultValue);

// The result of `read`, which reads the item at `index` of the list `name`; when it fails, one more ERR line says which
// item it was.
template <class Read>
auto ReadItem(const wchar_t* name, std::size_t index, Read read)
{
    return NameFailure(L"Configuration item", name + (L"[" + std::to_wstring(index)) + L"]", read);
}

} // namespace Configuration
