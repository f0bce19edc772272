#include "Host/ReportingDatabase/ReportingDatabase.h"

#include "Host/ReportingDatabase/SqlStatements.h"
#include "Host/Support/Failure.h"
#include "Host/Support/PathText.h"
#include "Platform/LetterCase.h"

#include <algorithm>

namespace Host
{

namespace
{

constexpr char CreateSql[] = R"(
    CREATE TABLE IF NOT EXISTS AccessRights(LoginName TEXT NULL, ManagedObjectUId TEXT NULL);
    CREATE TABLE IF NOT EXISTS ReportServerRoles(
        Account TEXT NOT NULL, Role TEXT NOT NULL, ReportServer TEXT NOT NULL, GrantedAt TEXT NOT NULL,
        PRIMARY KEY(Account, Role, ReportServer));
    PRAGMA user_version = 1;)"; // a write, whatever was there: it shows that writing is possible

// Each table of the file with its columns.
constexpr char TablesSql[] = R"(
    SELECT name, (SELECT group_concat(name || ' ' || type || iif("notnull", ' NOT NULL', ''), ', ')
                  FROM pragma_table_info(tables.name))
    FROM sqlite_master AS tables WHERE type IN ('table', 'view') AND name NOT LIKE 'sqlite\_%' ESCAPE '\')";

constexpr std::pair<std::string_view, std::string_view> Tables[] = {
    {"AccessRights", "LoginName TEXT, ManagedObjectUId TEXT"},
    {"ReportServerRoles",
     "Account TEXT NOT NULL, Role TEXT NOT NULL, ReportServer TEXT NOT NULL, GrantedAt TEXT NOT NULL"},
};

constexpr char GrantRoleSql[] = R"(
    INSERT OR IGNORE INTO ReportServerRoles VALUES (?1, 'Browser', ?2, strftime('%Y-%m-%d %H:%M:%f', 'now')))";

// RightKey is equal for rows that match, and NULL for rows that match nothing. Matched holds the staged rows that have
// a partner in the table.
constexpr char CreateStagingSql[] = R"(
    DROP TABLE IF EXISTS temp.AccessRightsUpdate;
    DROP TABLE IF EXISTS temp.Matched;
    CREATE TABLE temp.AccessRightsUpdate(
        LoginName TEXT NULL, ManagedObjectUId TEXT NULL, MergeType TEXT NOT NULL, RightKey TEXT NULL);
    CREATE TABLE temp.Matched(Staged INTEGER PRIMARY KEY);)";

constexpr char InsertStagedSql[] = "INSERT INTO temp.AccessRightsUpdate VALUES (?1, ?2, ?3, RightKey(?1, ?2))";

// Walks over the distinct rights of the table, so that each staged row is met once however often a right is there, and
// in the order of the index.
constexpr char FindMatchesSql[] = R"(
    CREATE INDEX IF NOT EXISTS temp.StagedRight ON AccessRightsUpdate(RightKey, MergeType);
    INSERT INTO temp.Matched
        SELECT staged.rowid
        FROM (SELECT RightKey(LoginName, ManagedObjectUId) AS RightKey FROM main.AccessRights GROUP BY 1) AS present
        CROSS JOIN temp.AccessRightsUpdate AS staged ON staged.RightKey = present.RightKey;)";

constexpr char FindDoubleDeletionSql[] = R"(
    SELECT LoginName FROM temp.AccessRightsUpdate
    WHERE MergeType = 'D' AND rowid IN temp.Matched
    GROUP BY RightKey HAVING COUNT(*) > 1)";

// Of several matches one with 'D' decides.
constexpr char WriteSql[] = R"(
    DELETE FROM main.AccessRights AS target
    WHERE (SELECT staged.MergeType FROM temp.AccessRightsUpdate AS staged
           WHERE staged.RightKey = RightKey(target.LoginName, target.ManagedObjectUId)
           ORDER BY staged.MergeType DESC LIMIT 1) IS NOT 'A';
    INSERT INTO main.AccessRights(LoginName, ManagedObjectUId)
        SELECT LoginName, ManagedObjectUId FROM temp.AccessRightsUpdate
        WHERE MergeType <> 'D' AND rowid NOT IN temp.Matched
        ORDER BY rowid;
    DELETE FROM temp.Matched;)";

constexpr std::int32_t ReadWriteMode = 1;
constexpr HRESULT NotConnected = HResultFromWin32(2250); // ERROR_NOT_CONNECTED

constexpr Refusal Refuse{L"Reporting database"};

void CheckTables(Sqlite::Connection& connection)
{
    Sqlite::Statement select = connection.Prepare(TablesSql);
    while (select.Step()) {
        const std::string name = select.Text(0).value();
        const std::string columns = select.Text(1).value_or("");
        const auto ours =
            std::find_if(std::begin(Tables), std::end(Tables), [&](const auto& table) { return table.first == name; });
        if (ours == std::end(Tables))
            throw Sqlite::Error(SQLITE_ERROR, "it holds the table '" + name +
                                                  "', expected no other ones than AccessRights and ReportServerRoles");
        if (ours->second != columns)
            throw Sqlite::Error(SQLITE_ERROR, "its table " + name + " has the columns (" + columns + "), expected (" +
                                                  std::string(ours->second) + ")");
    }
}

std::string ToLower(const std::string& text)
{
    return Text::ToUtf8(ToLowerCase(Text::FromUtf8(text)));
}

// Login names compare without regard to case, identifiers whatever the case in which a tool has written them.
std::optional<std::string> RightKey(const std::optional<std::string>& loginName,
                                    const std::optional<std::string>& managedObjectUId)
{
    if (!loginName)
        return std::nullopt;
    return ToLower(managedObjectUId ? *loginName + '\0' + *managedObjectUId : *loginName);
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

} // namespace

std::optional<std::wstring> ToGuidText(std::wstring_view text)
{
    constexpr std::wstring_view form = L"XXXXXXXX-XXXX-XXXX-XXXX-XXXXXXXXXXXX";
    if (text.starts_with(L'{') && text.ends_with(L'}') && text.size() > 1)
        text = text.substr(1, text.size() - 2);
    if (text.size() != form.size())
        return std::nullopt;
    std::wstring guid(text);
    for (std::size_t i = 0; i < guid.size(); ++i) {
        wchar_t& c = guid[i];
        if (c >= L'a' && c <= L'f')
            c = static_cast<wchar_t>(c - L'a' + L'A');
        const bool isDigit = (c >= L'0' && c <= L'9') || (c >= L'A' && c <= L'F');
        if (form[i] == L'-' ? c != L'-' : !isDigit)
            return std::nullopt;
    }
    return guid;
}

std::vector<AccessRight> ReadAccessRights(Sqlite::Connection& connection)
{
    Sqlite::Statement select = connection.Prepare("SELECT LoginName, ManagedObjectUId FROM main.AccessRights");
    const auto column = [&](int index) {
        const std::optional<std::string> text = select.Text(index);
        return text ? std::optional(Text::FromUtf8(*text)) : std::nullopt;
    };
    std::vector<AccessRight> rows;
    while (select.Step())
        rows.push_back({column(0), column(1)});
    std::sort(rows.begin(), rows.end());
    return rows;
}

std::vector<ReportServerRole> ReadReportServerRoles(Sqlite::Connection& connection)
{
    Sqlite::Statement select =
        connection.Prepare("SELECT Account, Role, ReportServer, GrantedAt FROM ReportServerRoles ORDER BY 1, 2, 3");
    const auto column = [&](int index) { return Text::FromUtf8(select.Text(index).value_or("")); };
    std::vector<ReportServerRole> roles;
    while (select.Step())
        roles.push_back({column(0), column(1), column(2), column(3)});
    return roles;
}

// Returns what `work` returns; a Sqlite::Error becomes Failure (E_FAIL).
template <class Work>
auto ReportingDatabase::Do(const Work& work) const
{
    try {
        return work();
    } catch (const Sqlite::Error& error) {
        throw Failure{E_FAIL, Title() + L": " + Text::FromUtf8(error.what())};
    }
}

class ReportingDatabase::Session final : public Component<IDatabaseConnection>
{
public:
    // Throws Failure when the database cannot be opened.
    explicit Session(ReportingDatabase* database)
        : m_database(database), m_failingStatement(database->m_failingStatement)
    {
        m_database->Do([this] {
            m_connection.emplace(m_database->Connect(Sqlite::Access::Create));
            m_connection->AddFunction("RightKey", &RightKey);
            m_connection->Execute("PRAGMA temp_store = MEMORY");
        });
    }

    // E_POINTER without a text, E_INVALIDARG when `reserved` is not 0; SqlNotUnderstood, SqlConversionFailed and
    // SqlNoSuchTable of SqlStatements.h; E_FAIL with the reason for everything that the database itself cannot do. A
    // statement that fails leaves the table as it was.
    HRESULT Execute(const wchar_t* sql, std::int32_t reserved, IKelNode**) override
    {
        return Boundary([=, this] {
            Refuse.IfNull(L"SQL text", sql);
            if (reserved != 0)
                Refuse(E_INVALIDARG, L"the reserved argument of Execute is not 0");
            m_database->Trace(sql);
            if (++m_statements >= m_failingStatement && m_failingStatement != 0)
                throw Failure{E_FAIL, m_database->Title() + L": the connection was lost at statement " +
                                          std::to_wstring(m_statements)};
            const SqlStatement statement = ReadSqlStatement(sql);
            m_database->Do([&] { Perform(statement); });
        });
    }

private:
    void Perform(const SqlStatement& statement)
    {
        if (statement.kind == SqlStatement::Kind::CreateStaging) {
            m_insert.reset();
            m_connection->Execute(CreateStagingSql);
            m_insert.emplace(m_connection->Prepare(InsertStagedSql));
        } else if (!m_insert) {
            throw Failure{SqlNoSuchTable, L"Invalid object name '#AccessRightsUpdate'"};
        } else if (statement.kind == SqlStatement::Kind::Insert) {
            Insert(statement.rows);
        } else {
            Merge();
        }
    }

    // All of the rows or none.
    void Insert(const std::vector<StagedRow>& rows)
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

    // In one transaction: the table is merged completely or left as it was. Login names compare without regard to case
    // and match nothing when they are NULL; identifiers match when they are equal or both NULL.
    void Merge()
    {
        Sqlite::Transaction transaction(*m_connection);
        m_connection->Execute(FindMatchesSql);
        if (Sqlite::Statement twice = m_connection->Prepare(FindDoubleDeletionSql); twice.Step())
            throw Failure{E_FAIL, L"The MERGE statement attempted to delete the same row more than once: '" +
                                      Text::FromUtf8(twice.Text(0).value_or("")) + L"'"};
        m_connection->Execute(WriteSql);
        if (m_database->m_use == Use::Rehearse) {
            std::vector<AccessRight> rows = ReadAccessRights(*m_connection);
            const std::lock_guard guard(m_database->m_lock);
            m_database->m_rehearsed = std::move(rows);
        } else {
            transaction.Commit();
        }
        ++m_database->m_rewrites;
    }

    const ComponentPtr<ReportingDatabase> m_database;
    const std::uint64_t m_failingStatement; // 0: none
    std::uint64_t m_statements = 0;
    std::optional<Sqlite::Connection> m_connection;
    std::optional<Sqlite::Statement> m_insert; // present while the staging table exists
};

ReportingDatabase::ReportingDatabase(std::filesystem::path file, const Sqlite::Patience& patience, Use use)
    : m_file(std::move(file)), m_patience(patience), m_use(use)
{
    try {
        if (m_use == Use::Rehearse) {
            Sqlite::Connection connection = Connect(Sqlite::Access::ReadOnly);
            CheckTables(connection);
            ReadAccessRights(connection);
            return;
        }
        m_roles.emplace(Connect(Sqlite::Access::Create));
        Sqlite::Transaction transaction(*m_roles);
        CheckTables(*m_roles);
        m_roles->Execute(CreateSql);
        transaction.Commit();
        m_grantRole.emplace(m_roles->Prepare(GrantRoleSql));
    } catch (const Sqlite::Error& error) {
        throw Failure{E_FAIL, L"cannot use '" + PathText(m_file) + L"' as the reporting database: " +
                                  Text::FromUtf8(error.what())};
    }
}

HRESULT ReportingDatabase::OpenConnection(IKelNode* connectionSettings, std::int32_t mode, IDatabaseConnection** out)
{
    return Boundary([=, this] {
        Refuse.IfNull(L"connection settings, or place for the connection", connectionSettings, out);
        if (mode != ReadWriteMode)
            Refuse(E_INVALIDARG, L"unknown connection mode " + std::to_wstring(mode) + L", expected 1");
        if (m_outOfOrder)
            throw Failure{NotConnected, Title() + L" does not answer"};
        *out = MakeComponent<Session>(this).Detach();
    });
}

std::vector<AccessRight> ReportingDatabase::Rows() const
{
    return Do([this] {
        Sqlite::Connection connection = Connect(Sqlite::Access::ReadOnly);
        return ReadAccessRights(connection);
    });
}

std::vector<ReportServerRole> ReportingDatabase::Roles() const
{
    return Do([this] {
        Sqlite::Connection connection = Connect(Sqlite::Access::ReadOnly);
        return ReadReportServerRoles(connection);
    });
}

std::vector<AccessRight> ReportingDatabase::RehearsedRows() const
{
    {
        const std::lock_guard guard(m_lock);
        if (m_rehearsed)
            return *m_rehearsed;
    }
    return Rows();
}

void ReportingDatabase::GrantRole(const std::wstring& reportServer, const std::wstring& account)
{
    if (m_use == Use::Rehearse)
        return;
    Do([&] {
        const std::lock_guard guard(m_rolesLock);
        m_grantRole->Bind(1, Text::ToUtf8(account));
        m_grantRole->Bind(2, Text::ToUtf8(reportServer));
        m_grantRole->Step();
    });
    ++m_grants;
}

void ReportingDatabase::TraceTo(const std::filesystem::path& file)
{
    const std::lock_guard guard(m_lock);
    m_trace.open(file, std::ios::binary | std::ios::trunc);
    if (!m_trace)
        throw Failure{E_FAIL, L"cannot write the SQL trace '" + PathText(file) + L"'"};
}

void ReportingDatabase::Trace(const wchar_t* sql)
{
    const std::lock_guard guard(m_lock);
    if (m_trace.is_open())
        m_trace << Text::ToUtf8(sql) << "\n-- " << ++m_traced << ' ' << std::string(60, '-') << '\n' << std::flush;
}

void ReportingDatabase::CheckTrace()
{
    const std::lock_guard guard(m_lock);
    if (m_trace.is_open() && !m_trace)
        throw Failure{E_FAIL, L"the SQL trace is not complete: it could not be written"};
}

} // namespace Host
