#include "Host/Program/RunFiles.h"

#include "Host/Program/Files.h"
#include "Host/Support/Failure.h"
#include "Host/Support/PathText.h"
#include "Platform/Text.h"

#include <random>

namespace Host
{

namespace
{

namespace fs = std::filesystem;

// Removes what is made, unless all went well.
class Undo
{
public:
    ~Undo()
    {
        std::error_code ignored;
        for (const fs::path& path : m_made)
            fs::remove_all(path, ignored);
    }

    // To be called before the file or folder is made, with the folders above it.
    void Note(fs::path path)
    {
        fs::path made;
        for (std::error_code ignored; path.has_relative_path() && !fs::exists(path, ignored); path = path.parent_path())
            made = path;
        if (!made.empty())
            m_made.push_back(made);
    }
    void Disarm() { m_made.clear(); }

private:
    std::vector<fs::path> m_made;
};

} // namespace

fs::path NewTemporaryFolder()
{
    std::random_device random;
    fs::path folder;
    do
        folder = fs::temp_directory_path() / ("kestrine-host-" + std::to_string(random()));
    while (fs::exists(folder));
    return folder;
}

RunFiles::RunFiles(const WantedFiles& wanted)
{
    Undo undo;
    const std::string shown =
        wanted.dataDirectory ? Utf8PathText(*wanted.dataDirectory) : "the folder for temporary files";
    try {
        m_dataDirectory = wanted.dataDirectory ? fs::absolute(*wanted.dataDirectory) : NewTemporaryFolder();
        undo.Note(m_dataDirectory);
        fs::create_directories(m_dataDirectory / "Logs");
    } catch (const fs::filesystem_error& error) {
        throw InputError(shown + ": cannot be used as data directory: " + error.code().message());
    }
    const fs::path file = fs::absolute(wanted.database.value_or(m_dataDirectory / "reporting.db"));
    undo.Note(file);
    if (wanted.sqlTrace)
        undo.Note(fs::absolute(*wanted.sqlTrace));
    try {
        Hold(shown);
        Open(wanted, file);
    } catch (...) {
        m_database.Reset(); // files that are open cannot be removed everywhere
        m_hold.reset();
        throw;
    }
    undo.Disarm();
}

// A transaction of a database beside the log holds the folder, whatever path leads to it, until the process ends.
void RunFiles::Hold(const std::string& shown)
{
    const std::u8string file = (m_dataDirectory / "Logs" / "kestrine-host.lock").u8string();
    sqlite3* connection = nullptr;
    int result = sqlite3_open(reinterpret_cast<const char*>(file.c_str()), &connection);
    m_hold.reset(connection);
    if (result == SQLITE_OK)
        result = sqlite3_exec(connection, "BEGIN EXCLUSIVE", nullptr, nullptr, nullptr);
    if (result == SQLITE_BUSY)
        throw InputError(shown + ": is in use by another run, expected a data directory of this run's own");
    if (result != SQLITE_OK)
        throw InputError(shown + ": cannot be written, expected a data directory: " + sqlite3_errmsg(connection));
}

void RunFiles::Open(const WantedFiles& wanted, const fs::path& file)
{
    if (fs::is_directory(file))
        throw InputError(Utf8PathText(file) + ": cannot be used as the reporting database: it is a folder");
    try {
        m_database = MakeComponent<ReportingDatabase>(file, wanted.patience);
        std::error_code ignored;
        if (wanted.sqlTrace && fs::equivalent(*wanted.sqlTrace, file, ignored))
            throw InputError(Utf8PathText(file) + ": is the database, expected another file for the SQL texts");
        if (wanted.sqlTrace)
            m_database->TraceTo(*wanted.sqlTrace);
    } catch (const Failure& failure) {
        throw InputError(Text::ToUtf8(failure.text));
    }
}

} // namespace Host
