// The events of a site.
#pragma once

#include "Host/Program/AccountBook.h"
#include "Host/Program/Site.h"

#include <set>

namespace Host
{

// Reads events in their order and checks that each finds what it is about when its turn comes. Throws InputError.
class TimelineReader
{
public:
    TimelineReader(const Site& site, AccountBook accounts);

    Event Read(const JsonCursor& json);

private:
    using Action = decltype(Event::perform);

    Action ReadSettings(const JsonCursor& json);
    Action ReadConfigure(const JsonCursor& json);
    Action ReadSource(const JsonCursor& json);
    Action ReadDatabase(const JsonCursor& json);
    Action ReadAccounts(const JsonCursor& json);
    Action ReadPermissions(const JsonCursor& json);
    Action ReadTokens(const JsonCursor& json);
    Action ReadGate(const JsonCursor& json);
    Action ReadRequests(const JsonCursor& json);
    Action ReadStop(const JsonCursor& json);
    Condition ReadCondition(const JsonCursor& json) const;

    void AddPaths(const NodeDescription& node, const std::wstring& parent);
    std::wstring ReadSidOf(const JsonCursor& json) const;
    std::wstring NameOfClass(const char* moduleClass, const JsonCursor& json) const;

    const Site& m_site;
    AccountBook m_accounts;           // as they are by then
    std::set<std::wstring> m_paths;   // of the configuration; the root's, being the shortest, comes first
    std::set<std::wstring> m_entries; // of the connection settings
};

} // namespace Host
