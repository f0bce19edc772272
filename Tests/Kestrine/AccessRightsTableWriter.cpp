#include "Subsystems/ManagementService/Kestrine/AccessRightsTableWriter.h"

#include "Common/ErrorHandling/HResult.h"
#include "Subsystems/ManagementService/Kestrine/AccessRightsItem.h"
#include "Tests/Support/HostFakes.h"

#include <gtest/gtest.h>
#include <random>

namespace
{

const std::wstring InsertHead = L"INSERT INTO #AccessRightsUpdate(LoginName, ManagedObjectUId, MergeType) VALUES (";

std::vector<std::wstring> Write(const KelNodePtr& list, FakeConnection& connection)
{
    WriteAccessRights(ComponentPtr<IDatabaseConnection>(&connection), CreateKelNode(nullptr, nullptr), list);
    return connection.statements;
}

HRESULT CodeOfWrite(const KelNodePtr& list, FakeConnection& connection)
{
    try {
        Write(list, connection);
        return S_OK;
    } catch (const HRX& e) {
        return e.Code();
    }
}

} // namespace

TEST(AccessRightsTableWriter, TheTextsAreExact)
{
    const AccessRightsQueryBuilder texts{KelNodePtr()};
    EXPECT_EQ(texts.TemporaryTable().size(), 209U);
    EXPECT_EQ(texts.InsertHead().size(), 80U);
    EXPECT_EQ(texts.Merge().size(), 497U);
    EXPECT_EQ(texts.InsertHead(), InsertHead);
    EXPECT_EQ(
        texts.TemporaryTable(),
        L"\nIF OBJECT_ID('tempdb..#AccessRightsUpdate') IS NOT NULL DROP TABLE #AccessRightsUpdate;\nCREATE TABLE "
        L"#AccessRightsUpdate(LoginName nvarchar(max) NULL, ManagedObjectUId uniqueidentifier NULL, MergeType "
        L"char);\n");
    std::vector<std::size_t> linesWithBlankAtEnd;
    std::wistringstream merge(texts.Merge());
    std::size_t number = 0;
    for (std::wstring line; std::getline(merge, line); ++number) {
        if (line.ends_with(L' '))
            linesWithBlankAtEnd.push_back(number);
    }
    EXPECT_EQ(number, 13U);
    EXPECT_EQ(linesWithBlankAtEnd, (std::vector<std::size_t>{1, 4, 5, 7}));
    EXPECT_EQ(std::count(texts.Merge().begin(), texts.Merge().end(), L'\t'), 17);
}

TEST(AccessRightsTableWriter, WritesARowForEachContainer)
{
    FakeConnection connection;
    const KelNodePtr wildcard = CreateKelNode(nullptr, L"AccessRightsItem");
    wildcard.SetEmpty(L"LogonName");
    const KelNodePtr noContainers = MakeTestItem(L"none");
    noContainers.SetStringList(L"ContainerId", {});
    const KelNodePtr valueless = MakeTestItem(L"valueless");
    valueless.SetEmpty(L"ContainerId");
    const std::vector<std::wstring> statements =
        Write(MakeTestList({MakeTestItem(L"CORP\\ann", {L"c1", L"", L"c2"}), MakeTestItem(L"O'Brien"), wildcard,
                            MakeTestItem(L"empty", {L"", L""}), noContainers, valueless}),
              connection);
    ASSERT_EQ(statements.size(), 3U);
    EXPECT_EQ(statements[1], InsertHead + L"N'CORP\\ann',N'c1','A'), (N'CORP\\ann',N'c2','A'), "
                                          L"(N'O''Brien',NULL,'A'), (NULL,NULL,'A')");
}

TEST(AccessRightsTableWriter, AnEmptyListStillEmptiesTheTable)
{
    FakeConnection connection;
    const AccessRightsQueryBuilder texts{KelNodePtr()};
    EXPECT_EQ(Write(MakeTestList({}), connection), (std::vector<std::wstring>{texts.TemporaryTable(), texts.Merge()}));
}

TEST(AccessRightsTableWriter, ABatchIsSentWithTheFirstRowBeyond1024Characters)
{
    // One row takes the head, N'…',NULL,'A') and the name.
    const auto batchesFor = [](std::size_t firstBatch) {
        FakeConnection connection;
        AccessRightsTableWriter writer(ComponentPtr<IDatabaseConnection>(&connection),
                                       std::make_shared<AccessRightsQueryBuilder>(KelNodePtr()), false);
        const std::size_t around = InsertHead.size() + std::wstring(L"N'',NULL,'A')").size();
        writer.AddRow(std::wstring(firstBatch - around, L'x'), {}, false);
        const std::size_t afterFirst = connection.statements.size();
        writer.AddRow(L"y", {}, true);
        writer.Flush();
        writer.Flush();
        EXPECT_EQ(connection.statements[0].size(), afterFirst ? firstBatch : firstBatch + 17);
        EXPECT_TRUE(connection.statements.back().ends_with(L"(N'y',NULL,'D')"));
        return std::pair(afterFirst, connection.statements.size());
    };
    EXPECT_EQ(batchesFor(1024), std::pair(std::size_t(0), std::size_t(1)));
    EXPECT_EQ(batchesFor(1025), std::pair(std::size_t(1), std::size_t(2)));
}

TEST(AccessRightsTableWriter, AnItemWithoutNameFailsTheWriteBeforeTheMerge)
{
    FakeConnection connection;
    const KelNodePtr nameless = CreateKelNode(nullptr, L"AccessRightsItem");
    EXPECT_EQ(CodeOfWrite(MakeTestList({MakeTestItem(L"first"), nameless}), connection),
              HResultFromWin32(ERROR_NOT_FOUND));
    EXPECT_EQ(connection.statements.size(), 1U) << "the temporary table only";
}

TEST(AccessRightsTableWriter, AFailingStatementEndsTheWrite)
{
    const KelNodePtr list = MakeTestList({MakeTestItem(std::wstring(1100, L'x').c_str()), MakeTestItem(L"y")});
    for (std::size_t failing = 1; failing <= 4; ++failing) {
        FakeConnection connection;
        connection.failingStatement = failing;
        EXPECT_EQ(CodeOfWrite(list, connection), E_ABORT);
        EXPECT_EQ(connection.statements.size(), failing);
    }
}

TEST(RemoveLocalOnlyItems, LeavesTheInputAlone)
{
    const KelNodePtr list =
        MakeTestList({MakeTestItem(L"a", {}, true), MakeTestItem(L"b", {L"c"}), MakeTestItem(L"d", {}, true)});
    const KelNodePtr falseItem = MakeTestItem(L"false");
    falseItem.SetBool(L"IsLocalOnly", false);
    list.AddChild(falseItem);
    EXPECT_EQ(Describe(RemoveLocalOnlyItems(list)), (std::vector<std::wstring>{L"b(c)", L"false"}));
    EXPECT_EQ(list.GetChildCount(), 4U);
    EXPECT_EQ(RemoveLocalOnlyItems(MakeTestList({MakeTestItem(L"a", {}, true)})).GetChildCount(), 0U);
}
