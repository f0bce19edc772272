// The reporting database of the reference host: one SQLite file, usable with any SQLite tool at the same time.
#pragma once

#include "Host/ReportingDatabase/AccessRightsTable.h"

#include <atomic>
#include <cstdint>
#include <filesystem>
#include <fstream>
#include <mutex>
#include <string>
#include <vector>

namespace Host
{

// Any thread.
class ReportingDatabase
{
public:
    // Creates the file and the table where they are missing. Throws Failure when the file cannot be written or is no
    // such database.
    explicit ReportingDatabase(std::filesystem::path file);

    const std::filesystem::path& File() const { return m_file; }
    // The file's name, for messages.
    std::wstring Name() const;

    // Throws Failure.
    std::vector<AccessRight> Rows() const;

    // Merges that were carried out since the start.
    std::uint64_t Rewrites() const { return m_rewrites; }
    void CountRewrite() { ++m_rewrites; }

    // From now on every SQL text goes to `file` too, which is replaced: exactly as it was sent, in UTF-8, followed by a
    // line end and the line "-- <number> ----...". Throws Failure when the file cannot be written.
    void TraceTo(const std::filesystem::path& file);
    void Trace(const wchar_t* sql);

private:
    const std::filesystem::path m_file;
    std::atomic<std::uint64_t> m_rewrites{0};
    std::mutex m_traceLock;
    std::ofstream m_trace;      // m_traceLock
    std::uint64_t m_traced = 0; // m_traceLock
};

} // namespace Host
