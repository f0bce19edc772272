// The log's file, folders, path joining. Paths may use both kinds of slash. Natively files and folders are made for
// their owner and group.
#pragma once

#include "Platform/Types.h"

#include <array>
#include <cstdint>
#include <string>
#include <string_view>
#include <utility>

namespace Platform
{

// Tells a file from every other file on this computer, also from one that takes its place.
using FileIdentity = std::array<std::uint32_t, 3>;

struct FileInfo
{
    std::uint64_t size; // bytes
    FileIdentity identity;
};

// A file that is appended to. Others may read, write, move and delete it meanwhile. Writing is safe on any thread.
class AppendFile
{
public:
    AppendFile() = default;
    AppendFile(AppendFile&& other) noexcept : m_handle(std::exchange(other.m_handle, None)) {}
    AppendFile& operator=(AppendFile&& other) noexcept
    {
        std::swap(m_handle, other.m_handle);
        return *this;
    }
    ~AppendFile();

    // Opens the file, which is made when it is missing. A failure leaves `file` empty: 0x80070020 when somebody has the
    // file for himself.
    static HRESULT Open(const std::wstring& path, AppendFile& file);

    // One more handle of the same file.
    HRESULT Duplicate(AppendFile& duplicate) const;

    // Appends the bytes as a whole, whoever else appends. Natively a failing write raises no signal, and what was
    // written of the bytes is taken back, unless somebody has appended behind it.
    HRESULT Write(std::string_view bytes) const;

    HRESULT GetInfo(FileInfo& info) const;

    explicit operator bool() const { return m_handle != None; }

private:
    static constexpr std::intptr_t None = -1;

    std::intptr_t m_handle = None;
};

// Makes one folder; one that is there already is a failure, 0x800700B7.
HRESULT CreateFolder(const std::wstring& path);

// Stores `directory` with the relative path `relative` behind it, "." and ".." resolved, separated by backslashes.
// 0x800700CE when it is longer than 259 characters.
HRESULT JoinPath(const std::wstring& directory, const std::wstring& relative, std::wstring& path);

} // namespace Platform
