// Message texts of HRESULTs, and the resource-only modules that they are looked up in.
#pragma once

#include "Common/Settings/SettingsStore.h"
#include "Platform/Modules.h"

#include <array>

// Loaded once, then read-only. Names come from the settings "MessageFile" (by default Fenwyke.dll beside this module)
// and "FallbackMessageFile" of the section "ErrorHandling".
class MessageModules
{
public:
    // Five modules a list; those loaded fill the list from the first slot.
    using List = std::array<Platform::MessageModule, 5>;

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

// The text without trailing blanks, periods and line breaks; "<no description>" when there is none anywhere. Answers
// are remembered for the life of the module. Any thread.
std::wstring GetErrorMessage(HRESULT code);

// The same look-up in given modules, without remembering: for the modules that are still being loaded.
std::wstring FindErrorMessage(HRESULT code, const MessageModules& modules);
