// The commands that need no module.
#include "Host/Program/Files.h"
#include "Host/Program/Run.h"
#include "Host/Program/Site.h"
#include "Host/Support/PathText.h"
#include "Platform/Text.h"

namespace Host
{

namespace
{

namespace fs = std::filesystem;

// What `read` makes of a database file.
template <class Read>
auto ReadDatabase(const fs::path& database, const Read& read)
{
    CheckReadable(database);
    try {
        Sqlite::Connection connection(database, Sqlite::Access::ReadOnly);
        return read(connection);
    } catch (const Sqlite::Error& error) {
        throw InputError(Utf8PathText(database) + ": cannot be read as a reporting database: " + error.what());
    }
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
    std::vector<Record> records;
    for (const AccessRight& right : rights)
        records.push_back({right.loginName, right.managedObjectUId});
    ShowRecords(console, format, {"account", "object"}, records);
}

void PrintRoles(const fs::path& database, Format format, Console& console)
{
    const std::vector<ReportServerRole> roles = ReadDatabase(database, &ReadReportServerRoles);
    if (format == Format::Text)
        return ShowRows(console, RoleRows(roles, true));
    std::vector<Record> records;
    for (const ReportServerRole& role : roles)
        records.push_back({role.account, role.role, role.reportServer, role.grantedAt});
    ShowRecords(console, format, {"account", "role", "reportServer", "grantedAt"}, records);
}

void WriteGeneratedSite(const SiteSize& size, const fs::path& file, Console& console)
{
    ReplaceFile(file, GenerateSite(size).dump(1) + '\n');
    console.Line(PathText(file) + L": " + Count(size.accounts, L"account"));
}

} // namespace Host
