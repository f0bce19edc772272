#include "Host/ReportingDatabase/ReportingDatabase.h"

#include "Host/Support/Boundary.h"
#include "Host/Support/PathText.h"
#include "Platform/Text.h"

namespace Host
{

namespace
{

std::wstring Quoted(const std::filesystem::path& file)
{
    return L"'" + PathText(file) + L"'";
}

} // namespace

ReportingDatabase::ReportingDatabase(std::filesystem::path file) : m_file(std::move(file))
{
    try {
        CreateAccessRightsTable(m_file);
    } catch (const Sqlite::Error& error) {
        throw Failure{E_FAIL,
                      L"cannot use " + Quoted(m_file) + L" as the reporting database: " + Text::FromUtf8(error.what())};
    }
}

std::wstring ReportingDatabase::Name() const
{
    return PathText(m_file.filename());
}

std::vector<AccessRight> ReportingDatabase::Rows() const
{
    try {
        return ReadAccessRights(m_file);
    } catch (const Sqlite::Error& error) {
        throw Failure{E_FAIL,
                      L"cannot read the reporting database " + Quoted(m_file) + L": " + Text::FromUtf8(error.what())};
    }
}

void ReportingDatabase::TraceTo(const std::filesystem::path& file)
{
    const std::lock_guard guard(m_traceLock);
    m_trace.open(file, std::ios::binary | std::ios::trunc);
    if (!m_trace)
        throw Failure{E_FAIL, L"cannot write the SQL trace " + Quoted(file)};
}

void ReportingDatabase::Trace(const wchar_t* sql)
{
    const std::lock_guard guard(m_traceLock);
    if (m_trace.is_open())
        m_trace << Text::ToUtf8(sql) << "\n-- " << ++m_traced << ' ' << std::string(60, '-') << '\n' << std::flush;
}

} // namespace Host
