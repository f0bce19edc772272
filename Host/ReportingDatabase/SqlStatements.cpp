#include "Host/ReportingDatabase/SqlStatements.h"

#include "Host/Support/Boundary.h"

#include <algorithm>

namespace Host
{

namespace
{

constexpr std::wstring_view CreateStagingText =
    L"IF OBJECT_ID('tempdb..#AccessRightsUpdate') IS NOT NULL DROP TABLE #AccessRightsUpdate;"
    L"CREATE TABLE #AccessRightsUpdate(LoginName nvarchar(max) NULL, ManagedObjectUId uniqueidentifier NULL,"
    L" MergeType char);";
constexpr std::wstring_view InsertText =
    L"INSERT INTO #AccessRightsUpdate(LoginName, ManagedObjectUId, MergeType) VALUES";
constexpr std::wstring_view MergeText =
    L"MERGE INTO [dbo].[AccessRights] AR USING [#AccessRightsUpdate] U"
    L" ON (AR.[LoginName] = U.[LoginName] COLLATE database_default)"
    L" AND (AR.[ManagedObjectUId] = U.[ManagedObjectUId]"
    L" OR AR.[ManagedObjectUId] IS NULL AND U.[ManagedObjectUId] IS NULL)"
    L" WHEN MATCHED AND U.[MergeType] = 'D' THEN DELETE"
    L" WHEN NOT MATCHED BY TARGET AND U.[MergeType] != 'D'"
    L" THEN INSERT ([LoginName], [ManagedObjectUId]) VALUES (U.[LoginName], U.[ManagedObjectUId])"
    L" WHEN NOT MATCHED BY SOURCE THEN DELETE;";

bool IsBlank(wchar_t c)
{
    return c == L' ' || c == L'\t' || c == L'\r' || c == L'\n';
}

bool IsWordCharacter(wchar_t c)
{
    return (c >= L'a' && c <= L'z') || (c >= L'A' && c <= L'Z') || (c >= L'0' && c <= L'9') || c == L'_' || c == L'#';
}

// Walks over the tokens of a text: words, names in brackets, texts in quotes (with their N) and signs.
class SqlReader
{
public:
    explicit SqlReader(std::wstring_view sql) : m_sql(sql) { Next(); }

    // The current token; empty at the end.
    std::wstring_view Token() const { return m_sql.substr(m_start, m_end - m_start); }

    void Next()
    {
        m_start = m_end;
        while (m_start < m_sql.size() && IsBlank(m_sql[m_start]))
            ++m_start;
        m_end = m_start + TokenLength(m_sql.substr(m_start));
    }

    bool Accept(std::wstring_view token)
    {
        if (Token() != token)
            return false;
        Next();
        return true;
    }

    // Reads the tokens of `text`.
    void Expect(std::wstring_view text)
    {
        for (SqlReader expected(text); !expected.Token().empty(); expected.Next()) {
            if (!Accept(expected.Token()))
                Fail(expected.Token());
        }
    }

    void ExpectEnd()
    {
        if (!Token().empty())
            Fail(L"the end");
    }

    // N'...' or NULL.
    std::optional<std::wstring> Value()
    {
        if (Accept(L"NULL"))
            return std::nullopt;
        if (!Token().starts_with(L"N'"))
            Fail(L"N'...' or NULL");
        std::wstring value;
        const std::wstring_view quoted = Token().substr(2, Token().size() - 3);
        for (std::size_t i = 0; i < quoted.size(); ++i) {
            value += quoted[i];
            if (quoted[i] == L'\'')
                ++i; // the second of two
        }
        Next();
        return value;
    }

    [[noreturn]] void Fail(std::wstring_view expected) const
    {
        constexpr std::size_t longest = 20;
        std::wstring excerpt(m_sql.substr(m_start, longest));
        std::replace_if(excerpt.begin(), excerpt.end(), IsBlank, L' ');
        if (m_sql.size() - m_start > longest)
            excerpt += L'…';
        const std::wstring place = excerpt.empty()
                                       ? L"at its end"
                                       : L"at character " + std::to_wstring(m_start + 1) + L", near '" + excerpt + L"'";
        throw Failure{SqlNotUnderstood, L"SQL text not understood " + place + L": expected " + std::wstring(expected)};
    }

private:
    std::size_t TokenLength(std::wstring_view rest) const
    {
        if (rest.empty())
            return 0;
        if (rest.starts_with(L"N'"))
            return 1 + QuotedLength(rest.substr(1));
        if (rest.front() == L'\'')
            return QuotedLength(rest);
        if (rest.front() == L'[') {
            const std::size_t close = rest.find(L']');
            if (close == rest.npos)
                Fail(L"a closing ]");
            return close + 1;
        }
        if (IsWordCharacter(rest.front()))
            return static_cast<std::size_t>(std::find_if_not(rest.begin(), rest.end(), IsWordCharacter) - rest.begin());
        return rest.starts_with(L"!=") ? 2 : 1;
    }

    std::size_t QuotedLength(std::wstring_view quoted) const
    {
        std::size_t close = 0;
        do {
            close = quoted.find(L'\'', close + 1);
            if (close == quoted.npos)
                Fail(L"a closing quote");
            ++close;
        } while (close < quoted.size() && quoted[close] == L'\'');
        return close;
    }

    const std::wstring_view m_sql;
    std::size_t m_start = 0; // of the current token
    std::size_t m_end = 0;
};

StagedRow ReadRow(SqlReader& reader)
{
    reader.Expect(L"(");
    StagedRow row{reader.Value(), {}, false};
    reader.Expect(L",");
    row.managedObjectUId = reader.Value();
    reader.Expect(L",");
    row.isDelete = reader.Accept(L"'D'");
    if (!row.isDelete && !reader.Accept(L"'A'"))
        reader.Fail(L"'A' or 'D'");
    reader.Expect(L")");
    return row;
}

SqlStatement ReadStatement(SqlReader& reader)
{
    if (reader.Token() == L"IF")
        return reader.Expect(CreateStagingText), CreateStagingTable();
    if (reader.Token() == L"MERGE")
        return reader.Expect(MergeText), MergeStagedRows();
    if (reader.Token() != L"INSERT")
        reader.Fail(L"IF, INSERT or MERGE");
    reader.Expect(InsertText);
    InsertStagedRows insert;
    do
        insert.rows.push_back(ReadRow(reader));
    while (reader.Accept(L","));
    return insert;
}

} // namespace

SqlStatement ReadSqlStatement(std::wstring_view sql)
{
    SqlReader reader(sql);
    SqlStatement statement = ReadStatement(reader);
    reader.ExpectEnd();
    return statement;
}

} // namespace Host
