// The values of which site files are made, once their shape has been checked. Throws InputError for what does not fit
// to the rest of the site.
#pragma once

#include "Host/Program/JsonCursor.h"
#include "Host/Program/Site.h"
#include "Platform/Posix/AccountDirectory.h"

#include <set>

namespace Host
{

template <class Read>
auto ReadArray(const JsonCursor& array, const Read& read)
{
    std::vector<decltype(read(array))> things;
    for (const JsonCursor& item : array.Items())
        things.push_back(read(item));
    return things;
}

// Reads an array of things with names that differ.
template <class Read>
auto ReadNamed(const JsonCursor& array, const Read& read)
{
    std::set<std::wstring> names;
    return ReadArray(array, [&](const JsonCursor& item) {
        auto thing = read(item);
        if (!names.insert(thing.name).second)
            item["name"].Fail("a name that is not taken");
        return thing;
    });
}

// The accounts of a site: those that the reference host's computer knows beside the well-known ones, as lines of an
// accounts file (Platform/Posix/AccountDirectory.h). Names of accounts are DOMAIN\name; the domain "." is the
// computer's own.
class AccountBook
{
public:
    explicit AccountBook(const JsonCursor& lines);

    // The SID of the account with this name, or the text itself when it is a SID.
    std::wstring SidOf(const JsonCursor& nameOrSid) const;
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
        std::wstring Text() const { return keyword + L' ' + name + L" = " + value; }

        std::wstring keyword;
        std::wstring name;
        std::wstring value;
    };

    bool IsAbout(const std::wstring& name, const Account& of) const { return m_directory.FindByName(name) == &of; }
    const Account& Find(const JsonCursor& name) const;
    bool Load();

    std::vector<Line> m_lines;
    AccountDirectory m_directory; // of the lines
};

std::vector<Attribute> ReadAttributes(const JsonCursor& json);
NodeDescription ReadNode(const JsonCursor& json);
AccessItem ReadAccessItem(const JsonCursor& json);
Grant ReadGrant(const JsonCursor& json, const AccountBook& accounts);

// The events in their order, each of which finds what it is about when its turn comes. `site` is complete otherwise.
std::vector<Event> ReadTimeline(const JsonCursor& timeline, const Site& site, AccountBook accounts);

} // namespace Host
