// The reporting database of the reference host: one SQLite file, usable with any SQLite tool at the same time.
#pragma once

#include "Host/ReportingDatabase/Sqlite.h"

#include <atomic>
#include <compare>
#include <cstdint>
#include <filesystem>
#include <fstream>
#include <mutex>
#include <optional>
#include <string>
#include <vector>

namespace Host
{

// A row of [dbo].[AccessRights], in the file the table AccessRights(LoginName, ManagedObjectUId), both TEXT or NULL.
struct AccessRight
{
    std::optional<std::wstring> loginName;        // none: every account
    std::optional<std::wstring> managedObjectUId; // none: every object

    // NOLINTNEXTLINE(modernize-use-nullptr): the comparison's result with 0, not a pointer
    auto operator<=>(const AccessRight&) const = default;
};

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
std::vector<AccessRight> ReadAccessRights(const std::filesystem::path& file, const Sqlite::Patience& patience = {});
std::vector<ReportServerRole> ReadReportServerRoles(const std::filesystem::path& file,
                                                    const Sqlite::Patience& patience = {});

// Any thread. Failures throw Failure.
class ReportingDatabase
{
public:
    // What becomes of a merge.
    enum class Use
    {
        Write,    // file and tables are created where they are missing
        Rehearse, // every merge is rolled back and no role is written; the tables must be there
    };
    // A file that holds other tables than ours, or one of these in another form, is refused and stays as it is.
    // `patience`: with locks of other processes, now and later.
    explicit ReportingDatabase(std::filesystem::path file, const Sqlite::Patience& patience = {}, Use use = Use::Write);

    const std::filesystem::path& File() const { return m_file; }
    // The file's name, for messages.
    std::wstring Name() const;

    std::vector<AccessRight> Rows() const;
    // Merges that were carried out since the start.
    std::uint64_t Rewrites() const { return m_rewrites; }
    // What the last merge of a rehearsal would have left; the rows when there was none.
    std::vector<AccessRight> RehearsedRows() const;

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

    // For sessions.
    void Trace(const wchar_t* sql);
    void CountRewrite() { ++m_rewrites; }
    bool IsRehearsal() const { return m_use == Use::Rehearse; }
    void NoteRehearsal(std::vector<AccessRight> rows);
    Sqlite::Connection Connect(Sqlite::Access access) const { return {m_file, access, m_patience}; }
    // Returns what `work` returns; a Sqlite::Error becomes Failure (E_FAIL).
    template <class Work>
    auto Do(const Work& work) const
    {
        try {
            return work();
        } catch (const Sqlite::Error& error) {
            Fail(error);
        }
    }

private:
    [[noreturn]] void Fail(const Sqlite::Error& error) const;

    const std::filesystem::path m_file;
    const Sqlite::Patience m_patience;
    const Use m_use;
    std::atomic<std::uint64_t> m_rewrites{0};
    std::atomic<std::uint64_t> m_grants{0};
    std::mutex m_rolesLock;
    std::optional<Sqlite::Connection> m_roles;    // m_rolesLock; none: a rehearsal
    std::optional<Sqlite::Statement> m_grantRole; // m_rolesLock
    mutable std::mutex m_rehearsalLock;
    std::optional<std::vector<AccessRight>> m_rehearsed; // m_rehearsalLock
    std::mutex m_traceLock;
    std::ofstream m_trace;      // m_traceLock
    std::uint64_t m_traced = 0; // m_traceLock
};

} // namespace Host
