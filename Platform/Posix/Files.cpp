#include "Platform/Posix/Failure.h"
#include "Platform/Posix/FileTime.h"
#include "Platform/Posix/Handles.h"
#include "Platform/Posix/NativePath.h"
#include "Platform/Posix/Win32Process.h"

#include <cerrno>
#include <fcntl.h>
#include <sys/file.h>
#include <sys/stat.h>
#include <unistd.h>

namespace
{

constexpr DWORD shareWithAll = FILE_SHARE_READ | FILE_SHARE_WRITE | FILE_SHARE_DELETE;

FileDescriptor OpenForAppend(const std::string& path, bool& created)
{
    constexpr int flags = O_WRONLY | O_APPEND | O_CREAT | O_CLOEXEC;
    FileDescriptor file(open(path.c_str(), flags | O_EXCL, 0666));
    created = static_cast<bool>(file);
    if (!file && errno == EEXIST)
        return FileDescriptor(open(path.c_str(), flags, 0666));
    return file;
}

DWORD Low(std::uint64_t value)
{
    return static_cast<DWORD>(value & 0xFFFFFFFF);
}

DWORD High(std::uint64_t value)
{
    return static_cast<DWORD>(value >> 32);
}

bool Status(HANDLE handle, struct stat& status)
{
    const FileHandle* const file = FromHandle<FileHandle>(handle);
    if (!file)
        return Fail(ERROR_INVALID_HANDLE, false);
    return fstat(file->Descriptor(), &status) == 0 || Fail(ErrorFromErrno(errno), false);
}

// Unlike an inode's number, which is given out again as soon as it is free, it names one file only.
std::uint64_t FileIndex(HANDLE file, const struct stat& status)
{
    struct statx birth
    {};
    const int descriptor = FromHandle<FileHandle>(file)->Descriptor();
    if (statx(descriptor, "", AT_EMPTY_PATH, STATX_BTIME, &birth) != 0)
        return status.st_ino;
    const auto seconds = static_cast<std::uint64_t>(birth.stx_btime.tv_sec);
    return status.st_ino ^ ((seconds * 1'000'000'000 + birth.stx_btime.tv_nsec) << 8);
}

} // namespace

FileDescriptor::~FileDescriptor()
{
    if (m_descriptor >= 0)
        close(m_descriptor);
}

HANDLE CreateFileW(LPCWSTR path, DWORD access, DWORD shareMode, SECURITY_ATTRIBUTES* security, DWORD disposition,
                   DWORD flagsAndAttributes, HANDLE templateFile)
try {
    if (access != FILE_APPEND_DATA || (shareMode != 0 && shareMode != shareWithAll) || security ||
        disposition != OPEN_ALWAYS || flagsAndAttributes != FILE_ATTRIBUTE_NORMAL || templateFile)
        return Fail(ERROR_NOT_SUPPORTED, INVALID_HANDLE_VALUE);
    if (!path)
        return Fail(ERROR_PATH_NOT_FOUND, INVALID_HANDLE_VALUE);
    const std::string native = ToNativePath(path);
    bool created = false;
    FileDescriptor file = OpenForAppend(native, created);
    if (!file)
        return Fail(ErrorFromErrno(errno, native), INVALID_HANDLE_VALUE);
    if (flock(file.Get(), (shareMode == 0 ? LOCK_EX : LOCK_SH) | LOCK_NB) != 0)
        return Fail(ErrorFromErrno(errno), INVALID_HANDLE_VALUE);
    HANDLE handle = MakeHandle<FileHandle>(std::move(file));
    SetLastError(created ? ERROR_SUCCESS : ERROR_ALREADY_EXISTS);
    return handle;
} catch (...) {
    return Fail(ExceptionCode(), INVALID_HANDLE_VALUE);
}

BOOL WriteFile(HANDLE handle, LPCVOID data, DWORD size, DWORD* written, OVERLAPPED* overlapped)
{
    if (overlapped)
        return Fail(ERROR_NOT_SUPPORTED);
    if (!written || (!data && size != 0))
        return Fail(ERROR_INVALID_PARAMETER);
    *written = 0;
    const FileHandle* const file = FromHandle<FileHandle>(handle);
    if (!file)
        return Fail(ERROR_INVALID_HANDLE);
    while (*written < size) {
        const ssize_t count = write(file->Descriptor(), static_cast<const char*>(data) + *written, size - *written);
        if (count >= 0)
            *written += static_cast<DWORD>(count);
        else if (errno != EINTR)
            return Fail(ErrorFromErrno(errno));
    }
    return TRUE;
}

BOOL CloseHandle(HANDLE handle)
{
    const std::unique_ptr<HandleObject> object(FromHandle<HandleObject>(handle));
    return object ? TRUE : Fail(ERROR_INVALID_HANDLE);
}

BOOL DuplicateHandle(HANDLE sourceProcess, HANDLE source, HANDLE targetProcess, HANDLE* target, DWORD /*access*/,
                     BOOL inherit, DWORD options)
try {
    if (inherit || options != DUPLICATE_SAME_ACCESS || sourceProcess != GetCurrentProcess() ||
        targetProcess != GetCurrentProcess())
        return Fail(ERROR_NOT_SUPPORTED);
    if (!target)
        return Fail(ERROR_INVALID_PARAMETER);
    const FileHandle* const file = FromHandle<FileHandle>(source);
    if (!file)
        return Fail(ERROR_INVALID_HANDLE);
    FileDescriptor duplicate(fcntl(file->Descriptor(), F_DUPFD_CLOEXEC, 0));
    if (!duplicate)
        return Fail(ErrorFromErrno(errno));
    *target = MakeHandle<FileHandle>(std::move(duplicate));
    return TRUE;
} catch (...) {
    return Fail(ExceptionCode());
}

BOOL GetFileSizeEx(HANDLE file, LARGE_INTEGER* size)
{
    struct stat status;
    if (!size)
        return Fail(ERROR_INVALID_PARAMETER);
    if (!Status(file, status))
        return FALSE;
    size->QuadPart = status.st_size;
    return TRUE;
}

BOOL GetFileInformationByHandle(HANDLE file, BY_HANDLE_FILE_INFORMATION* information)
{
    struct stat status;
    if (!information)
        return Fail(ERROR_INVALID_PARAMETER);
    if (!Status(file, status))
        return FALSE;
    const std::uint64_t index = FileIndex(file, status);
    // A creation time of 0 says that the file system does not keep it.
    *information = {FILE_ATTRIBUTE_NORMAL,
                    FILETIME{},
                    ToFileTime(status.st_atim),
                    ToFileTime(status.st_mtim),
                    Low(status.st_dev) ^ High(status.st_dev),
                    High(static_cast<std::uint64_t>(status.st_size)),
                    Low(static_cast<std::uint64_t>(status.st_size)),
                    static_cast<DWORD>(status.st_nlink),
                    High(index),
                    Low(index)};
    return TRUE;
}

BOOL CreateDirectoryW(LPCWSTR path, SECURITY_ATTRIBUTES* security)
try {
    if (security)
        return Fail(ERROR_NOT_SUPPORTED);
    const std::string native = path ? ToNativePath(path) : std::string();
    return mkdir(native.c_str(), 0777) == 0 ? TRUE : Fail(ErrorFromErrno(errno));
} catch (...) {
    return Fail(ExceptionCode());
}
