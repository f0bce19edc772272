#include "Platform/Testing/TemporaryFolder.h"

#include "Platform/Process.h"

#include <atomic>
#include <random>
#include <string>

TemporaryFolder::TemporaryFolder()
{
    static std::atomic<unsigned> count{0};
    do {
        const std::string name = "kestrine-" + std::to_string(Platform::ProcessId()) + '-' + std::to_string(++count) +
                                 '-' + std::to_string(std::random_device{}());
        m_path = std::filesystem::temp_directory_path() / name;
    } while (!std::filesystem::create_directory(m_path));
}

TemporaryFolder::~TemporaryFolder()
{
    std::error_code ignored;
    std::filesystem::remove_all(m_path, ignored);
}
