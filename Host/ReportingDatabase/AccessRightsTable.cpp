#include "Host/ReportingDatabase/AccessRightsTable.h"

#include "Host/ReportingDatabase/GuidText.h"
#include "Host/ReportingDatabase/LowerCase.h"
#include "Host/Support/Boundary.h"
#include "Platform/Text.h"

#include <algorithm>

namespace Host
{

namespace
{

// RightKey is equal for rows that match, and NULL for rows that match nothing. Matched holds the staged rows that have
// a partner in the table.
constexpr char CreateStagingSql[] = R"(
    DROP TABLE IF EXISTS temp.AccessRightsUpdate;
    DROP TABLE IF EXISTS temp.Matched;
    CREATE TABLE temp.AccessRightsUpdate(
        LoginName TEXT NULL, ManagedObjectUId TEXT NULL, MergeType TEXT NOT NULL, RightKey TEXT NULL);
    CREATE TABLE temp.Matched(Staged INTEGER PRIMARY KEY);)";

constexpr char InsertStagedSql[] = "INSERT INTO temp.AccessRightsUpdate VALUES (?1, ?2, ?3, RightKey(?1, ?2))";

constexpr char IndexStagingSql[] = R"(
    CREATE INDEX IF NOT EXISTS temp.StagedRight ON AccessRightsUpdate(RightKey, MergeType);)";

// Goes by the distinct rights of the table, so that each staged row is met once however often a right is there, and in
// the order of the index.
constexpr char FindMatchesSql[] = R"(
    INSERT INTO temp.Matched
        SELECT staged.rowid
        FROM (SELECT RightKey(LoginName, ManagedObjectUId) AS RightKey FROM main.AccessRights GROUP BY 1) AS present
        CROSS JOIN temp.AccessRightsUpdate AS staged ON staged.RightKey = present.RightKey;)";

constexpr char FindDoubleDeletionSql[] = R"(
    SELECT LoginName FROM temp.AccessRightsUpdate
    WHERE MergeType = 'D' AND rowid IN temp.Matched
    GROUP BY RightKey HAVING COUNT(*) > 1)";

// Of several matches one with 'D' decides.
constexpr char DeleteSql[] = R"(
    DELETE FROM main.AccessRights AS target
    WHERE (SELECT staged.MergeType FROM temp.AccessRightsUpdate AS staged
           WHERE staged.RightKey = RightKey(target.LoginName, target.ManagedObjectUId)
           ORDER BY staged.MergeType DESC LIMIT 1) IS NOT 'A';)";

constexpr char InsertSql[] = R"(
    INSERT INTO main.AccessRights(LoginName, ManagedObjectUId)
        SELECT LoginName, ManagedObjectUId FROM temp.AccessRightsUpdate
        WHERE MergeType <> 'D' AND rowid NOT IN temp.Matched
        ORDER BY rowid;
    DELETE FROM temp.Matched;)";

// Login names compare without regard to case, identifiers whatever the case in which a tool has written them.
std::optional<std::string> RightKey(const std::optional<std::string>& loginName,
                                    const std::optional<std::string>& managedObjectUId)
{
    if (!loginName)
        return std::nullopt;
    return managedObjectUId ? ToLower(*loginName) + '\0' + ToLower(*managedObjectUId) : ToLower(*loginName);
}

std::optional<std::string> ToColumn(const std::optional<std::wstring>& text)
{
    return text ? std::optional(Text::ToUtf8(*text)) : std::nullopt;
}

std::optional<std::wstring> FromColumn(const std::optional<std::string>& text)
{
    return text ? std::optional(Text::FromUtf8(*text)) : std::nullopt;
}

std::optional<std::string> ToGuidColumn(const std::optional<std::wstring>& text)
{
    if (!text)
        return std::nullopt;
    const std::optional<std::wstring> guid = ToGuidText(*text);
    if (!guid)
        throw Failure{SqlConversionFailed,
                      L"Conversion failed when converting from a character string to uniqueidentifier: '" + *text +
                          L"'"};
    return ToColumn(guid);
}

std::vector<AccessRight> ReadRows(Sqlite::Connection& connection)
{
    Sqlite::Statement select = connection.Prepare("SELECT LoginName, ManagedObjectUId FROM main.AccessRights");
    std::vector<AccessRight> rows;
    while (select.Step())
        rows.push_back({FromColumn(select.Text(0)), FromColumn(select.Text(1))});
    std::sort(rows.begin(), rows.end());
    return rows;
}

} // namespace

void CreateAccessRightsTable(const std::filesystem::path& file)
{
    Sqlite::Connection connection(file, Sqlite::Access::Create);
    Sqlite::Transaction transaction(connection);
    connection.Execute("CREATE TABLE IF NOT EXISTS AccessRights(LoginName TEXT NULL, ManagedObjectUId TEXT NULL)");
    connection.Execute("PRAGMA user_version = 1"); // a write, whatever was there: it shows that writing is possible
    connection.Prepare("SELECT LoginName, ManagedObjectUId FROM AccessRights");
    transaction.Commit();
}

std::vector<AccessRight> ReadAccessRights(const std::filesystem::path& file)
{
    Sqlite::Connection connection(file, Sqlite::Access::ReadOnly);
    return ReadRows(connection);
}

AccessRightsSession::AccessRightsSession(const std::filesystem::path& file) : m_connection(file, Sqlite::Access::Create)
{
    m_connection.AddFunction("RightKey", &RightKey);
    m_connection.Execute("PRAGMA temp_store = MEMORY");
}

void AccessRightsSession::CreateStaging()
{
    m_insert.reset();
    m_connection.Execute(CreateStagingSql);
    m_insert.emplace(m_connection.Prepare(InsertStagedSql));
}

void AccessRightsSession::Insert(const std::vector<StagedRow>& rows)
{
    CheckStaging();
    m_connection.Execute("SAVEPOINT Batch");
    try {
        for (const StagedRow& row : rows) {
            m_insert->Bind(1, ToColumn(row.loginName));
            m_insert->Bind(2, ToGuidColumn(row.managedObjectUId));
            m_insert->Bind(3, row.isDelete ? "D" : "A");
            m_insert->Step();
        }
    } catch (...) {
        m_connection.Execute("ROLLBACK TO Batch; RELEASE Batch");
        throw;
    }
    m_connection.Execute("RELEASE Batch");
}

void AccessRightsSession::Merge()
{
    CheckStaging();
    Sqlite::Transaction transaction(m_connection);
    MergeInTransaction();
    transaction.Commit();
}

std::vector<AccessRight> AccessRightsSession::RehearseMerge()
{
    CheckStaging();
    const Sqlite::Transaction transaction(m_connection);
    MergeInTransaction();
    return ReadRows(m_connection);
}

void AccessRightsSession::MergeInTransaction()
{
    m_connection.Execute(IndexStagingSql);
    m_connection.Execute(FindMatchesSql);
    if (Sqlite::Statement twice = m_connection.Prepare(FindDoubleDeletionSql); twice.Step())
        throw Failure{E_FAIL, L"The MERGE statement attempted to delete the same row more than once: '" +
                                  FromColumn(twice.Text(0)).value_or(L"") + L"'"};
    m_connection.Execute(DeleteSql);
    m_connection.Execute(InsertSql);
}

void AccessRightsSession::CheckStaging() const
{
    if (!m_insert)
        throw Failure{SqlNoSuchTable, L"Invalid object name '#AccessRightsUpdate'"};
}

} // namespace Host
