// GUIDs in the form in which the reporting database keeps them.
#pragma once

#include <optional>
#include <string>
#include <string_view>

namespace Host
{

// "6F9619FF-8B86-D011-B42D-00C04FC964FF": upper case without braces. `text` may be in braces and in any case; nothing
// when it is no GUID.
std::optional<std::wstring> ToGuidText(std::wstring_view text);

} // namespace Host
