// A session with the reporting database, as the module sees it.
#pragma once

#include "Host/Components/Component.h"
#include "Host/ReportingDatabase/ReportingDatabase.h"
#include "Interfaces/ReportingDatabase.h"

#include <memory>

namespace Host
{

// Understands the statements of SqlStatements.h. Results are no nodes: `result` is left alone.
class DatabaseConnection final : public Component<IDatabaseConnection>
{
public:
    // With `failingStatement` n the n-th statement, and every later one, fails without doing anything; 0: none. Throws
    // Failure when the database cannot be opened.
    DatabaseConnection(std::shared_ptr<ReportingDatabase> database, std::uint64_t failingStatement);
    ~DatabaseConnection() override = default;

    // E_POINTER without a text, E_INVALIDARG when `reserved` is not 0; SqlNotUnderstood, SqlConversionFailed and
    // SqlNoSuchTable of SqlStatements.h; E_FAIL with the reason for everything that the database itself cannot do. A
    // statement that fails leaves the table as it was.
    HRESULT Execute(const wchar_t* sql, std::int32_t reserved, IKelNode** result) override;

private:
    void Perform(const SqlStatement& statement);

    const std::shared_ptr<ReportingDatabase> m_database;
    const std::uint64_t m_failingStatement;
    std::uint64_t m_statements = 0;
    std::optional<AccessRightsSession> m_session;
};

} // namespace Host
