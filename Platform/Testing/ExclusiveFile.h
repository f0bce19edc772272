// A file that nobody else can open, for tests of sharing violations.
#pragma once

#include <cstdint>
#include <filesystem>

// While it lives, other openers of the file get a sharing violation. Throws std::runtime_error when it cannot be
// opened.
class ExclusiveFile
{
public:
    explicit ExclusiveFile(const std::filesystem::path& path);
    ~ExclusiveFile();
    ExclusiveFile(const ExclusiveFile&) = delete;
    ExclusiveFile& operator=(const ExclusiveFile&) = delete;

private:
    std::intptr_t m_handle;
};
