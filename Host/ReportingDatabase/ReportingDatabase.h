// The reporting database of the reference host: one SQLite file, usable with any SQLite tool at the same time.
#pragma once

#include "Host/ReportingDatabase/SqlStatements.h"
#include "Host/ReportingDatabase/Sqlite.h"
#include "Host/Support/PathText.h"
#include "Interfaces/Component.h"
#include "Interfaces/ReportingDatabase.h"

#include <cstdint>
#include <fstream>
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

// Of any such file; failures throw Sqlite::Error. Rights are sorted, rows without a value first; roles come by account,
// role and report server.
std::vector<AccessRight> ReadAccessRights(Sqlite::Connection& connection);
std::vector<ReportServerRole> ReadReportServerRoles(Sqlite::Connection& connection);

// A GUID as the database keeps it: "6F9619FF-8B86-D011-B42D-00C04FC964FF", upper case without braces. `text` may be in
// braces and in any case; nothing when it is no GUID.
std::optional<std::wstring> ToGuidText(std::wstring_view text);

// The database, and the connection manager that opens sessions of it, whatever the connection-settings entry says. Any
// thread. Failures throw Failure.
class ReportingDatabase final : public Component<IDatabaseConnectionManager>
{
public:
    // What becomes of a merge.
    enum class Use
    {
        Write,    // file and tables are created where they are missing
        Rehearse, // nothing is written; the tables must be there
    };
    // A file that holds other tables than ours, or one of these in another form, is refused and stays as it is.
    // `patience`: with locks of other processes, now and later.
    explicit ReportingDatabase(std::filesystem::path file, const Sqlite::Patience& patience = {}, Use use = Use::Write);

    // E_POINTER without an entry, E_INVALIDARG for a mode other than 1. A session understands the statements of
    // SqlStatements.h and leaves results alone; its staging table lasts as long as the session.
    HRESULT OpenConnection(IKelNode* connectionSettings, std::int32_t mode, IDatabaseConnection** out) override;

    // While out of order, opening a session fails with HResultFromWin32(ERROR_NOT_CONNECTED).
    void SetOutOfOrder(bool outOfOrder) { m_outOfOrder = outOfOrder; }
    // Sessions opened from now on fail at their statement with this number, counted from 1, and at every later one; 0
    // ends that.
    void FailAtStatement(std::uint64_t number) { m_failingStatement = number; }

    const std::filesystem::path& File() const { return m_file; }
    // In a rehearsal that has merged: what the last merge would have left.
    std::vector<AccessRight> Rows() const;
    // Merges that were carried out since the start.
    std::uint64_t Rewrites() const { return m_rewrites; }

    std::vector<ReportServerRole> Roles() const;
    // Gives the account the role Browser; one that it has already stays as it is.
    void GrantRole(const std::wstring& reportServer, const std::wstring& account);
    // Roles granted since the start; those that an account had already are counted again.
    std::uint64_t Grants() const { return m_grants; }

    // From now on every SQL text is also written to `file`, which is replaced: exactly as it was sent, in UTF-8,
    // followed by a line end and the line "-- <number> ----...".
    void TraceTo(const std::filesystem::path& file);
    // Throws when a text could not be written.
    void CheckTrace();

private:
    class Session;

    Sqlite::Connection Connect(Sqlite::Access access) const { return {m_file, access, m_patience}; }
    template <class Work>
    auto Do(const Work& work) const;
    template <class Row>
    std::vector<Row> Read(std::vector<Row> (*read)(Sqlite::Connection&)) const;
    void Trace(const wchar_t* sql);
    // The name for messages.
    std::wstring Title() const { return L"Reporting database '" + PathText(m_file.filename()) + L"'"; }

    const std::filesystem::path m_file;
    const Sqlite::Patience m_patience;
    const Use m_use;
    std::atomic<bool> m_outOfOrder{false};
    std::atomic<std::uint64_t> m_failingStatement{0};
    std::atomic<std::uint64_t> m_rewrites{0};
    std::atomic<std::uint64_t> m_grants{0};
    std::mutex m_rolesLock;
    std::optional<Sqlite::Connection> m_roles;    // m_rolesLock; none: a rehearsal
    std::optional<Sqlite::Statement> m_grantRole; // m_rolesLock
    mutable std::mutex m_lock;
    std::optional<std::vector<AccessRight>> m_rehearsed; // m_lock
    std::ofstream m_trace;                               // m_lock
    std::uint64_t m_traced = 0;                          // m_lock
};

} // namespace Host
