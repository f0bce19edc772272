#include "Platform/Posix/CurrentAccounts.h"

#include "Platform/Network.h"
#include "Platform/Posix/Failure.h"
#include "Platform/Posix/NativePath.h"
#include "Platform/Posix/TextFile.h"
#include "Platform/Settings.h"

#include <filesystem>
#include <mutex>

namespace
{

constexpr wchar_t defaultComputerSid[] = L"S-1-5-21-0-0-0";
constexpr wchar_t blanks[] = L" \t";

std::wstring ComputerName()
{
    std::wstring name;
    Platform::GetLocalComputerName(name);
    return name;
}

bool AddComputer(AccountDirectory& directory, std::wstring_view name, std::wstring_view value)
{
    SidBytes sid;
    const std::wstring computer = ComputerName();
    return ReadSidText(value, sid) && directory.AddComputer(name.empty() ? computer : name, sid, computer);
}

bool AddDomain(AccountDirectory& directory, std::wstring_view name, std::wstring_view value)
{
    SidBytes sid;
    const std::wstring_view sidText = value.substr(0, value.find_first_of(blanks));
    return ReadSidText(sidText, sid) && directory.AddDomain(name, sid, Trim(value.substr(sidText.size())));
}

template <Platform::AccountType type>
bool AddAccount(AccountDirectory& directory, std::wstring_view name, std::wstring_view value)
{
    std::uint64_t relativeId = 0;
    return TakeNumber(value, 1ULL << 32, relativeId) && value.empty() && relativeId < 1ULL << 32 &&
           directory.AddAccount(name, static_cast<std::uint32_t>(relativeId), type);
}

bool AddMember(AccountDirectory& directory, std::wstring_view name, std::wstring_view value)
{
    return directory.AddMember(name, value);
}

bool SetType(AccountDirectory& directory, std::wstring_view name, std::wstring_view value)
{
    static constexpr std::wstring_view types[] = {L"user",    L"group",   L"domain",  L"alias",   L"wellknown",
                                                  L"deleted", L"invalid", L"unknown", L"computer"};
    const auto* const type = std::find(std::begin(types), std::end(types), value);
    return type != std::end(types) && directory.SetType(name, static_cast<Platform::AccountType>(type - types + 1));
}

struct Entry
{
    std::wstring_view keyword;
    bool (*add)(AccountDirectory& directory, std::wstring_view name, std::wstring_view value);
    const wchar_t* expected;
};

constexpr Entry entries[] = {
    {L"computer", &AddComputer, L"\"computer = S-1-5-21-1-2-3\" as the first entry"},
    {L"domain", &AddDomain, L"\"domain NAME = S-1-5-21-1-2-3 dns.name\" with a new domain"},
    {L"user", &AddAccount<Platform::AccountType::User>,
     L"\"user DOMAIN\\name = 1105\" with a domain from above and a new account"},
    {L"group", &AddAccount<Platform::AccountType::Group>,
     L"\"group DOMAIN\\name = 1105\" with a domain from above and a new account"},
    {L"alias", &AddAccount<Platform::AccountType::Alias>,
     L"\"alias DOMAIN\\name = 1105\" with a domain from above and a new account"},
    {L"member", &AddMember, L"\"member DOMAIN\\group = DOMAIN\\account\" with a group and an account from above"},
    {L"type", &SetType,
     L"\"type DOMAIN\\account = user\" with an account from above; other types are group, domain, "
     L"alias, wellknown, deleted, invalid, unknown and computer"},
};

// Returns what is wrong with the line; null: nothing.
const wchar_t* AddLine(AccountDirectory& directory, std::wstring_view line)
{
    const std::wstring_view keyword = line.substr(0, line.find_first_of(L" \t="));
    const auto* const entry = std::find_if(std::begin(entries), std::end(entries),
                                           [&](const Entry& candidate) { return candidate.keyword == keyword; });
    if (entry == std::end(entries))
        return L"an entry that begins with computer, domain, user, group, alias, member or type";
    if (entry->add != &AddComputer && !directory.HasComputer())
        AddComputer(directory, {}, defaultComputerSid);
    const std::size_t separator = line.find(L'=');
    if (separator == line.npos)
        return entry->expected;
    const std::wstring_view name = Trim(line.substr(keyword.size(), separator - keyword.size()));
    return entry->add(directory, name, Trim(line.substr(separator + 1))) ? nullptr : entry->expected;
}

bool AddLines(AccountDirectory& directory, const std::string& path, std::wstring_view content)
{
    for (unsigned number = 1; !content.empty(); ++number) {
        const std::wstring_view line = Trim(TakeLine(content));
        const wchar_t* const expected = line.empty() || line.starts_with(L'#') ? nullptr : AddLine(directory, line);
        if (expected) {
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
    if (!directory->HasComputer())
        AddComputer(*directory, {}, defaultComputerSid);
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
