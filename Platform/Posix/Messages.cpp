// Message modules are text files here: UTF-8 (or UTF-16LE with its byte-order mark), every line blank, a comment or a
// message, of which there has to be one:
//
//     # comment
//     0x80040201 The report could not be read.
#include "Platform/Modules.h"
#include "Platform/Posix/NativePath.h"
#include "Platform/Posix/TextFile.h"

#include <cwchar>
#include <map>

namespace Platform
{

namespace
{

using Messages = std::map<std::uint32_t, std::wstring>;

// The texts of Windows for the codes that the ports and the module name.
const Messages systemMessages{
    {0, L"The operation completed successfully"},
    {ERROR_FILE_NOT_FOUND, L"The system cannot find the file specified"},
    {ERROR_PATH_NOT_FOUND, L"The system cannot find the path specified"},
    {ERROR_TOO_MANY_OPEN_FILES, L"The system cannot open the file"},
    {ERROR_ACCESS_DENIED, L"Access is denied"},
    {6, L"The handle is invalid"},
    {ERROR_NOT_ENOUGH_MEMORY, L"Not enough memory resources are available to process this command"},
    {14, L"Not enough memory resources are available to complete this operation"},
    {ERROR_GEN_FAILURE, L"A device attached to the system is not functioning"},
    {ERROR_SHARING_VIOLATION, L"The process cannot access the file because it is being used by another process"},
    {87, L"The parameter is incorrect"},
    {ERROR_DISK_FULL, L"There is not enough space on the disk"},
    {ERROR_INSUFFICIENT_BUFFER, L"The data area passed to a system call is too small"},
    {ERROR_MOD_NOT_FOUND, L"The specified module could not be found"},
    {ERROR_ALREADY_EXISTS, L"Cannot create a file when that file already exists"},
    {ERROR_BAD_EXE_FORMAT, L"%1 is not a valid Win32 application"},
    {203, L"The system could not find the environment option that was entered"},
    {ERROR_FILENAME_EXCED_RANGE, L"The filename or extension is too long"},
    {ERROR_FILE_TOO_LARGE, L"The file size exceeds the limit allowed and cannot be saved"},
    {ERROR_NO_DATA, L"The pipe is being closed"},
    {ERROR_ARITHMETIC_OVERFLOW, L"Arithmetic result exceeded 32 bits"},
    {ERROR_NOT_FOUND, L"Element not found"},
    {1223, L"The operation was canceled by the user"},
    {ERROR_NON_DOMAIN_SID, L"The security identifier provided does not have a domain component"},
    {ERROR_NONE_MAPPED, L"No mapping between account names and security IDs was done"},
    {ERROR_INVALID_SID, L"The security ID structure is invalid"},
    {1460, L"This operation returned because the timeout period expired"},
    {RPC_S_SERVER_UNAVAILABLE, L"The RPC server is unavailable"},
    {ERROR_INVALID_DATATYPE, L"The specified datatype is invalid"},
    {ERROR_INVALID_STATE, L"The group or resource is not in the correct state to perform the requested operation"},
    {WSAHOST_NOT_FOUND, L"No such host is known"},
    {WSATRY_AGAIN, L"This is usually a temporary error during hostname resolution and means that the local server did "
                   L"not receive a response from an authoritative server"},
    {WSANO_RECOVERY, L"A non-recoverable error occurred during a database lookup"},
    {0x80004001, L"Not implemented"},
    {0x80004002, L"No such interface supported"},
    {0x80004003, L"Invalid pointer"},
    {0x80004004, L"Operation aborted"},
    {0x80004005, L"Unspecified error"},
    {0x8000FFFF, L"Catastrophic failure"},
    {0x80040154, L"Class not registered"},
};

std::optional<std::wstring> FindIn(const Messages& messages, std::uint32_t id, const wchar_t* end)
{
    const auto found = messages.find(id);
    return found == messages.end() ? std::nullopt : std::optional(found->second + end);
}

} // namespace

HRESULT MessageModule::Load(const std::wstring& path, MessageModule& module)
{
    Messages messages;
    const bool read = ReadEntries(path, [&messages](std::wstring_view line) {
        wchar_t* end = nullptr;
        const std::wstring message(line);
        const auto id = static_cast<std::uint32_t>(std::wcstoul(message.c_str(), &end, 16));
        if (!message.starts_with(L"0x") || *end != L' ')
            return L"a message like \"0x80040201 Text\"";
        messages[id] = end + 1;
        return static_cast<const wchar_t*>(nullptr);
    });
    if (!read || messages.empty())
        return HResultFromWin32(std::filesystem::exists(ToNativePath(path)) ? ERROR_BAD_EXE_FORMAT
                                                                            : ERROR_FILE_NOT_FOUND);
    module.m_content = std::make_shared<Messages>(std::move(messages));
    return S_OK;
}

// Texts of message compilers end with a line break.
std::optional<std::wstring> MessageModule::Find(std::uint32_t id) const
{
    return FindIn(*static_cast<const Messages*>(m_content.get()), id, L"\r\n");
}

// Codes that wrap an error of Win32 have its text.
std::optional<std::wstring> FindSystemMessage(std::uint32_t id)
{
    return FindIn(systemMessages, (id & 0xFFFF0000) == 0x80070000 ? id & 0xFFFF : id, L".\r\n");
}

} // namespace Platform
