// The values of which site files are made, once their shape has been checked. Throws InputError for what does not fit
// to the rest of the site.
#pragma once

#include "Host/Components/AccessInfoSource.h"
#include "Host/Components/NodeAccess.h"
#include "Host/Components/PermissionsChecker.h"
#include "Host/Program/AccountBook.h"

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

inline std::wstring TextOf(const JsonCursor& json)
{
    return json.Text();
}
std::vector<Attribute> ReadAttributes(const JsonCursor& json);
NodeDescription ReadNode(const JsonCursor& json);
AccessItem ReadAccessItem(const JsonCursor& json);
// The SID of an account of the site, or of any other that is given by its SID.
std::wstring ReadSid(const JsonCursor& json, const AccountBook& accounts);
Grant ReadGrant(const JsonCursor& json, const AccountBook& accounts);

} // namespace Host
