#include "Subsystems/ManagementService/Kestrine/AccessRightsTableWriter.h"

#include "Subsystems/ManagementService/Kestrine/AccessRightsItem.h"
#include "Tests/Host/SqlTexts.h"
#include "Tests/Support/CodeOf.h"
#include "Tests/Support/HostFakes.h"

namespace
{

HRESULT Write(const KelNodePtr& list, FakeDatabase& connection)
{
    connection.statements.clear();
    return CodeOf([&] {
        WriteAccessRights(ComponentPtr<IDatabaseConnection>(&connection), CreateKelNode(nullptr, nullptr), list);
    });
}

} // namespace

TEST(AccessRightsTableWriter, WritesARowForEachContainer)
{
    FakeDatabase connection;
    const KelNodePtr wildcard = CreateKelNode(nullptr, L"AccessRightsItem");
    wildcard.SetEmpty(L"LogonName");
    const KelNodePtr noContainers = MakeTestItem(L"none");
    noContainers.SetStringList(L"ContainerId", {});
    const KelNodePtr valueless = MakeTestItem(L"valueless");
    valueless.SetEmpty(L"ContainerId");
    const KelNodePtr list = MakeTestList({MakeTestItem(L"CORP\\ann", {L"c1", L"", L"c'2"}), MakeTestItem(L"O'Brien"),
                                          wildcard, MakeTestItem(L"empty", {L"", L""}), noContainers, valueless});
    EXPECT_EQ(Write(list, connection), S_OK);
    EXPECT_EQ(connection.statements,
              (Texts{SqlTexts::TemporaryTable,
                     SqlTexts::InsertHead + L"N'CORP\\ann',N'c1','A'), (N'CORP\\ann',N'c''2','A'), "
                                            L"(N'O''Brien',NULL,'A'), (NULL,NULL,'A')",
                     SqlTexts::Merge}));
}

TEST(AccessRightsTableWriter, ABatchIsSentWithTheFirstRowBeyond1024Characters)
{
    const std::size_t around = SqlTexts::InsertHead.size() + std::wstring(L"N'',NULL,'A')").size();
    for (const std::size_t length : {1024U, 1025U}) {
        FakeDatabase connection;
        AccessRightsTableWriter writer(ComponentPtr<IDatabaseConnection>(&connection),
                                       std::make_shared<AccessRightsQueryBuilder>(KelNodePtr()), false);
        writer.AddRow(std::wstring(length - around, L'x'), {}, false);
        EXPECT_EQ(connection.statements.size(), length - 1024);
        writer.AddRow(L"y", {}, true);
        writer.Flush();
        writer.Flush();
        ASSERT_EQ(connection.statements.size(), length - 1023);
        EXPECT_TRUE(
            connection.statements.back().ends_with(length == 1024 ? L", (N'y',NULL,'D')" : L" (N'y',NULL,'D')"));
    }
}

TEST(AccessRightsTableWriter, AnItemWithoutNameEndsTheWrite)
{
    FakeDatabase connection;
    const KelNodePtr nameless = CreateKelNode(nullptr, L"AccessRightsItem");
    EXPECT_EQ(Write(MakeTestList({MakeTestItem(L"first"), nameless}), connection), NotFound);
    EXPECT_EQ(connection.statements.size(), 1U) << "the temporary table only";
}
