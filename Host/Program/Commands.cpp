// The commands that need no module.
#include "Host/Program/Listing.h"
#include "Host/Program/Run.h"
#include "Host/Program/Site.h"
#include "Host/Support/PathText.h"

#include <nlohmann/json.hpp>

namespace Host
{

namespace
{

namespace fs = std::filesystem;
using Json = nlohmann::ordered_json;

// Values in the order of the keys; none is null in JSON and empty in CSV.
using Record = std::vector<std::optional<std::wstring>>;

// What `read` makes of a database file.
template <class Read>
auto ReadDatabase(const fs::path& database, const Read& read)
{
    CheckReadable(database);
    try {
        Sqlite::Connection connection(database, Sqlite::Access::ReadOnly);
        return read(connection);
    } catch (const Sqlite::Error& error) {
        throw InputError(Utf8PathText(database) +
                         ": cannot be read as a reporting database: " + Text::ToUtf8(error.text));
    }
}

std::wstring CsvLine(const Record& record)
{
    std::wstring line;
    for (const std::optional<std::wstring>& value : record) {
        std::wstring text = value.value_or(L"");
        if (text.find_first_of(L"\",\r\n") != text.npos) {
            for (std::size_t i = text.find(L'"'); i != text.npos; i = text.find(L'"', i + 2))
                text.insert(i, 1, L'"');
            text = L'"' + text + L'"';
        }
        line += (&value == &record.front() ? L"" : L",") + text;
    }
    return line;
}

// An array of objects, or a header line and a line for each record; `toRecord` makes one of a thing.
template <class Thing, class ToRecord>
void ShowRecords(Console& console, Format format, const Record& keys, const std::vector<Thing>& things,
                 const ToRecord& toRecord)
{
    if (format == Format::Csv) {
        console.Line(CsvLine(keys));
        for (const Thing& thing : things)
            console.Line(CsvLine(toRecord(thing)));
        return;
    }
    Json array = Json::array();
    for (const Thing& thing : things) {
        const Record record = toRecord(thing);
        Json& object = array.emplace_back();
        for (std::size_t i = 0; i < keys.size(); ++i)
            object[Text::ToUtf8(*keys[i])] = record[i] ? Json(Text::ToUtf8(*record[i])) : Json();
    }
    console.Line(Text::FromUtf8(array.dump(1)));
}

} // namespace

void CheckSite(const fs::path& file, Console& console)
{
    const Site site = LoadSite(file);
    console.Line(PathText(file) + L": ok (" + std::to_wstring(site.components.size()) + L" components, " +
                 std::to_wstring(site.timeline.size()) + L" events)");
}

void PrintTable(const fs::path& database, Format format, Console& console)
{
    const std::vector<AccessRight> rights = ReadDatabase(database, &ReadAccessRights);
    if (format == Format::Text)
        return ShowRows(console, AccessRightRows(rights, {}));
    ShowRecords(console, format, {L"account", L"object"}, rights, [](const AccessRight& right) {
        return Record{right.loginName, right.managedObjectUId};
    });
}

void PrintRoles(const fs::path& database, Format format, Console& console)
{
    const std::vector<ReportServerRole> roles = ReadDatabase(database, &ReadReportServerRoles);
    if (format == Format::Text)
        return ShowRows(console, RoleRows(roles, true));
    ShowRecords(console, format, {L"account", L"role", L"reportServer", L"grantedAt"}, roles,
                [](const ReportServerRole& role) {
                    return Record{role.account, role.role, role.reportServer, role.grantedAt};
                });
}

} // namespace Host
