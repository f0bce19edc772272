#include "Common/Nodes/HiddenAttributes.h"

#include "Common/ErrorHandling/HResult.h"
#include "Common/Foundation/Singleton.h"
#include "Common/Foundation/Strings.h"

namespace
{

constexpr std::wstring_view Blanks = L" \r\n\t";

std::wstring ReadSetting()
{
    std::wstring setting;
    SettingsStore::Instance().GetString(L"Logger", L"HiddenNodeTypeAttrs", setting);
    return setting;
}

} // namespace

const std::wstring HiddenAttributes::AnyType = L"*";

HiddenAttributes::HiddenAttributes() : HiddenAttributes(ReadSetting()) {}

HiddenAttributes::HiddenAttributes(const std::wstring& setting)
{
    for (const std::wstring& entry : Strings::Split(setting, L";")) {
        if (Strings::Trim(entry, Blanks).empty())
            continue;
        const std::size_t colon = entry.find(L':');
        const std::wstring nodeType(Strings::Trim(entry.substr(0, colon), Blanks));
        const std::wstring names = colon == std::wstring::npos ? L"" : entry.substr(colon + 1);
        if (nodeType.empty() || Strings::Trim(names, Blanks).empty() || names.find(L':') != std::wstring::npos)
            ThrowHResult(E_INVALIDARG);
        for (const std::wstring& name : Strings::Split(names, L",")) {
            if (const std::wstring_view trimmed = Strings::Trim(name, Blanks); !trimmed.empty())
                m_attributes[nodeType].emplace(trimmed);
        }
    }
}

const HiddenAttributes& HiddenAttributes::Instance()
{
    return Singleton<HiddenAttributes>::Instance();
}
