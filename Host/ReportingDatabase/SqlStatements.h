// Reads the SQL texts that the reporting database understands.
#pragma once

#include "Platform/Types.h"

#include <compare>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace Host
{

// Failures with SQL texts, in the codes of the database server's providers.
inline constexpr HRESULT SqlNotUnderstood = static_cast<HRESULT>(0x80040E14);    // DB_E_ERRORSINCOMMAND
inline constexpr HRESULT SqlConversionFailed = static_cast<HRESULT>(0x80040E07); // DB_E_CANTCONVERTVALUE
inline constexpr HRESULT SqlNoSuchTable = static_cast<HRESULT>(0x80040E37);      // DB_E_NOTABLE

// A row of [dbo].[AccessRights], in the file the table AccessRights(LoginName, ManagedObjectUId), both TEXT or NULL.
struct AccessRight
{
    std::optional<std::wstring> loginName;        // none: every account
    std::optional<std::wstring> managedObjectUId; // none: every object

    // NOLINTNEXTLINE(modernize-use-nullptr): the comparison's result with 0, not a pointer
    auto operator<=>(const AccessRight&) const = default;
};

struct StagedRow : AccessRight
{
    bool isDelete;
};

struct SqlStatement
{
    enum class Kind
    {
        CreateStaging, // drops a staging table that is left over and creates it anew
        Insert,        // the rows into the staging table
        Merge,         // brings the access rights in line with the staging table
    };

    Kind kind;
    std::vector<StagedRow> rows;
};

// Any run of blanks and line breaks stands for one blank; all else must be written as the module writes it. Anything
// else throws Failure (SqlNotUnderstood) that quotes where the reading stopped.
SqlStatement ReadSqlStatement(std::wstring_view sql);

} // namespace Host
