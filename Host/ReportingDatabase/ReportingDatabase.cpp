#include "Host/ReportingDatabase/ReportingDatabase.h"

#include "Host/Support/Boundary.h"
#include "Host/Support/PathText.h"
#include "Platform/Text.h"

namespace Host
{

ReportingDatabase::ReportingDatabase(std::filesystem::path file, Use use) : m_file(std::move(file))
{
    try {
        if (use == Use::Rehearse) {
            ReadAccessRights(m_file);
        } else {
            CreateAccessRightsTable(m_file);
            m_roles.emplace(m_file);
        }
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
    return Do([this] { return ReadAccessRights(m_file); });
}

std::vector<ReportServerRole> ReportingDatabase::Roles() const
{
    return Do([this] { return ReadReportServerRoles(m_file); });
}

void ReportingDatabase::GrantRole(const std::wstring& reportServer, const std::wstring& account)
{
    if (!m_roles)
        return;
    Do([&] { m_roles->Grant(reportServer, account); });
    ++m_grants;
}

void ReportingDatabase::Merge(AccessRightsSession& session)
{
    if (m_roles) {
        session.Merge();
    } else {
        const std::lock_guard guard(m_rehearsalLock);
        m_rehearsed = session.RehearseMerge();
    }
    ++m_rewrites;
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
