#include "Host/Components/DatabaseConnectionManager.h"

#include "Host/ReportingDatabase/DatabaseConnection.h"
#include "Host/Support/Boundary.h"

namespace Host
{

namespace
{

constexpr std::int32_t ReadWriteMode = 1;
constexpr HRESULT NotConnected = HResultFromWin32(2250); // ERROR_NOT_CONNECTED

} // namespace

HRESULT DatabaseConnectionManager::OpenConnection(IKelNode* connectionSettings, std::int32_t mode,
                                                  IDatabaseConnection** out)
{
    return Boundary([=, this] {
        if (!connectionSettings || !out)
            throw Failure{E_POINTER, L"Reporting database: no connection settings or no place for the connection"};
        if (mode != ReadWriteMode)
            throw Failure{E_INVALIDARG,
                          L"Reporting database: unknown connection mode " + std::to_wstring(mode) + L", expected 1"};
        if (m_outOfOrder)
            throw Failure{NotConnected, L"Reporting database '" + m_database->Name() + L"' does not answer"};
        *out = MakeComponent<DatabaseConnection>(m_database, m_failingStatement).Detach();
        return S_OK;
    });
}

} // namespace Host
