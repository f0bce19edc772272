// A folder of a test's own that is removed with the test.
#pragma once

#include "Platform/Process.h"

#include <filesystem>
#include <random>

// Creates a fresh, empty folder below the system's folder for temporary files and removes it with all its content on
// destruction; what cannot be removed then stays without complaint. Throws std::filesystem::filesystem_error when the
// folder cannot be created.
class TemporaryFolder
{
public:
    TemporaryFolder()
    {
        const std::string name = "kestrine-" + std::to_string(Platform::ProcessId()) + '-';
        do
            m_path = std::filesystem::temp_directory_path() / (name + std::to_string(std::random_device{}()));
        while (!std::filesystem::create_directory(m_path));
    }
    ~TemporaryFolder()
    {
        std::error_code ignored;
        std::filesystem::remove_all(m_path, ignored);
    }
    TemporaryFolder(const TemporaryFolder&) = delete;
    TemporaryFolder& operator=(const TemporaryFolder&) = delete;

    const std::filesystem::path& Path() const { return m_path; }

private:
    std::filesystem::path m_path;
};
