#include "Platform/Files.h"

#include "Platform/Posix/Failure.h"
#include "Platform/Posix/NativePath.h"
#include "Platform/Posix/WriteWithoutSignal.h"

#include <algorithm>
#include <cerrno>
#include <fcntl.h>
#include <sys/file.h>
#include <sys/stat.h>
#include <unistd.h>
#include <utility>
#include <vector>

namespace Platform
{

namespace
{

// Logs hold what is not for everybody.
constexpr mode_t fileForOwnerAndGroup = 0640;
constexpr mode_t folderForOwnerAndGroup = 0750;

HRESULT FromErrno(const std::string& path = {})
{
    return HResultFromWin32(ErrorFromErrno(errno, path));
}

std::uint32_t Low(std::uint64_t value)
{
    return static_cast<std::uint32_t>(value & 0xFFFFFFFF);
}

std::uint32_t High(std::uint64_t value)
{
    return static_cast<std::uint32_t>(value >> 32);
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

bool IsUnc(std::wstring_view path)
{
    return path.starts_with(L"\\\\");
}

// "C:\", "C:", "\\server\share" or "\", as far as the path has it.
std::wstring_view Root(std::wstring_view path)
{
    if (IsUnc(path)) {
        const std::size_t server = path.find(L'\\', 2);
        return server == path.npos ? path : path.substr(0, path.find(L'\\', server + 1));
    }
    const std::size_t drive = path.size() > 1 && path[1] == L':' ? 2 : 0;
    return path.substr(0, drive + (path.substr(drive).starts_with(L'\\') ? 1 : 0));
}

// Resolves "." and "..". Going back over the first folder of a relative path leaves a rooted one, and a ".." in front
// of it stays.
std::wstring Canonical(std::wstring_view path)
{
    std::wstring text(Root(path));
    const bool unc = IsUnc(path);
    std::vector<std::wstring_view> components;
    for (std::size_t begin = text.size() + (unc ? 1 : 0), end = text.size(); end < path.size(); begin = end + 1) {
        end = std::min(path.find(L'\\', begin), path.size());
        const std::wstring_view component = path.substr(begin, end - begin);
        if (component == L".." && !components.empty()) {
            components.pop_back();
            if (components.empty() && text.empty())
                text = L"\\";
        } else if (component != L"." && (component != L".." || text.empty())) {
            components.push_back(component);
        }
    }
    for (std::size_t i = 0; i < components.size(); ++i)
        text.append(i == 0 && !unc ? L"" : L"\\").append(components[i]);
    if (text.empty() || (text.size() == 2 && text[1] == L':'))
        text += L'\\';
    return text;
}

} // namespace

AppendFile::AppendFile(AppendFile&& other) noexcept : m_handle(std::exchange(other.m_handle, None)) {}

AppendFile& AppendFile::operator=(AppendFile&& other) noexcept
{
    std::swap(m_handle, other.m_handle);
    return *this;
}

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
    identity = {Low(status.st_dev) ^ High(status.st_dev), High(index), Low(index)};
    return S_OK;
}

HRESULT CreateFolder(const std::wstring& path)
{
    return mkdir(ToNativePath(path).c_str(), folderForOwnerAndGroup) == 0 ? S_OK : FromErrno();
}

HRESULT JoinPath(const std::wstring& directory, const std::wstring& relative, std::wstring& path)
{
    constexpr std::size_t limit = 260;
    const bool separated = directory.empty() || relative.empty() || directory.ends_with(L'\\');
    const std::wstring joined = directory + (separated ? L"" : L"\\") + relative;
    // The limit counts before dots are resolved.
    if (joined.size() >= limit)
        return HResultFromWin32(ERROR_FILENAME_EXCED_RANGE);
    path = Canonical(joined);
    return S_OK;
}

} // namespace Platform
