// The reporting database of the reference host: one SQLite file, usable with any SQLite tool at the same time.
#pragma once

#include "Host/ReportingDatabase/AccessRightsTable.h"
#include "Host/ReportingDatabase/ReportServerRoles.h"

#include <atomic>
#include <cstdint>
#include <filesystem>
#include <fstream>
#include <mutex>
#include <string>
#include <vector>

namespace Host
{

// Any thread. Failures throw Failure.
class ReportingDatabase
{
public:
    // What becomes of a merge.
    enum class Use
    {
        Write,    // file and tables are created where they are missing
        Rehearse, // every merge is rolled back and no role is written; the table must be there
    };
    explicit ReportingDatabase(std::filesystem::path file, Use use = Use::Write);

    const std::filesystem::path& File() const { return m_file; }
    // The file's name, for messages.
    std::wstring Name() const;

    std::vector<AccessRight> Rows() const;
    // Merges that were carried out since the start.
    std::uint64_t Rewrites() const { return m_rewrites; }
    // Merges what the session has staged.
    void Merge(AccessRightsSession& session);
    // What the last merge of a rehearsal would have left; the rows when there was none.
    std::vector<AccessRight> RehearsedRows() const;

    std::vector<ReportServerRole> Roles() const;
    void GrantRole(const std::wstring& reportServer, const std::wstring& account);
    // Roles granted since the start; those that an account had already are counted again.
    std::uint64_t Grants() const { return m_grants; }

    // From now on every SQL text is also written to `file`, which is replaced: exactly as it was sent, in UTF-8,
    // followed by a line end and the line "-- <number> ----...".
    void TraceTo(const std::filesystem::path& file);
    void Trace(const wchar_t* sql);
    // Throws when a text could not be written.
    void CheckTrace();

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
    std::atomic<std::uint64_t> m_rewrites{0};
    std::atomic<std::uint64_t> m_grants{0};
    std::optional<ReportServerRoles> m_roles; // none: a rehearsal
    mutable std::mutex m_rehearsalLock;
    std::optional<std::vector<AccessRight>> m_rehearsed; // m_rehearsalLock
    std::mutex m_traceLock;
    std::ofstream m_trace;      // m_traceLock
    std::uint64_t m_traced = 0; // m_traceLock
};

} // namespace Host
