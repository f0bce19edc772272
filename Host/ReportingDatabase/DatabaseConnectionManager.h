// The database connection manager of the reference host.
#pragma once

#include "Host/Components/Component.h"
#include "Host/ReportingDatabase/ReportingDatabase.h"
#include "Interfaces/ReportingDatabase.h"

#include <atomic>
#include <memory>

namespace Host
{

// Opens sessions of one reporting database, whatever the connection-settings entry says. Any thread.
class DatabaseConnectionManager final : public Component<IDatabaseConnectionManager>
{
public:
    explicit DatabaseConnectionManager(std::shared_ptr<ReportingDatabase> database) : m_database(std::move(database)) {}

    // E_POINTER without an entry, E_INVALIDARG for a mode other than 1.
    HRESULT OpenConnection(IKelNode* connectionSettings, std::int32_t mode, IDatabaseConnection** out) override;

    // While out of order, opening a connection fails with HResultFromWin32(ERROR_NOT_CONNECTED).
    void SetOutOfOrder(bool outOfOrder) { m_outOfOrder = outOfOrder; }
    // Sessions opened from now on fail at their statement with this number, counted from 1; 0 ends that.
    void FailAtStatement(std::uint64_t number) { m_failingStatement = number; }

private:
    const std::shared_ptr<ReportingDatabase> m_database;
    std::atomic<bool> m_outOfOrder{false};
    std::atomic<std::uint64_t> m_failingStatement{0};
};

} // namespace Host
