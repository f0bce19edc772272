// The roles that accounts have on report servers, beside the access rights in the same SQLite file. Failures throw
// Sqlite::Error.
#pragma once

#include "Host/ReportingDatabase/Sqlite.h"

#include <mutex>
#include <vector>

namespace Host
{

// A row of the table ReportServerRoles(Account, Role, ReportServer, GrantedAt), all TEXT; times are UTC.
struct ReportServerRole
{
    std::wstring account;
    std::wstring role;
    std::wstring reportServer; // URL
    std::wstring grantedAt;
};

// By account, role and report server.
std::vector<ReportServerRole> ReadReportServerRoles(const std::filesystem::path& file);

// Any thread.
class ReportServerRoles
{
public:
    // Creates the table where it is missing.
    explicit ReportServerRoles(const std::filesystem::path& file);

    // Gives the account the role Browser; one that it has already stays as it is.
    void Grant(const std::wstring& reportServer, const std::wstring& account);

private:
    std::mutex m_lock;
    Sqlite::Connection m_connection; // m_lock
    Sqlite::Statement m_insert;      // m_lock
};

} // namespace Host
