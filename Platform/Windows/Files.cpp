#include "Platform/Files.h"

#include "Platform/Windows/LastError.h"

#include <shlwapi.h>

namespace Platform
{

namespace
{

HANDLE AsHandle(std::intptr_t value)
{
    return reinterpret_cast<HANDLE>(value);
}

} // namespace

AppendFile::~AppendFile()
{
    if (*this)
        CloseHandle(AsHandle(m_handle));
}

HRESULT AppendFile::Open(const std::wstring& path, AppendFile& file)
{
    constexpr DWORD shareWithAll = FILE_SHARE_READ | FILE_SHARE_WRITE | FILE_SHARE_DELETE;
    AppendFile opened;
    opened.m_handle = reinterpret_cast<std::intptr_t>(CreateFileW(path.c_str(), FILE_APPEND_DATA, shareWithAll, nullptr,
                                                                  OPEN_ALWAYS, FILE_ATTRIBUTE_NORMAL, nullptr));
    const HRESULT hr = ResultOf(static_cast<bool>(opened));
    file = std::move(opened);
    return hr;
}

HRESULT AppendFile::Duplicate(AppendFile& duplicate) const
{
    duplicate = AppendFile();
    HANDLE made = AsHandle(None);
    const HRESULT hr = ResultOf(DuplicateHandle(GetCurrentProcess(), AsHandle(m_handle), GetCurrentProcess(), &made, 0,
                                                FALSE, DUPLICATE_SAME_ACCESS));
    duplicate.m_handle = reinterpret_cast<std::intptr_t>(made);
    return hr;
}

HRESULT AppendFile::Write(std::string_view bytes) const
{
    DWORD written = 0;
    return ResultOf(WriteFile(AsHandle(m_handle), bytes.data(), static_cast<DWORD>(bytes.size()), &written, nullptr));
}

HRESULT AppendFile::GetInfo(FileInfo& info) const
{
    BY_HANDLE_FILE_INFORMATION read{};
    const HRESULT hr = ResultOf(GetFileInformationByHandle(AsHandle(m_handle), &read));
    info = {std::uint64_t{read.nFileSizeHigh} << 32 | read.nFileSizeLow,
            {read.dwVolumeSerialNumber, read.nFileIndexHigh, read.nFileIndexLow}};
    return hr;
}

HRESULT CreateFolder(const std::wstring& path)
{
    return ResultOf(CreateDirectoryW(path.c_str(), nullptr));
}

HRESULT JoinPath(const std::wstring& directory, const std::wstring& relative, std::wstring& path)
{
    wchar_t joined[MAX_PATH];
    if (!PathCombineW(joined, directory.c_str(), relative.c_str()))
        return HResultFromWin32(ERROR_FILENAME_EXCED_RANGE);
    path = joined;
    return S_OK;
}

} // namespace Platform
