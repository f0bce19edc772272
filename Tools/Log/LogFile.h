// Log files on the disk.
#pragma once

#include "Tools/Log/LineReader.h"

#include <filesystem>
#include <fstream>
#include <stdexcept>

namespace LogTool
{

// What the person at the command line has to mend.
struct InputError : std::runtime_error
{
    using std::runtime_error::runtime_error;
};

class LogFile
{
public:
    // Throws InputError for a file that is missing, a folder, empty, no log of the module, or cannot be read.
    explicit LogFile(const std::filesystem::path& file);

    // Reads to the end, once. Throws InputError.
    void Read(const TakeLine& take);

private:
    void ReadBlock();

    std::string m_name;
    std::ifstream m_stream;
    std::string m_block;
};

// What is appended to a log from now on. The file is open only while it is looked at, so that it can be moved away;
// what then stands at its path is read from its beginning.
class FollowedLog
{
public:
    // Throws InputError like LogFile.
    explicit FollowedLog(const std::filesystem::path& file);

    // Passes on what was added since the last call. A file that is missing or cannot be opened has nothing new.
    void ReadNew(LineReader& reader);

private:
    bool BeginsAsBefore(std::ifstream& stream) const;

    std::filesystem::path m_file;
    std::string m_head; // its first bytes: the time in its first entry tells one log from another
    std::uint64_t m_position = 0;
};

} // namespace LogTool
