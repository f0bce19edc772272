// The SQL texts of the module, to the last blank.
#pragma once

#include <string>

namespace SqlTexts
{

inline const std::wstring TemporaryTable =
    L"\nIF OBJECT_ID('tempdb..#AccessRightsUpdate') IS NOT NULL DROP TABLE #AccessRightsUpdate;\nCREATE TABLE "
    L"#AccessRightsUpdate(LoginName nvarchar(max) NULL, ManagedObjectUId uniqueidentifier NULL, MergeType char);\n";

inline const std::wstring InsertHead =
    L"INSERT INTO #AccessRightsUpdate(LoginName, ManagedObjectUId, MergeType) VALUES (";

inline const std::wstring Merge =
    L"\nMERGE \n\tINTO [dbo].[AccessRights] AR\n\tUSING [#AccessRightsUpdate] U\n"
    L"\tON (AR.[LoginName] = U.[LoginName] COLLATE database_default) AND \n"
    L"\t\t(AR.[ManagedObjectUId] = U.[ManagedObjectUId] OR \n"
    L"\t\t\tAR.[ManagedObjectUId] IS NULL AND U.[ManagedObjectUId] IS NULL)\n"
    L"\tWHEN MATCHED AND U.[MergeType] = 'D' \n\t\tTHEN DELETE\n"
    L"\tWHEN NOT MATCHED BY TARGET AND U.[MergeType] != 'D'\n"
    L"\t\tTHEN INSERT ([LoginName], [ManagedObjectUId]) VALUES (U.[LoginName], U.[ManagedObjectUId])\n"
    L"\tWHEN NOT MATCHED BY SOURCE\n\t\tTHEN DELETE;\n";

} // namespace SqlTexts
