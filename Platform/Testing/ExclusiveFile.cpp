#include "Platform/Testing/ExclusiveFile.h"

#include <stdexcept>

#ifdef _WIN32

#include <windows.h>

ExclusiveFile::ExclusiveFile(const std::filesystem::path& path)
    : m_handle(reinterpret_cast<std::intptr_t>(
          CreateFileW(path.c_str(), GENERIC_WRITE, 0, nullptr, OPEN_ALWAYS, FILE_ATTRIBUTE_NORMAL, nullptr)))
{
    if (m_handle == -1)
        throw std::runtime_error("cannot open the file for this process alone");
}

ExclusiveFile::~ExclusiveFile()
{
    CloseHandle(reinterpret_cast<HANDLE>(m_handle));
}

#else

#include <fcntl.h>
#include <sys/file.h>
#include <unistd.h>

ExclusiveFile::ExclusiveFile(const std::filesystem::path& path)
    : m_handle(open(path.c_str(), O_WRONLY | O_CREAT | O_CLOEXEC, 0600))
{
    if (m_handle == -1 || flock(static_cast<int>(m_handle), LOCK_EX | LOCK_NB) != 0)
        throw std::runtime_error("cannot open the file for this process alone");
}

ExclusiveFile::~ExclusiveFile()
{
    close(static_cast<int>(m_handle));
}

#endif
