#include "Host/ReportingDatabase/SqlStatements.h"

#include "Host/Support/Failure.h"
#include "Tests/Host/SqlTexts.h"

#include <algorithm>
#include <gtest/gtest.h>

using Host::ReadSqlStatement;
using Kind = Host::SqlStatement::Kind;

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
    const Host::SqlStatement statement = ReadSqlStatement(SqlTexts::InsertHead + rows);
    EXPECT_EQ(statement.kind, Kind::Insert);
    return statement.rows;
}

} // namespace

TEST(SqlReading, TheModulesTextsAreUnderstood)
{
    EXPECT_EQ(ReadSqlStatement(SqlTexts::TemporaryTable).kind, Kind::CreateStaging);
    EXPECT_EQ(ReadSqlStatement(SqlTexts::Merge).kind, Kind::Merge);

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
    EXPECT_EQ(ReadSqlStatement(merge).kind, Kind::Merge);
}

TEST(SqlReading, RefusalsQuoteWhereTheReadingStopped)
{
    std::wstring merge = SqlTexts::Merge;
    merge.replace(merge.find(L"!="), 2, L"<>");
    const std::pair<std::wstring, const wchar_t*> cases[] = {
        {L" \n", L"at its end: expected IF, INSERT or MERGE"},
        {L"DELETE FROM a", L"at character 1, near 'DELETE FROM a': expected IF, INSERT or MERGE"},
        {merge, L"at character 355, near '<> 'D'   THEN INSERT…': expected !="},
        {SqlTexts::TemporaryTable + L"x", L"at character 210, near 'x': expected the end"},
        {SqlTexts::InsertHead + L"'a',NULL,'A')", L"at character 81, near ''a',NULL,'A')': expected N'...' or NULL"},
        {SqlTexts::InsertHead + L"N'it''s", L"at character 81, near 'N'it''s': expected a closing quote"},
        {SqlTexts::InsertHead + L"NULL,NULL,'X')", L"at character 91, near ''X')': expected 'A'"},
        {SqlTexts::InsertHead + L"NULL,NULL,'A'); DROP", L"at character 95, near '; DROP': expected the end"},
    };
    for (const auto& [sql, refusal] : cases)
        EXPECT_EQ(Refusal(sql), std::wstring(L"SQL text not understood ") + refusal);
}
