#include "Platform/Posix/Failure.h"

#include <cerrno>
#include <sys/stat.h>

namespace
{

bool FolderExists(const std::string& path)
{
    struct stat status;
    const std::size_t slash = path.find_last_of('/');
    const std::string folder = slash == std::string::npos ? "." : path.substr(0, slash + 1);
    return stat(folder.c_str(), &status) == 0 && S_ISDIR(status.st_mode);
}

} // namespace

DWORD ErrorFromErrno(int error, const std::string& path)
{
    switch (error) {
    case ENOENT:
        return !path.empty() && FolderExists(path) ? ERROR_FILE_NOT_FOUND : ERROR_PATH_NOT_FOUND;
    case ENOTDIR:
        return ERROR_PATH_NOT_FOUND;
    case EACCES:
    case EPERM:
    case EISDIR:
    case EROFS:
        return ERROR_ACCESS_DENIED;
    case EMFILE:
    case ENFILE:
        return ERROR_TOO_MANY_OPEN_FILES;
    case ENOMEM:
        return ERROR_NOT_ENOUGH_MEMORY;
    case EWOULDBLOCK:
    case ETXTBSY:
        return ERROR_SHARING_VIOLATION;
    case EEXIST:
        return ERROR_ALREADY_EXISTS;
    case ENOSPC:
    case EDQUOT:
        return ERROR_DISK_FULL;
    case EFBIG:
        return ERROR_FILE_TOO_LARGE;
    case EPIPE:
        return ERROR_NO_DATA;
    case ENAMETOOLONG:
        return ERROR_FILENAME_EXCED_RANGE;
    default:
        return ERROR_GEN_FAILURE;
    }
}
