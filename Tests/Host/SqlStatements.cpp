#include "Host/ReportingDatabase/SqlStatements.h"

#include "Host/Support/Boundary.h"
#include "Tests/Host/SqlTexts.h"

#include <algorithm>
#include <gtest/gtest.h>

using Host::ReadSqlStatement;

namespace
{

// The complaint about a text that must not be understood.
std::wstring Refusal(const std::wstring& sql)
{
    try {
        ReadSqlStatement(sql);
        return L"(understood)";
    } catch (const Host::Failure& failure) {
        EXPECT_EQ(failure.result, Host::SqlNotUnderstood);
        return failure.text;
    }
}

std::vector<Host::StagedRow> ReadRows(const std::wstring& rows)
{
    return std::get<Host::InsertStagedRows>(ReadSqlStatement(SqlTexts::InsertHead + rows)).rows;
}

} // namespace

TEST(SqlReading, TheModulesTextsAreUnderstood)
{
    EXPECT_TRUE(std::holds_alternative<Host::CreateStagingTable>(ReadSqlStatement(SqlTexts::TemporaryTable)));
    EXPECT_TRUE(std::holds_alternative<Host::MergeStagedRows>(ReadSqlStatement(SqlTexts::Merge)));

    const auto rows = ReadRows(L"N'CORP\\o''neill''',N'{0C8E2B1A-5D3F-4E7A-9B61-2F4D8C7A1E05}','A'), (NULL,NULL,'D')"
                               L"\r\n,\t( N'' , NULL , 'A' ) ");
    ASSERT_EQ(rows.size(), 3U);
    EXPECT_EQ(rows[0].loginName, L"CORP\\o'neill'");
    EXPECT_EQ(rows[0].managedObjectUId, L"{0C8E2B1A-5D3F-4E7A-9B61-2F4D8C7A1E05}");
    EXPECT_FALSE(rows[0].isDelete || rows[1].loginName || rows[1].managedObjectUId || !rows[1].isDelete);
    EXPECT_EQ(rows[2].loginName, L"");
    EXPECT_EQ(ReadRows(L"N'a), (''',NULL,'A')").at(0).loginName, L"a), ('");

    // Blanks between words are free.
    std::wstring merge = SqlTexts::Merge;
    std::replace(merge.begin(), merge.end(), L'\t', L'\n');
    EXPECT_TRUE(std::holds_alternative<Host::MergeStagedRows>(ReadSqlStatement(merge)));
}

TEST(SqlReading, NoCharacterMayBeMissingOrChanged)
{
    for (const std::wstring& text :
         {SqlTexts::TemporaryTable, SqlTexts::Merge, SqlTexts::InsertHead + L"N'a',NULL,'A')"}) {
        const std::size_t value = text.find(L"'a'");
        for (std::size_t i = 0; i < text.size(); ++i) {
            if (text[i] == L' ' || text[i] == L'\t' || text[i] == L'\n' || (value != text.npos && i == value + 1))
                continue;
            EXPECT_NE(Refusal(std::wstring(text).erase(i, 1)), L"(understood)") << i;
            EXPECT_NE(Refusal(std::wstring(text).replace(i, 1, L"%")), L"(understood)") << i;
        }
    }
}

TEST(SqlReading, RefusalsQuoteWhereTheReadingStopped)
{
    const std::pair<std::wstring, const wchar_t*> cases[] = {
        {L" \n", L"at its end: expected IF, INSERT or MERGE"},
        {L"INSERT INTO #AccessRightsUpdate(LoginName, ManagedObjectUId, MergeType) VALUE (N'a'",
         L"at character 73, near 'VALUE (N'a'': expected VALUES"},
        {SqlTexts::InsertHead + L"'a',NULL,'A')", L"at character 81, near ''a',NULL,'A')': expected N'...' or NULL"},
        {SqlTexts::InsertHead + L"N'it''s", L"at character 81, near 'N'it''s': expected a closing quote"},
        {SqlTexts::InsertHead + L"NULL,NULL,'A'); DROP", L"at character 95, near '; DROP': expected the end"},
        {L"MERGE INTO [dbo", L"at character 12, near '[dbo': expected a closing ]"},
    };
    for (const auto& [sql, refusal] : cases)
        EXPECT_EQ(Refusal(sql), std::wstring(L"SQL text not understood ") + refusal);
}
