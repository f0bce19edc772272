// Writes an access-info list into [dbo].[AccessRights]: rows are staged in a temporary table of the session, then one
// MERGE makes them the table's whole content.
#pragma once

#include "Common/Nodes/KelNodePtr.h"
#include "Interfaces/ComponentPtr.h"
#include "Interfaces/ReportingDatabase.h"

#include <memory>
#include <string>

// The fixed SQL texts.
class AccessRightsQueryBuilder
{
public:
    // The configuration does not change the texts.
    explicit AccessRightsQueryBuilder(const KelNodePtr& configuration);

    const std::wstring& TemporaryTable() const { return m_temporaryTable; }
    const std::wstring& InsertHead() const { return m_insertHead; }
    const std::wstring& Merge() const { return m_merge; }

private:
    const std::wstring m_temporaryTable;
    const std::wstring m_insertHead;
    const std::wstring m_merge;
};

// One write. Everything throws HRX when a statement fails; the table is untouched unless the failing one is the MERGE.
class AccessRightsTableWriter
{
public:
    AccessRightsTableWriter(ComponentPtr<IDatabaseConnection> connection,
                            std::shared_ptr<const AccessRightsQueryBuilder> texts, bool createStaging);

    // Stages one row; an empty text stands for NULL. Sends the pending batch once it is longer than 1024 characters.
    void AddRow(std::wstring_view loginName, std::wstring_view managedObjectUId, bool isDelete);

    // Sends the pending batch, if there is one.
    void Flush();

    // Flushes, then brings the table in line.
    void Commit();

private:
    void Execute(const std::wstring& sql);

    const ComponentPtr<IDatabaseConnection> m_connection;
    const std::shared_ptr<const AccessRightsQueryBuilder> m_texts;
    std::wstring m_batch; // the pending INSERT, empty when nothing is pending
};

// The whole write: one row for each container of each item, one without container for an item without `ContainerId`.
// Returns how many rows were staged. Throws HRX 0x80070490 for an item without `LogonName`, before the table is
// touched.
std::size_t WriteAccessRights(const ComponentPtr<IDatabaseConnection>& connection, const KelNodePtr& configuration,
                              const KelNodePtr& accessInfo);
