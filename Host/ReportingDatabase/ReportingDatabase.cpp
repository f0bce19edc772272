#include "Host/ReportingDatabase/ReportingDatabase.h"

#include "Host/Support/Failure.h"
#include "Host/Support/PathText.h"
#include "Platform/Text.h"

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

void CheckTables(Sqlite::Connection& connection)
{
    Sqlite::Statement select = connection.Prepare(TablesSql);
    while (select.Step()) {
        const std::string name = select.Text(0).value();
        const std::string columns = select.Text(1).value_or("");
        const auto ours =
            std::find_if(std::begin(Tables), std::end(Tables), [&](const auto& table) { return table.first == name; });
        if (ours == std::end(Tables))
            throw Sqlite::Error("it holds the table '" + name +
                                "', expected no other ones than AccessRights and ReportServerRoles");
        if (ours->second != columns)
            throw Sqlite::Error("its table " + name + " has the columns (" + columns + "), expected (" +
                                std::string(ours->second) + ")");
    }
}

} // namespace

std::vector<AccessRight> ReadAccessRights(const std::filesystem::path& file, const Sqlite::Patience& patience)
{
    Sqlite::Connection connection(file, Sqlite::Access::ReadOnly, patience);
    return ReadAccessRights(connection);
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

std::vector<ReportServerRole> ReadReportServerRoles(const std::filesystem::path& file, const Sqlite::Patience& patience)
{
    Sqlite::Connection connection(file, Sqlite::Access::ReadOnly, patience);
    Sqlite::Statement select =
        connection.Prepare("SELECT Account, Role, ReportServer, GrantedAt FROM ReportServerRoles ORDER BY 1, 2, 3");
    const auto column = [&](int index) { return Text::FromUtf8(select.Text(index).value_or("")); };
    std::vector<ReportServerRole> roles;
    while (select.Step())
        roles.push_back({column(0), column(1), column(2), column(3)});
    return roles;
}

ReportingDatabase::ReportingDatabase(std::filesystem::path file, const Sqlite::Patience& patience, Use use)
    : m_file(std::move(file)), m_patience(patience), m_use(use)
{
    try {
        if (IsRehearsal()) {
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

std::wstring ReportingDatabase::Name() const
{
    return PathText(m_file.filename());
}

std::vector<AccessRight> ReportingDatabase::Rows() const
{
    return Do([this] { return ReadAccessRights(m_file, m_patience); });
}

std::vector<ReportServerRole> ReportingDatabase::Roles() const
{
    return Do([this] { return ReadReportServerRoles(m_file, m_patience); });
}

void ReportingDatabase::GrantRole(const std::wstring& reportServer, const std::wstring& account)
{
    if (IsRehearsal())
        return;
    Do([&] {
        const std::lock_guard guard(m_rolesLock);
        m_grantRole->Bind(1, Text::ToUtf8(account));
        m_grantRole->Bind(2, Text::ToUtf8(reportServer));
        m_grantRole->Step();
    });
    ++m_grants;
}

void ReportingDatabase::NoteRehearsal(std::vector<AccessRight> rows)
{
    const std::lock_guard guard(m_rehearsalLock);
    m_rehearsed = std::move(rows);
}

std::vector<AccessRight> ReportingDatabase::RehearsedRows() const
{
    const std::lock_guard guard(m_rehearsalLock);
    return m_rehearsed ? *m_rehearsed : Rows();
}

void ReportingDatabase::TraceTo(const std::filesystem::path& file)
{
    const std::lock_guard guard(m_traceLock);
    m_trace.open(file, std::ios::binary | std::ios::trunc);
    if (!m_trace)
        throw Failure{E_FAIL, L"cannot write the SQL trace '" + PathText(file) + L"'"};
}

void ReportingDatabase::Trace(const wchar_t* sql)
{
    const std::lock_guard guard(m_traceLock);
    if (m_trace.is_open())
        m_trace << Text::ToUtf8(sql) << "\n-- " << ++m_traced << ' ' << std::string(60, '-') << '\n' << std::flush;
}

void ReportingDatabase::CheckTrace()
{
    const std::lock_guard guard(m_traceLock);
    if (m_trace.is_open() && !m_trace)
        throw Failure{E_FAIL, L"the SQL trace is not complete: it could not be written"};
}

void ReportingDatabase::Fail(const Sqlite::Error& error) const
{
    throw Failure{E_FAIL, L"Reporting database '" + Name() + L"': " + Text::FromUtf8(error.what())};
}

} // namespace Host
