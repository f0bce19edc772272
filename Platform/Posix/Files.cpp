#include "Platform/Files.h"

#include "Platform/Posix/NativePath.h"
#include "Platform/Posix/WriteWithoutSignal.h"

#include <algorithm>
#include <cerrno>
#include <fcntl.h>
#include <filesystem>
#include <iterator>
#include <sys/file.h>
#include <sys/stat.h>
#include <unistd.h>

namespace Platform
{

namespace
{

// Logs hold what is not for everybody.
constexpr mode_t fileForOwnerAndGroup = 0640;
constexpr mode_t folderForOwnerAndGroup = 0750;

// The failure of the last system call, which was about `path`.
HRESULT FromErrno(const std::filesystem::path& path = {})
{
    static constexpr std::pair<int, DWORD> codes[] = {
        {ENOENT, ERROR_FILE_NOT_FOUND},
        {ENOTDIR, ERROR_PATH_NOT_FOUND},
        {EACCES, ERROR_ACCESS_DENIED},
        {EPERM, ERROR_ACCESS_DENIED},
        {EISDIR, ERROR_ACCESS_DENIED},
        {EROFS, ERROR_ACCESS_DENIED},
        {EMFILE, ERROR_TOO_MANY_OPEN_FILES},
        {ENFILE, ERROR_TOO_MANY_OPEN_FILES},
        {ENOMEM, ERROR_NOT_ENOUGH_MEMORY},
        {EWOULDBLOCK, ERROR_SHARING_VIOLATION},
        {EEXIST, ERROR_ALREADY_EXISTS},
        {ENOSPC, ERROR_DISK_FULL},
        {EDQUOT, ERROR_DISK_FULL},
        {EFBIG, ERROR_FILE_TOO_LARGE},
        {EPIPE, ERROR_NO_DATA},
        {ENAMETOOLONG, ERROR_FILENAME_EXCED_RANGE},
    };
    const auto* const known = std::find_if(std::begin(codes), std::end(codes),
                                           [error = errno](const auto& code) { return code.first == error; });
    DWORD code = known == std::end(codes) ? ERROR_GEN_FAILURE : known->second;
    std::error_code ignored;
    if (code == ERROR_FILE_NOT_FOUND && !std::filesystem::is_directory(path.parent_path(), ignored))
        code = ERROR_PATH_NOT_FOUND;
    return HResultFromWin32(code);
}

// Cuts off what a failed write has left at the end of a file, unless somebody else has appended behind it.
void TakeBack(int descriptor, off_t start, std::size_t written)
{
    struct stat status;
    if (fstat(descriptor, &status) == 0 && S_ISREG(status.st_mode) &&
        status.st_size == start + static_cast<off_t>(written))
        static_cast<void>(ftruncate(descriptor, start) == 0);
}

// Unlike an inode's number, which is given out again as soon as it is free, it names one file only.
std::uint64_t FileIndex(int descriptor, const struct stat& status)
{
    struct statx birth
    {};
    if (statx(descriptor, "", AT_EMPTY_PATH, STATX_BTIME, &birth) != 0)
        return status.st_ino;
    const auto seconds = static_cast<std::uint64_t>(birth.stx_btime.tv_sec);
    return status.st_ino ^ ((seconds * 1'000'000'000 + birth.stx_btime.tv_nsec) << 8);
}

} // namespace

AppendFile::~AppendFile()
{
    if (*this)
        close(static_cast<int>(m_handle));
}

HRESULT AppendFile::Open(const std::wstring& path, AppendFile& file)
{
    const std::string native = ToNativePath(path);
    AppendFile opened;
    file = AppendFile();
    opened.m_handle = open(native.c_str(), O_WRONLY | O_APPEND | O_CREAT | O_CLOEXEC, fileForOwnerAndGroup);
    // A process that has the file for itself has locked it.
    if (!opened || flock(static_cast<int>(opened.m_handle), LOCK_SH | LOCK_NB) != 0)
        return FromErrno(native);
    file = std::move(opened);
    return S_OK;
}

HRESULT AppendFile::Duplicate(AppendFile& duplicate) const
{
    AppendFile made;
    made.m_handle = fcntl(static_cast<int>(m_handle), F_DUPFD_CLOEXEC, 0);
    const HRESULT hr = made ? S_OK : FromErrno();
    duplicate = std::move(made);
    return hr;
}

HRESULT AppendFile::Write(std::string_view bytes) const
{
    const int descriptor = static_cast<int>(m_handle);
    off_t start = 0;
    for (std::size_t written = 0; written < bytes.size();) {
        const ssize_t count = WriteWithoutSignal(descriptor, bytes.data() + written, bytes.size() - written);
        if (count < 0) {
            const HRESULT failure = FromErrno();
            // Half a line might end within a character.
            if (written > 0)
                TakeBack(descriptor, start, written);
            return failure;
        }
        if (written == 0 && static_cast<std::size_t>(count) < bytes.size())
            start = lseek(descriptor, 0, SEEK_CUR) - count;
        written += static_cast<std::size_t>(count);
    }
    return S_OK;
}

HRESULT AppendFile::GetSize(std::uint64_t& bytes) const
{
    struct stat status;
    if (fstat(static_cast<int>(m_handle), &status) != 0)
        return FromErrno();
    bytes = static_cast<std::uint64_t>(status.st_size);
    return S_OK;
}

HRESULT AppendFile::GetIdentity(FileIdentity& identity) const
{
    struct stat status;
    if (fstat(static_cast<int>(m_handle), &status) != 0)
        return FromErrno();
    const std::uint64_t index = FileIndex(static_cast<int>(m_handle), status);
    identity = {static_cast<std::uint32_t>(status.st_dev), static_cast<std::uint32_t>(index >> 32),
                static_cast<std::uint32_t>(index)};
    return S_OK;
}

HRESULT CreateFolder(const std::wstring& path)
{
    const std::string native = ToNativePath(path);
    return mkdir(native.c_str(), folderForOwnerAndGroup) == 0 ? S_OK : FromErrno(native);
}

HRESULT JoinPath(const std::wstring& directory, const std::wstring& relative, std::wstring& path)
{
    constexpr std::size_t limit = 260;
    // The limit counts before dots are resolved.
    const std::wstring joined = directory + (directory.ends_with(L'\\') ? L"" : L"\\") + relative;
    if (joined.size() >= limit)
        return HResultFromWin32(ERROR_FILENAME_EXCED_RANGE);
    path = FromNativePath(std::filesystem::path(ToNativePath(joined)).lexically_normal().native());
    return S_OK;
}

} // namespace Platform
