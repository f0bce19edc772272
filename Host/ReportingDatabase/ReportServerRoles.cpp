#include "Host/ReportingDatabase/ReportServerRoles.h"

#include "Platform/Text.h"

namespace Host
{

namespace
{

constexpr char CreateSql[] = R"(
    CREATE TABLE IF NOT EXISTS ReportServerRoles(
        Account TEXT NOT NULL, Role TEXT NOT NULL, ReportServer TEXT NOT NULL, GrantedAt TEXT NOT NULL,
        PRIMARY KEY(Account, Role, ReportServer));)";

constexpr char InsertSql[] = R"(
    INSERT OR IGNORE INTO ReportServerRoles VALUES (?1, 'Browser', ?2, strftime('%Y-%m-%d %H:%M:%f', 'now')))";

constexpr char SelectSql[] = "SELECT Account, Role, ReportServer, GrantedAt FROM ReportServerRoles ORDER BY 1, 2, 3";

Sqlite::Connection OpenWithTable(const std::filesystem::path& file)
{
    Sqlite::Connection connection(file, Sqlite::Access::Create);
    connection.Execute(CreateSql);
    return connection;
}

} // namespace

std::vector<ReportServerRole> ReadReportServerRoles(const std::filesystem::path& file)
{
    Sqlite::Connection connection(file, Sqlite::Access::ReadOnly);
    Sqlite::Statement select = connection.Prepare(SelectSql);
    const auto column = [&](int index) { return Text::FromUtf8(select.Text(index).value_or("")); };
    std::vector<ReportServerRole> roles;
    while (select.Step())
        roles.push_back({column(0), column(1), column(2), column(3)});
    return roles;
}

ReportServerRoles::ReportServerRoles(const std::filesystem::path& file)
    : m_connection(OpenWithTable(file)), m_insert(m_connection.Prepare(InsertSql))
{}

void ReportServerRoles::Grant(const std::wstring& reportServer, const std::wstring& account)
{
    const std::lock_guard guard(m_lock);
    m_insert.Bind(1, Text::ToUtf8(account));
    m_insert.Bind(2, Text::ToUtf8(reportServer));
    m_insert.Step();
}

} // namespace Host
