// The access rights as a person reads them.
#pragma once

#include "Host/Program/Console.h"
#include "Host/ReportingDatabase/AccessRightsTable.h"

#include <cstddef>
#include <map>
#include <string>
#include <vector>

namespace Host
{

struct RowChanges
{
    std::size_t added = 0;
    std::size_t removed = 0;
};

// GUID text -> name that is shown behind it.
using ObjectNames = std::map<std::wstring, std::wstring>;

// Both states are sorted.
RowChanges CountChanges(const std::vector<AccessRight>& before, const std::vector<AccessRight>& after);

// Shows the rows with "+" before those that came and "-" before those that went. Of long tables only these are shown,
// and of very many of them the first.
void ShowChanges(Console& console, const std::vector<AccessRight>& before, const std::vector<AccessRight>& after,
                 const ObjectNames& names);

void ShowTable(Console& console, const std::vector<AccessRight>& rows);

} // namespace Host
