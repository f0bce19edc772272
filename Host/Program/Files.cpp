#include "Host/Program/Files.h"

#include "Host/Support/Failure.h"
#include "Host/Support/PathText.h"

#include <cerrno>
#include <random>
#include <sstream>

namespace Host
{

namespace
{

namespace fs = std::filesystem;

[[noreturn]] void RefuseFile(const fs::path& file, const std::string& complaint)
{
    throw InputError(Utf8PathText(file) + ": " + complaint);
}

std::ifstream Open(const fs::path& file)
{
    std::error_code error;
    const fs::file_status status = fs::status(file, error);
    if (status.type() == fs::file_type::not_found)
        RefuseFile(file, "cannot be read: there is no such file");
    if (error)
        RefuseFile(file, "cannot be read: " + error.message());
    if (fs::is_directory(status))
        RefuseFile(file, "cannot be read: it is a folder");
    errno = 0;
    std::ifstream stream(file, std::ios::binary);
    if (!stream)
        RefuseFile(file, "cannot be read: " + std::generic_category().message(errno));
    if (stream.peek() == std::ifstream::traits_type::eof())
        RefuseFile(file, "cannot be read: it is empty");
    return stream;
}

} // namespace

std::string ReadInputFile(const fs::path& file)
{
    std::ifstream stream = Open(file);
    std::ostringstream text;
    text << stream.rdbuf();
    return std::move(text).str();
}

void CheckReadable(const fs::path& file)
{
    Open(file);
}

void ReplaceFile(const fs::path& file, const std::string& content)
{
    if (fs::exists(file) && !fs::is_regular_file(file))
        RefuseFile(file, "cannot be written: it is no regular file");
    const fs::path beside = fs::path(file) += ".new";
    errno = 0;
    std::ofstream stream(beside, std::ios::binary);
    if (!stream)
        RefuseFile(file, "cannot be written: " + std::generic_category().message(errno));
    stream << content << std::flush;
    std::error_code error(stream ? 0 : errno, std::generic_category());
    stream.close();
    if (!error)
        fs::rename(beside, file, error);
    if (!error)
        return;
    std::error_code ignored;
    fs::remove(beside, ignored);
    throw Failure{E_FAIL, PathText(file) + L": cannot be written: " + Text::FromUtf8(error.message())};
}

fs::path NewTemporaryFolder()
{
    std::random_device random;
    fs::path folder;
    do
        folder = fs::temp_directory_path() / ("kestrine-host-" + std::to_string(random()));
    while (fs::exists(folder));
    return folder;
}

RunFiles::Undo::~Undo()
{
    std::error_code ignored;
    for (const fs::path& path : m_made)
        fs::remove_all(path, ignored);
}

void RunFiles::Undo::Note(fs::path path)
{
    fs::path made;
    for (std::error_code ignored; path.has_relative_path() && !fs::exists(path, ignored); path = path.parent_path())
        made = path;
    if (!made.empty())
        m_made.push_back(made);
}

RunFiles::RunFiles(const WantedFiles& wanted)
{
    const std::string shown =
        wanted.dataDirectory ? Utf8PathText(*wanted.dataDirectory) : "the folder for temporary files";
    try {
        m_dataDirectory = wanted.dataDirectory ? fs::absolute(*wanted.dataDirectory) : NewTemporaryFolder();
        m_undo.Note(m_dataDirectory);
        fs::create_directories(m_dataDirectory / "Logs");
    } catch (const fs::filesystem_error& error) {
        throw InputError(shown + ": cannot be used as data directory: " + error.code().message());
    }
    const fs::path file = fs::absolute(wanted.database.value_or(m_dataDirectory / "reporting.db"));
    m_undo.Note(file);
    if (wanted.sqlTrace)
        m_undo.Note(fs::absolute(*wanted.sqlTrace));
    Hold(shown);
    Open(wanted, file);
    m_undo.Disarm();
}

// A transaction of a database beside the log holds the folder, whatever path leads to it, until the process ends.
void RunFiles::Hold(const std::string& shown)
{
    try {
        m_hold.emplace(m_dataDirectory / "Logs" / "kestrine-host.lock", Sqlite::Access::Create,
                       Sqlite::Patience{std::chrono::milliseconds(0)});
        m_hold->Execute("BEGIN EXCLUSIVE");
    } catch (const Sqlite::Error& error) {
        throw InputError(shown + (error.code == SQLITE_BUSY
                                      ? ": is in use by another run, expected a data directory of this run's own"
                                      : ": cannot be written, expected a data directory: " + Text::ToUtf8(error.text)));
    }
}

void RunFiles::Open(const WantedFiles& wanted, const fs::path& file)
{
    if (fs::is_directory(file))
        RefuseFile(file, "cannot be used as the reporting database: it is a folder");
    try {
        m_database = MakeComponent<ReportingDatabase>(file, wanted.patience);
        std::error_code ignored;
        if (wanted.sqlTrace && fs::equivalent(*wanted.sqlTrace, file, ignored))
            RefuseFile(file, "is the database, expected another file for the SQL texts");
        if (wanted.sqlTrace)
            m_database->TraceTo(*wanted.sqlTrace);
    } catch (const Failure& failure) {
        throw InputError(Text::ToUtf8(failure.text));
    }
}

} // namespace Host
