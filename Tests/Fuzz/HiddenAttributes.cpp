#include "Common/Nodes/HiddenAttributes.h"

#include "Common/ErrorHandling/HResult.h"
#include "Tests/Fuzz/Fuzz.h"

void Try(std::string_view input)
{
    const std::wstring nodeType = TakeText(input);
    try {
        const HiddenAttributes attributes(Text::FromUtf8(input));
        attributes.ForNodeType(nodeType, [](const std::wstring& name) {
            Require(!name.empty() && name.find_first_of(L",;:") == std::wstring::npos, "a name is one name");
        });
    } catch (const HRX& e) {
        Require(e.Code() == E_INVALIDARG, "a malformed setting is an invalid argument");
    }
}
