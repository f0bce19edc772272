// The accounts of a site: those that the reference host's computer knows beside the well-known ones.
#pragma once

#include "Host/Program/JsonCursor.h"
#include "Platform/Posix/AccountDirectory.h"

namespace Host
{

// Lines of an accounts file (Platform/Posix/AccountDirectory.h). Names of accounts are DOMAIN\name; the domain "." is
// the computer's own.
class AccountBook
{
public:
    // Throws InputError for a line that cannot be used.
    explicit AccountBook(const JsonCursor& lines);

    // The SID of the account with this name, or the text itself when it is a SID; nullopt when it is neither.
    std::optional<std::wstring> SidOf(const std::wstring& nameOrSid) const;
    // A known account's name as the computer says it; another name as it is.
    std::wstring FullName(const std::wstring& name) const;

    // Throw InputError when the lines have no account `name`, or when it cannot be called `newName`.
    void Remove(const JsonCursor& name);
    void Rename(const JsonCursor& name, const JsonCursor& newName);

    // The content of the file that the environment variable KESTRINE_ACCOUNTS_FILE names.
    std::string FileText() const;

private:
    struct Line
    {
        std::wstring keyword;
        std::wstring name;
        std::wstring value;

        std::wstring Text() const { return keyword + L' ' + name + L" = " + value; }
    };

    bool IsAbout(const std::wstring& name, const Account& account) const;
    const Account& Find(const JsonCursor& name) const;
    bool Load();

    std::vector<Line> m_lines;
    AccountDirectory m_directory; // of the lines
};

} // namespace Host
