#include "Platform/Files.h"

#include "Platform/Posix/NativePath.h"
#include "Platform/Posix/WriteWithoutSignal.h"

#include <fcntl.h>
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

} // namespace

AppendFile::~AppendFile()
{
    if (*this)
        close(static_cast<int>(m_handle));
}

HRESULT AppendFile::Open(const std::wstring& path, AppendFile& file)
{
    const std::filesystem::path native = ToNativePath(path);
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
        const ssize_t count = WriteWithoutSignal(descriptor, bytes.substr(written));
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

HRESULT AppendFile::GetInfo(FileInfo& info) const
{
    struct statx status
    {};
    if (statx(static_cast<int>(m_handle), "", AT_EMPTY_PATH, STATX_BASIC_STATS | STATX_BTIME, &status) != 0)
        return FromErrno();
    // An inode's number is given out again as soon as it is free; with the time of birth it names one file only.
    const std::uint64_t birth =
        static_cast<std::uint64_t>(status.stx_btime.tv_sec) * 1'000'000'000 + status.stx_btime.tv_nsec;
    const std::uint64_t index = status.stx_ino ^ (birth << 8);
    info.size = status.stx_size;
    info.identity = {status.stx_dev_major << 20 | status.stx_dev_minor, static_cast<std::uint32_t>(index >> 32),
                     static_cast<std::uint32_t>(index)};
    return S_OK;
}

HRESULT CreateFolder(const std::wstring& path)
{
    const std::filesystem::path native = ToNativePath(path);
    return mkdir(native.c_str(), folderForOwnerAndGroup) == 0 ? S_OK : FromErrno(native);
}

HRESULT JoinPath(const std::wstring& directory, const std::wstring& relative, std::wstring& path)
{
    constexpr std::size_t limit = 260;
    // The limit counts before dots are resolved.
    const std::wstring joined = directory + (directory.ends_with(L'\\') ? L"" : L"\\") + relative;
    if (joined.size() >= limit)
        return HResultFromWin32(ERROR_FILENAME_EXCED_RANGE);
    path = FromNativePath(ToNativePath(joined).lexically_normal().native());
    return S_OK;
}

} // namespace Platform
