// Which attributes the log shows as "********".
#pragma once

#include "Common/Settings/SettingsStore.h"

#include <map>
#include <set>
#include <string>

// From the setting "HiddenNodeTypeAttrs" of the section "Logger": "Type:Attr,Attr;*:Attr". Immutable.
class HiddenAttributes
{
public:
    HiddenAttributes();
    // Throws HRX E_INVALIDARG for an entry that is not a node type, a colon and attribute names.
    explicit HiddenAttributes(const std::wstring& setting);
    static const HiddenAttributes& Instance();

    bool Empty() const { return m_attributes.empty(); }

    // Calls `action(attribute name)` for every attribute hidden on nodes of this type.
    template <class Action>
    void ForNodeType(const std::wstring& nodeType, Action action) const
    {
        for (const std::wstring* type : {&nodeType, &AnyType}) {
            if (const auto found = m_attributes.find(*type); found != m_attributes.end()) {
                for (const std::wstring& attribute : found->second)
                    action(attribute);
            }
        }
    }

private:
    static const std::wstring AnyType;

    std::map<std::wstring, std::set<std::wstring>> m_attributes; // node type -> attributes
};
