#include "Platform/Posix/TextFile.h"

#include "Platform/Posix/Failure.h"

#include <cerrno>
#include <fcntl.h>
#include <unistd.h>

namespace
{

DWORD ReadFileBytes(const std::string& path, std::string& bytes)
{
    const int file = open(path.c_str(), O_RDONLY | O_CLOEXEC);
    if (file < 0)
        return ErrorFromErrno(errno, path);
    char chunk[4096];
    ssize_t count = 0;
    while ((count = read(file, chunk, sizeof(chunk))) > 0)
        bytes.append(chunk, static_cast<std::size_t>(count));
    const DWORD error = count == 0 ? DWORD{ERROR_SUCCESS} : ErrorFromErrno(errno, path);
    close(file);
    return error;
}

} // namespace

DWORD ReadTextFile(const std::string& path, std::wstring& text)
{
    std::string bytes;
    if (const DWORD error = ReadFileBytes(path, bytes); error != ERROR_SUCCESS)
        return error;
    text = DecodeText(bytes);
    return ERROR_SUCCESS;
}
