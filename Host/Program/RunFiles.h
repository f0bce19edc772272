// The files of a run: its data directory, which no other run uses meanwhile, the reporting database and the SQL trace.
#pragma once

#include "Host/ReportingDatabase/ReportingDatabase.h"

#include <memory>

namespace Host
{

struct WantedFiles
{
    std::optional<std::filesystem::path> dataDirectory; // none: a new folder among the temporary files
    std::optional<std::filesystem::path> database;      // none: in the data directory
    std::optional<std::filesystem::path> sqlTrace;
    Sqlite::Patience patience; // with locks of other processes on the database
};

class RunFiles
{
public:
    // Throws InputError, and leaves nothing behind then.
    explicit RunFiles(const WantedFiles& wanted);

    const std::filesystem::path& DataDirectory() const { return m_dataDirectory; }
    const ComponentPtr<ReportingDatabase>& Database() const { return m_database; }
    std::filesystem::path AccountsFile() const { return m_dataDirectory / "accounts.txt"; }

private:
    struct Closer
    {
        void operator()(sqlite3* connection) const { sqlite3_close_v2(connection); }
    };
    void Hold(const std::string& shown);
    void Open(const WantedFiles& wanted, const std::filesystem::path& file);

    std::filesystem::path m_dataDirectory;
    std::unique_ptr<sqlite3, Closer> m_hold;
    ComponentPtr<ReportingDatabase> m_database;
};

// A folder among the temporary files, not made yet.
std::filesystem::path NewTemporaryFolder();

} // namespace Host
