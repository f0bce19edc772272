#include "Host/ReportingDatabase/SqlStatements.h"

#include "Host/Support/Failure.h"

#include <algorithm>

namespace Host
{

namespace
{

constexpr std::wstring_view CreateStagingText =
    L"IF OBJECT_ID('tempdb..#AccessRightsUpdate') IS NOT NULL DROP TABLE #AccessRightsUpdate;"
    L" CREATE TABLE #AccessRightsUpdate(LoginName nvarchar(max) NULL, ManagedObjectUId uniqueidentifier NULL,"
    L" MergeType char);";
constexpr std::wstring_view InsertText =
    L"INSERT INTO #AccessRightsUpdate(LoginName, ManagedObjectUId, MergeType) VALUES ";
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

// Walks over a text; every step reads the blanks behind it.
class SqlReader
{
public:
    explicit SqlReader(std::wstring_view sql) : m_sql(sql) { SkipBlanks(); }

    bool IsAtEnd() const { return m_next == m_sql.size(); }
    bool IsAt(std::wstring_view text) const { return m_sql.substr(m_next).starts_with(text); }
    bool Accept(std::wstring_view token) { return IsAt(token) && (Expect(token), true); }

    // Reads a token, or a statement in which blanks are single.
    void Expect(std::wstring_view text)
    {
        for (std::size_t i = 0; i < text.size(); ++i) {
            const bool fits = !IsAtEnd() && (text[i] == L' ' ? IsBlank(m_sql[m_next]) : m_sql[m_next] == text[i]);
            if (!fits)
                Fail(text.substr(i, text.find(L' ', i + 1) - i));
            text[i] == L' ' ? SkipBlanks() : void(++m_next);
        }
        SkipBlanks();
    }

    // N'...' or NULL.
    std::optional<std::wstring> Value()
    {
        if (Accept(L"NULL"))
            return std::nullopt;
        if (!IsAt(L"N'"))
            Fail(L"N'...' or NULL");
        std::wstring value;
        for (std::size_t i = m_next + 2; i < m_sql.size(); ++i) {
            if (m_sql[i] != L'\'') {
                value += m_sql[i];
            } else if (m_sql.substr(i + 1).starts_with(L'\'')) {
                value += m_sql[i++]; // two stand for one
            } else {
                m_next = i + 1;
                SkipBlanks();
                return value;
            }
        }
        Fail(L"a closing quote");
    }

    [[noreturn]] void Fail(std::wstring_view expected) const
    {
        constexpr std::size_t longest = 20;
        std::wstring excerpt(m_sql.substr(m_next, longest));
        std::replace_if(excerpt.begin(), excerpt.end(), IsBlank, L' ');
        if (m_sql.size() - m_next > longest)
            excerpt += L'…';
        const std::wstring place =
            IsAtEnd() ? L"at its end" : L"at character " + std::to_wstring(m_next + 1) + L", near '" + excerpt + L"'";
        throw Failure{SqlNotUnderstood, L"SQL text not understood " + place + L": expected " + std::wstring(expected)};
    }

private:
    void SkipBlanks()
    {
        while (!IsAtEnd() && IsBlank(m_sql[m_next]))
            ++m_next;
    }

    const std::wstring_view m_sql;
    std::size_t m_next = 0;
};

StagedRow ReadRow(SqlReader& reader)
{
    reader.Expect(L"(");
    StagedRow row{{reader.Value(), {}}, false};
    reader.Expect(L",");
    row.managedObjectUId = reader.Value();
    reader.Expect(L",");
    row.isDelete = reader.Accept(L"'D'");
    if (!row.isDelete && !reader.Accept(L"'A'"))
        reader.Fail(L"'A' or 'D'");
    reader.Expect(L")");
    return row;
}

} // namespace

SqlStatement ReadSqlStatement(std::wstring_view sql)
{
    SqlReader reader(sql);
    SqlStatement statement{};
    if (reader.IsAt(L"IF")) {
        statement.kind = SqlStatement::Kind::CreateStaging;
        reader.Expect(CreateStagingText);
    } else if (reader.IsAt(L"MERGE")) {
        statement.kind = SqlStatement::Kind::Merge;
        reader.Expect(MergeText);
    } else if (!reader.IsAt(L"INSERT")) {
        reader.Fail(L"IF, INSERT or MERGE");
    } else {
        statement.kind = SqlStatement::Kind::Insert;
        reader.Expect(InsertText);
        do
            statement.rows.push_back(ReadRow(reader));
        while (reader.Accept(L","));
    }
    if (!reader.IsAtEnd())
        reader.Fail(L"the end");
    return statement;
}

} // namespace Host
