#include "Host/ReportingDatabase/DatabaseConnectionManager.h"

#include "Host/ReportingDatabase/GuidText.h"
#include "Host/ReportingDatabase/LowerCase.h"
#include "Host/ReportingDatabase/SqlStatements.h"
#include "Host/Support/Failure.h"
#include "Platform/Text.h"

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

// Walks over the distinct rights of the table, so that each staged row is met once however often a right is there, and
// in the order of the index.
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

constexpr std::int32_t ReadWriteMode = 1;
constexpr HRESULT NotConnected = HResultFromWin32(2250); // ERROR_NOT_CONNECTED

// A session with the reporting database. Understands the statements of SqlStatements.h. Its staging table lasts as long
// as it does. Results are no nodes: `result` is left alone.
class DatabaseSession final : public Component<IDatabaseConnection>
{
public:
    // With `failingStatement` n the n-th statement, and every later one, fails without doing anything; 0: none. Throws
    // Failure when the database cannot be opened.
    DatabaseSession(std::shared_ptr<ReportingDatabase> database, std::uint64_t failingStatement);

    // E_POINTER without a text, E_INVALIDARG when `reserved` is not 0; SqlNotUnderstood, SqlConversionFailed and
    // SqlNoSuchTable of SqlStatements.h; E_FAIL with the reason for everything that the database itself cannot do. A
    // statement that fails leaves the table as it was.
    HRESULT Execute(const wchar_t* sql, std::int32_t reserved, IKelNode** result) override;

private:
    void Perform(const SqlStatement& statement);
    void CreateStaging();
    void Insert(const std::vector<StagedRow>& rows);
    void Merge();

    const std::shared_ptr<ReportingDatabase> m_database;
    const std::uint64_t m_failingStatement;
    std::uint64_t m_statements = 0;
    std::optional<Sqlite::Connection> m_connection;
    std::optional<Sqlite::Statement> m_insert; // present while the staging table exists
};

DatabaseSession::DatabaseSession(std::shared_ptr<ReportingDatabase> database, std::uint64_t failingStatement)
    : m_database(std::move(database)), m_failingStatement(failingStatement)
{
    m_database->Do([this] {
        m_connection.emplace(m_database->Connect(Sqlite::Access::Create));
        m_connection->AddFunction("RightKey", &RightKey);
        m_connection->Execute("PRAGMA temp_store = MEMORY");
    });
}

HRESULT DatabaseSession::Execute(const wchar_t* sql, std::int32_t reserved, IKelNode**)
{
    return Boundary([=, this] {
        if (!sql)
            throw Failure{E_POINTER, L"Reporting database: no SQL text (a null pointer)"};
        if (reserved != 0)
            throw Failure{E_INVALIDARG, L"Reporting database: the reserved argument of Execute is not 0"};
        m_database->Trace(sql);
        if (++m_statements >= m_failingStatement && m_failingStatement != 0)
            throw Failure{E_FAIL, L"Reporting database '" + m_database->Name() +
                                      L"': the connection was lost at statement " + std::to_wstring(m_statements)};
        const SqlStatement statement = ReadSqlStatement(sql);
        m_database->Do([&] { Perform(statement); });
        return S_OK;
    });
}

void DatabaseSession::Perform(const SqlStatement& statement)
{
    if (statement.kind == SqlStatement::Kind::CreateStaging)
        return CreateStaging();
    if (!m_insert)
        throw Failure{SqlNoSuchTable, L"Invalid object name '#AccessRightsUpdate'"};
    if (statement.kind == SqlStatement::Kind::Insert)
        return Insert(statement.rows);
    Merge();
    m_database->CountRewrite();
}

void DatabaseSession::CreateStaging()
{
    m_insert.reset();
    m_connection->Execute(CreateStagingSql);
    m_insert.emplace(m_connection->Prepare(InsertStagedSql));
}

// All of the rows or none.
void DatabaseSession::Insert(const std::vector<StagedRow>& rows)
{
    m_connection->Execute("SAVEPOINT Batch");
    try {
        for (const StagedRow& row : rows) {
            m_insert->Bind(1, ToColumn(row.loginName));
            m_insert->Bind(2, ToGuidColumn(row.managedObjectUId));
            m_insert->Bind(3, row.isDelete ? "D" : "A");
            m_insert->Step();
        }
    } catch (...) {
        m_connection->Execute("ROLLBACK TO Batch; RELEASE Batch");
        throw;
    }
    m_connection->Execute("RELEASE Batch");
}

// In one transaction: the table is merged completely or left as it was. Login names compare without regard to case and
// match nothing when they are NULL; identifiers match when they are equal or both NULL.
void DatabaseSession::Merge()
{
    Sqlite::Transaction transaction(*m_connection);
    m_connection->Execute(IndexStagingSql);
    m_connection->Execute(FindMatchesSql);
    if (Sqlite::Statement twice = m_connection->Prepare(FindDoubleDeletionSql); twice.Step())
        throw Failure{E_FAIL, L"The MERGE statement attempted to delete the same row more than once: '" +
                                  Text::FromUtf8(twice.Text(0).value_or("")) + L"'"};
    m_connection->Execute(DeleteSql);
    m_connection->Execute(InsertSql);
    if (m_database->IsRehearsal())
        m_database->NoteRehearsal(ReadAccessRights(*m_connection)); // the transaction's end rolls the merge back
    else
        transaction.Commit();
}

} // namespace

HRESULT DatabaseConnectionManager::OpenConnection(IKelNode* connectionSettings, std::int32_t mode,
                                                  IDatabaseConnection** out)
{
    return Boundary([=, this] {
        if (!connectionSettings || !out)
            throw Failure{E_POINTER, L"Reporting database: no connection settings or no place for the connection"};
        if (mode != ReadWriteMode)
            throw Failure{E_INVALIDARG,
                          L"Reporting database: unknown connection mode " + std::to_wstring(mode) + L", expected 1"};
        if (m_outOfOrder)
            throw Failure{NotConnected, L"Reporting database '" + m_database->Name() + L"' does not answer"};
        *out = MakeComponent<DatabaseSession>(m_database, m_failingStatement).Detach();
        return S_OK;
    });
}

} // namespace Host
