#include "Subsystems/ManagementService/Kestrine/AccessRightsTableWriter.h"

#include "Common/ErrorHandling/HResult.h"
#include "Subsystems/ManagementService/Kestrine/AccessRightsItem.h"

namespace
{

constexpr std::size_t MaxPendingCharacters = 1024;

void AppendValue(std::wstring& sql, std::wstring_view value)
{
    if (value.empty()) {
        sql += L"NULL";
        return;
    }
    sql += L"N'";
    for (std::size_t quote; (quote = value.find(L'\'')) != value.npos; value.remove_prefix(quote + 1)) {
        sql += value.substr(0, quote + 1);
        sql += L'\'';
    }
    sql += value;
    sql += L'\'';
}

} // namespace

// These texts are the wire format towards the database server, to the last blank.
AccessRightsQueryBuilder::AccessRightsQueryBuilder(const KelNodePtr&)
    : m_temporaryTable(
          L"\n"
          L"IF OBJECT_ID('tempdb..#AccessRightsUpdate') IS NOT NULL DROP TABLE #AccessRightsUpdate;\n"
          L"CREATE TABLE #AccessRightsUpdate(LoginName nvarchar(max) NULL, ManagedObjectUId uniqueidentifier NULL, "
          L"MergeType char);\n"),
      m_insertHead(L"INSERT INTO #AccessRightsUpdate(LoginName, ManagedObjectUId, MergeType) VALUES ("),
      m_merge(L"\n"
              L"MERGE \n"
              L"\tINTO [dbo].[AccessRights] AR\n"
              L"\tUSING [#AccessRightsUpdate] U\n"
              L"\tON (AR.[LoginName] = U.[LoginName] COLLATE database_default) AND \n"
              L"\t\t(AR.[ManagedObjectUId] = U.[ManagedObjectUId] OR \n"
              L"\t\t\tAR.[ManagedObjectUId] IS NULL AND U.[ManagedObjectUId] IS NULL)\n"
              L"\tWHEN MATCHED AND U.[MergeType] = 'D' \n"
              L"\t\tTHEN DELETE\n"
              L"\tWHEN NOT MATCHED BY TARGET AND U.[MergeType] != 'D'\n"
              L"\t\tTHEN INSERT ([LoginName], [ManagedObjectUId]) VALUES (U.[LoginName], U.[ManagedObjectUId])\n"
              L"\tWHEN NOT MATCHED BY SOURCE\n"
              L"\t\tTHEN DELETE;\n")
{}

AccessRightsTableWriter::AccessRightsTableWriter(ComponentPtr<IDatabaseConnection> connection,
                                                 std::shared_ptr<const AccessRightsQueryBuilder> texts,
                                                 bool createStaging)
    : m_connection(std::move(connection)), m_texts(std::move(texts))
{
    if (createStaging)
        Execute(m_texts->TemporaryTable());
}

void AccessRightsTableWriter::AddRow(std::wstring_view loginName, std::wstring_view managedObjectUId, bool isDelete)
{
    m_batch += m_batch.empty() ? std::wstring_view(m_texts->InsertHead()) : L", (";
    AppendValue(m_batch, loginName);
    m_batch += L',';
    AppendValue(m_batch, managedObjectUId);
    m_batch += isDelete ? L",'D')" : L",'A')";
    if (m_batch.size() > MaxPendingCharacters)
        Flush();
}

void AccessRightsTableWriter::Flush()
{
    if (m_batch.empty())
        return;
    Execute(m_batch);
    m_batch.clear();
}

void AccessRightsTableWriter::Commit()
{
    Flush();
    Execute(m_texts->Merge());
}

void AccessRightsTableWriter::Execute(const std::wstring& sql)
{
    KelNodePtr discarded;
    CheckHResult(m_connection->Execute(sql.c_str(), 0, discarded.Out()));
}

std::size_t WriteAccessRights(const ComponentPtr<IDatabaseConnection>& connection, const KelNodePtr& configuration,
                              const KelNodePtr& accessInfo)
{
    AccessRightsTableWriter writer(connection, std::make_shared<AccessRightsQueryBuilder>(configuration), true);
    const std::uint64_t count = accessInfo.GetChildCount();
    std::size_t rows = 0;
    for (std::uint64_t i = 0; i < count; ++i) {
        const KelNodePtr item = accessInfo.GetChildByIndex(i, true);
        const std::wstring logonName = item.GetString(AccessRights::LogonName);
        AccessRights::ForEachRow(item, [&](const std::wstring& object) {
            writer.AddRow(logonName, object, false);
            ++rows;
        });
    }
    writer.Commit();
    return rows;
}
