#include "Host/ReportingDatabase/ReportingDatabase.h"

#include "Host/Support/Failure.h"
#include "Host/Support/PathText.h"
#include "Platform/LetterCase.h"

#include <algorithm>
#include <map>

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

constexpr std::pair<std::wstring_view, std::wstring_view> Tables[] = {
    {L"AccessRights", L"LoginName TEXT, ManagedObjectUId TEXT"},
    {L"ReportServerRoles",
     L"Account TEXT NOT NULL, Role TEXT NOT NULL, ReportServer TEXT NOT NULL, GrantedAt TEXT NOT NULL"},
};

constexpr char GrantRoleSql[] = R"(
    INSERT OR IGNORE INTO ReportServerRoles VALUES (?1, 'Browser', ?2, strftime('%Y-%m-%d %H:%M:%f', 'now')))";

constexpr std::int32_t ReadWriteMode = 1;
constexpr HRESULT NotConnected = HResultFromWin32(2250); // ERROR_NOT_CONNECTED

constexpr Refusal Refuse{L"Reporting database"};

void CheckTables(Sqlite::Connection& connection)
{
    Sqlite::Statement select = connection.Prepare(TablesSql);
    while (select.Step()) {
        const std::wstring name = select.Text(0).value();
        const std::wstring columns = select.Text(1).value_or(L"");
        const auto ours =
            std::find_if(std::begin(Tables), std::end(Tables), [&](const auto& table) { return table.first == name; });
        if (ours == std::end(Tables))
            throw Sqlite::Error{SQLITE_ERROR, L"it holds the table '" + name +
                                                  L"', expected no other ones than AccessRights and ReportServerRoles"};
        if (ours->second != columns)
            throw Sqlite::Error{SQLITE_ERROR, L"its table " + name + L" has the columns (" + columns +
                                                  L"), expected (" + std::wstring(ours->second) + L")"};
    }
}

// Equal for rows that match: login names compare without regard to case, identifiers whatever the case in which a tool
// has written them. Nothing for a row without login name, which matches nothing.
std::optional<std::wstring> MatchKey(const AccessRight& right)
{
    if (!right.loginName)
        return std::nullopt;
    return ToLowerCase(*right.loginName + (right.managedObjectUId ? L'\0' + *right.managedObjectUId : L""));
}

// What the MERGE statement makes of the table.
std::vector<AccessRight> Merged(std::vector<AccessRight> table, const std::vector<StagedRow>& staged)
{
    struct Match
    {
        int deletions = 0; // staged ones
        bool isInTable = false;
    };
    std::map<std::optional<std::wstring>, Match> matches; // of the staged rows
    for (const StagedRow& row : staged)
        matches[MatchKey(row)].deletions += row.isDelete;
    std::erase_if(table, [&](const AccessRight& right) {
        const auto found = matches.find(MatchKey(right));
        if (found == matches.end() || !found->first)
            return true;
        if (found->second.deletions > 1)
            throw Failure{E_FAIL, L"The MERGE statement attempted to delete the same row more than once: '" +
                                      *right.loginName + L"'"};
        found->second.isInTable = true;
        return found->second.deletions == 1;
    });
    std::copy_if(staged.begin(), staged.end(), std::back_inserter(table),
                 [&](const StagedRow& row) { return !row.isDelete && !matches[MatchKey(row)].isInTable; });
    return table;
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
    std::vector<AccessRight> rows;
    while (select.Step())
        rows.push_back({select.Text(0), select.Text(1)});
    std::sort(rows.begin(), rows.end());
    return rows;
}

std::vector<ReportServerRole> ReadReportServerRoles(Sqlite::Connection& connection)
{
    Sqlite::Statement select =
        connection.Prepare("SELECT Account, Role, ReportServer, GrantedAt FROM ReportServerRoles ORDER BY 1, 2, 3");
    const auto column = [&](int index) { return select.Text(index).value_or(L""); };
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
        throw Failure{E_FAIL, Title() + L": " + error.text};
    }
}

template <class Row>
std::vector<Row> ReportingDatabase::Read(std::vector<Row> (*read)(Sqlite::Connection&)) const
{
    return Do([&] {
        Sqlite::Connection connection = Connect(Sqlite::Access::ReadOnly);
        return read(connection);
    });
}

class ReportingDatabase::Session final : public Component<IDatabaseConnection>
{
public:
    // Throws Failure when the database cannot be opened.
    explicit Session(ReportingDatabase* database)
        : m_database(database),
          m_failingStatement(database->m_failingStatement),
          m_connection(database->Do([&] { return database->Connect(Sqlite::Access::Create); }))
    {}

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
            SqlStatement statement = ReadSqlStatement(sql);
            if (statement.kind == SqlStatement::Kind::CreateStaging)
                m_staged.emplace();
            else if (!m_staged)
                throw Failure{SqlNoSuchTable, L"Invalid object name '#AccessRightsUpdate'"};
            else if (statement.kind == SqlStatement::Kind::Insert)
                Stage(statement.rows);
            else
                m_database->Do([this] { Merge(); });
        });
    }

private:
    // All of the rows or none.
    void Stage(std::vector<StagedRow>& rows)
    {
        for (StagedRow& row : rows) {
            auto& identifier = row.managedObjectUId;
            const auto guid = identifier ? ToGuidText(*identifier) : std::nullopt;
            if (identifier && !guid)
                throw Failure{SqlConversionFailed,
                              L"Conversion failed when converting from a character string to uniqueidentifier: '" +
                                  *identifier + L"'"};
            identifier = guid;
        }
        m_staged->insert(m_staged->end(), rows.begin(), rows.end());
    }

    // In one transaction: the table is merged completely or left as it was.
    void Merge()
    {
        Sqlite::Transaction transaction(m_connection);
        std::vector<AccessRight> rows = Merged(ReadAccessRights(m_connection), *m_staged);
        if (m_database->m_use == Use::Rehearse) {
            const std::lock_guard guard(m_database->m_lock);
            m_database->m_rehearsed = std::move(rows);
        } else {
            m_connection.Execute("DELETE FROM AccessRights");
            Sqlite::Statement insert = m_connection.Prepare("INSERT INTO AccessRights VALUES (?1, ?2)");
            for (const AccessRight& row : rows) {
                insert.Bind(1, row.loginName);
                insert.Bind(2, row.managedObjectUId);
                insert.Step();
            }
            transaction.Commit();
        }
        ++m_database->m_rewrites;
    }

    const ComponentPtr<ReportingDatabase> m_database;
    const std::uint64_t m_failingStatement; // 0: none
    std::uint64_t m_statements = 0;
    Sqlite::Connection m_connection;
    std::optional<std::vector<StagedRow>> m_staged; // none: there is no staging table
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
        throw Failure{E_FAIL, L"cannot use '" + PathText(m_file) + L"' as the reporting database: " + error.text};
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
    {
        const std::lock_guard guard(m_lock);
        if (m_rehearsed)
            return *m_rehearsed;
    }
    return Read(&ReadAccessRights);
}

std::vector<ReportServerRole> ReportingDatabase::Roles() const
{
    return Read(&ReadReportServerRoles);
}

void ReportingDatabase::GrantRole(const std::wstring& reportServer, const std::wstring& account)
{
    if (m_use == Use::Rehearse)
        return;
    Do([&] {
        const std::lock_guard guard(m_rolesLock);
        m_grantRole->Bind(1, account);
        m_grantRole->Bind(2, reportServer);
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
