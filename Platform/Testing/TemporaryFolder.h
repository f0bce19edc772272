// A folder of a test's own that is removed with the test.
#pragma once

#include <filesystem>

// Creates a fresh, empty folder below the system's folder for temporary files and removes it with all its content on
// destruction; what cannot be removed then stays without complaint. Throws std::filesystem::filesystem_error when the
// folder cannot be created.
class TemporaryFolder
{
public:
    TemporaryFolder();
    ~TemporaryFolder();
    TemporaryFolder(const TemporaryFolder&) = delete;
    TemporaryFolder& operator=(const TemporaryFolder&) = delete;

    const std::filesystem::path& Path() const { return m_path; }

private:
    std::filesystem::path m_path;
};
