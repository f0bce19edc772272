#include "Platform/Posix/CurrentAccounts.h"

#include "Platform/Posix/AccountLines.h"
#include "Platform/Posix/Failure.h"
#include "Platform/Posix/NativePath.h"
#include "Platform/Posix/TextFile.h"
#include "Platform/Settings.h"

#include <filesystem>
#include <mutex>

namespace
{

bool AddLines(AccountDirectory& directory, const std::string& path, std::wstring_view content)
{
    for (unsigned number = 1; !content.empty(); ++number) {
        if (const wchar_t* const expected = AddAccountLine(directory, TakeLine(content))) {
            ReportMalformed(path, number, expected);
            return false;
        }
    }
    return true;
}

std::shared_ptr<const AccountDirectory> Load(const std::string& path)
{
    std::wstring content;
    auto directory = std::make_shared<AccountDirectory>();
    if (ReadTextFile(path, content) == ERROR_SUCCESS && !AddLines(*directory, path, content))
        directory = std::make_shared<AccountDirectory>();
    AddMissingComputer(*directory);
    return directory;
}

struct FileState
{
    std::string path;
    std::filesystem::file_time_type time;
    std::uintmax_t size;

    bool operator==(const FileState&) const = default;
};

// A missing file also has a state.
FileState StateOf(const std::string& path)
{
    std::error_code ignored;
    const std::filesystem::path file(std::u8string(path.begin(), path.end()));
    return {path, std::filesystem::last_write_time(file, ignored), std::filesystem::file_size(file, ignored)};
}

} // namespace

std::shared_ptr<const AccountDirectory> CurrentAccounts()
{
    static std::mutex lock; // guards the rest
    static FileState state;
    static std::shared_ptr<const AccountDirectory> directory;
    const std::lock_guard guard(lock);
    FileState now = StateOf(ToNativePath(Platform::EnvironmentVariable(L"KESTRINE_ACCOUNTS_FILE").value_or(L"")));
    if (!directory || state != now) {
        directory = Load(now.path);
        state = std::move(now);
    }
    return directory;
}
