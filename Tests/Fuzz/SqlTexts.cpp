#include "Host/ReportingDatabase/SqlStatements.h"
#include "Host/Support/Failure.h"
#include "Subsystems/ManagementService/Kestrine/AccessRightsTableWriter.h"
#include "Tests/Fuzz/Fuzz.h"

namespace
{

// Reads what the module writes back into rows.
struct Reader final : IDatabaseConnection
{
    std::vector<Host::StagedRow> rows;

    ULONG AddRef() override { return 1; }
    ULONG Release() override { return 1; }
    HRESULT QueryInterface(REFIID, void**) override { return E_NOINTERFACE; }
    HRESULT Execute(const wchar_t* sql, std::int32_t, IKelNode**) override
    {
        const Host::SqlStatement statement = Host::ReadSqlStatement(sql);
        rows.insert(rows.end(), statement.rows.begin(), statement.rows.end());
        return S_OK;
    }
};

} // namespace

// Account and object by turns, a line each. The input is also read as a statement.
void Try(std::string_view input)
{
    try {
        Host::ReadSqlStatement(Text::FromUtf8(input));
    } catch (const Host::Failure&) { // what it has to say of other texts
    }
    Reader reader;
    std::vector<std::pair<std::wstring, std::wstring>> written;
    AccessRightsTableWriter writer(ComponentPtr<IDatabaseConnection>(&reader),
                                   std::make_shared<AccessRightsQueryBuilder>(KelNodePtr()), true);
    while (!input.empty()) {
        written.emplace_back(TakeText(input), TakeText(input));
        writer.AddRow(written.back().first, written.back().second, false);
    }
    writer.Commit();
    Require(reader.rows.size() == written.size(), "every row is written once");
    for (std::size_t i = 0; i < written.size(); ++i)
        Require(reader.rows[i].loginName.value_or(L"") == written[i].first &&
                    reader.rows[i].managedObjectUId.value_or(L"") == written[i].second,
                "a row is read as it was written");
}
