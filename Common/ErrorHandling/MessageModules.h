// The resource-only modules that message texts are looked up in.
#pragma once

#include "Common/Diagnostics/SettingsStore.h"
#include "Common/Foundation/Handles.h"

#include <array>

// Loaded once, then read-only. Names come from the settings "MessageFile" (by default Fenwyke.dll beside this module)
// and "FallbackMessageFile" of the section "ErrorHandling".
class MessageModules
{
public:
    // Five modules a list; those loaded fill the list from the first slot.
    using List = std::array<UniqueModule, 5>;

    MessageModules();
    explicit MessageModules(SettingsStore& store);
    static MessageModules& Instance();

    const List& Primary() const { return m_primary; }
    const List& Fallback() const { return m_fallback; }

private:
    void Load(const std::wstring& name, const std::wstring& path, List& list);

    List m_primary;
    List m_fallback;
};
