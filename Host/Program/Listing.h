// Tables as a person reads them.
#pragma once

#include "Host/Program/Console.h"
#include "Host/ReportingDatabase/ReportingDatabase.h"

#include <map>

namespace Host
{

using Row = std::vector<std::wstring>; // column by column
using Rows = std::vector<Row>;         // sorted

// GUID text -> name that is shown behind it.
using ObjectNames = std::map<std::wstring, std::wstring>;

// Stands for every account in the first column.
inline constexpr wchar_t EveryAccount[] = L"(every account)";

// Account, object and the object's name, if it has one.
Rows AccessRightRows(const std::vector<AccessRight>& rights, const ObjectNames& names);
// Account, role and report server, and when the role was granted.
Rows RoleRows(const std::vector<ReportServerRole>& roles, bool withTimes);

struct RowChanges
{
    bool Any() const { return !added.empty() || !removed.empty(); }

    Rows added;
    Rows removed;
};

RowChanges CompareRows(const Rows& before, const Rows& after);

// Shows the rows that came with "+" and those that went with "-"; `most` of them, the first ones.
void ShowChanges(Console& console, const RowChanges& changes, std::size_t most = 20);

// Shows all rows and their number.
void ShowRows(Console& console, const Rows& rows);

} // namespace Host
