#include "Host/ReportingDatabase/DatabaseConnection.h"

#include "Host/Support/Boundary.h"

namespace Host
{

DatabaseConnection::DatabaseConnection(std::shared_ptr<ReportingDatabase> database, std::uint64_t failingStatement)
    : m_database(std::move(database)), m_failingStatement(failingStatement)
{
    m_database->Do([this] { m_session.emplace(m_database->File()); });
}

HRESULT DatabaseConnection::Execute(const wchar_t* sql, std::int32_t reserved, IKelNode**)
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

void DatabaseConnection::Perform(const SqlStatement& statement)
{
    if (const auto* insert = std::get_if<InsertStagedRows>(&statement)) {
        m_session->Insert(insert->rows);
    } else if (std::holds_alternative<CreateStagingTable>(statement)) {
        m_session->CreateStaging();
    } else {
        m_database->Merge(*m_session);
    }
}

} // namespace Host
