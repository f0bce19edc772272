// The access rights in their SQLite file, and the work of one database session on them. Failures throw Sqlite::Error,
// or Failure where the statement itself is at fault.
#pragma once

#include "Host/ReportingDatabase/SqlStatements.h"
#include "Host/ReportingDatabase/Sqlite.h"

#include <compare>
#include <filesystem>
#include <optional>
#include <string>
#include <vector>

namespace Host
{

// A row of [dbo].[AccessRights], in the file the table AccessRights(LoginName, ManagedObjectUId), both TEXT or NULL.
struct AccessRight
{
    std::optional<std::wstring> loginName;        // none: every account
    std::optional<std::wstring> managedObjectUId; // none: every object

    auto operator<=>(const AccessRight&) const = default;
};

// Creates the file and the table where they are missing.
void CreateAccessRightsTable(const std::filesystem::path& file);

// Sorted: rows without a value come first.
std::vector<AccessRight> ReadAccessRights(const std::filesystem::path& file);

// One session: its staging table lasts as long as it does. One thread at a time.
class AccessRightsSession
{
public:
    explicit AccessRightsSession(const std::filesystem::path& file);

    void CreateStaging();
    // All of the rows or none. A failing conversion to a GUID throws Failure (SqlConversionFailed).
    void Insert(const std::vector<StagedRow>& rows);
    // In one transaction: the table is merged completely or left as it was. Login names compare without regard to case
    // and match nothing when they are NULL; identifiers match when they are equal or both NULL.
    void Merge();
    // Merges, and rolls it back again; returns what the table held in between, sorted.
    std::vector<AccessRight> RehearseMerge();

private:
    void CheckStaging() const;
    void MergeInTransaction();

    Sqlite::Connection m_connection;
    std::optional<Sqlite::Statement> m_insert; // present while the staging table exists
};

} // namespace Host
