// The files that a person names, and those of a run.
#pragma once

#include "Host/ReportingDatabase/ReportingDatabase.h"

namespace Host
{

// Input that cannot be used; the text (UTF-8) tells the person who gave it why.
struct InputError : std::runtime_error
{
    using std::runtime_error::runtime_error;
};

// The content of a file. Throws InputError with the reason why it cannot be read: an empty file has no use either.
std::string ReadInputFile(const std::filesystem::path& file);

// Throws the same for a file that somebody else is to read.
void CheckReadable(const std::filesystem::path& file);

// Writes a file anew; a reader sees the old one or the new one. Throws InputError when that cannot begin,
// and Failure when it cannot be completed.
void ReplaceFile(const std::filesystem::path& file, const std::string& content);

// A folder among the temporary files, not made yet.
std::filesystem::path NewTemporaryFolder();

struct WantedFiles
{
    std::optional<std::filesystem::path> dataDirectory; // none: a new folder among the temporary files
    std::optional<std::filesystem::path> database;      // none: in the data directory
    std::optional<std::filesystem::path> sqlTrace;
    Sqlite::Patience patience; // with locks of other processes on the database
};

// The files of a run: its data directory, which no other run uses meanwhile, the reporting database and the SQL trace.
class RunFiles
{
public:
    // Throws InputError, and leaves nothing behind then.
    explicit RunFiles(const WantedFiles& wanted);

    const std::filesystem::path& DataDirectory() const { return m_dataDirectory; }
    const ComponentPtr<ReportingDatabase>& Database() const { return m_database; }
    std::filesystem::path AccountsFile() const { return m_dataDirectory / "accounts.txt"; }

private:
    // Files and folders that are removed again, unless all goes well.
    class Undo
    {
    public:
        ~Undo();
        // To be called before `path` is made, with the folders above it.
        void Note(std::filesystem::path path);
        void Disarm() { m_made.clear(); }

    private:
        std::vector<std::filesystem::path> m_made;
    };

    void Hold(const std::string& shown);
    void Open(const WantedFiles& wanted, const std::filesystem::path& file);

    Undo m_undo; // runs when the files behind it have been closed
    std::filesystem::path m_dataDirectory;
    std::optional<Sqlite::Connection> m_hold;
    ComponentPtr<ReportingDatabase> m_database;
};

} // namespace Host
