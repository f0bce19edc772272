// A file that nobody else can open, for tests of sharing violations.
#pragma once

#include <filesystem>
#include <stdexcept>

#ifdef _WIN32
#include <windows.h>
#else
#include <fcntl.h>
#include <sys/file.h>
#include <unistd.h>
#endif

// While it lives, other openers of the file get a sharing violation. Throws std::runtime_error when it cannot be
// opened.
class ExclusiveFile
{
public:
    explicit ExclusiveFile(const std::filesystem::path& path)
    {
#ifdef _WIN32
        m_file = CreateFileW(path.c_str(), GENERIC_WRITE, 0, nullptr, OPEN_ALWAYS, FILE_ATTRIBUTE_NORMAL, nullptr);
        const bool open = m_file != INVALID_HANDLE_VALUE;
#else
        m_file = ::open(path.c_str(), O_WRONLY | O_CREAT | O_CLOEXEC, 0600);
        const bool open = m_file != -1 && flock(m_file, LOCK_EX | LOCK_NB) == 0;
#endif
        if (!open)
            throw std::runtime_error("cannot open the file for this process alone");
    }
    ~ExclusiveFile()
    {
#ifdef _WIN32
        CloseHandle(m_file);
#else
        close(m_file);
#endif
    }
    ExclusiveFile(const ExclusiveFile&) = delete;
    ExclusiveFile& operator=(const ExclusiveFile&) = delete;

private:
#ifdef _WIN32
    HANDLE m_file;
#else
    int m_file;
#endif
};
