#include "Host/ReportingDatabase/ReportingDatabase.h"

#include "Host/ReportingDatabase/SqlStatements.h"
#include "Host/Support/Failure.h"
#include "Platform/Testing/TemporaryFolder.h"
#include "Platform/Text.h"
#include "Tests/Host/NodwellFixture.h"
#include "Tests/Host/SqlTexts.h"

#include <atomic>
#include <future>
#include <gmock/gmock.h>
#include <random>

using Host::AccessRight;
using testing::ElementsAre;
using testing::IsEmpty;

namespace
{

class Database : public NodwellTest
{
protected:
    ComponentPtr<IDatabaseConnection> Open()
    {
        ComponentPtr<IDatabaseConnection> connection;
        EXPECT_EQ(database->OpenConnection(entry.Get(), 1, connection.Out()), S_OK);
        return connection;
    }

    static HRESULT Execute(const ComponentPtr<IDatabaseConnection>& connection, const std::wstring& sql)
    {
        return connection->Execute(sql.c_str(), 0, nullptr);
    }

    // `rows`: "N'a',NULL,'A'" and so on.
    HRESULT Write(const std::vector<std::wstring>& rows)
    {
        const auto connection = Open();
        EXPECT_EQ(Execute(connection, SqlTexts::TemporaryTable), S_OK);
        for (const std::wstring& row : rows)
            EXPECT_EQ(Execute(connection, SqlTexts::InsertHead + row + L")"), S_OK);
        return Execute(connection, SqlTexts::Merge);
    }

    std::vector<std::wstring> Rows() const
    {
        std::vector<std::wstring> texts;
        for (const AccessRight& row : database->Rows())
            texts.push_back(row.loginName.value_or(L"NULL") + L' ' + row.managedObjectUId.value_or(L"NULL"));
        return texts;
    }

    const TemporaryFolder folder;
    const std::filesystem::path file = folder.Path() / "rights.db";
    const ComponentPtr<Host::ReportingDatabase> database = MakeComponent<Host::ReportingDatabase>(file);
    const NodeHandle entry = Create(L"Entry");
};

// Names match without regard to case, é and É too, and never when there is none.
bool Match(const AccessRight& a, const AccessRight& b)
{
    const auto sameLetter = [](wchar_t x, wchar_t y) { return (x | 0x20) == (y | 0x20); };
    return a.loginName && b.loginName && a.managedObjectUId == b.managedObjectUId &&
           std::equal(a.loginName->begin(), a.loginName->end(), b.loginName->begin(), b.loginName->end(), sameLetter);
}

// The rows that have a match, and those that are theirs alone.
std::vector<AccessRight> Merge(const std::vector<AccessRight>& table, const std::vector<AccessRight>& staged)
{
    const auto isIn = [](const std::vector<AccessRight>& rows, const AccessRight& row) {
        return std::any_of(rows.begin(), rows.end(), [&](const AccessRight& each) { return Match(each, row); });
    };
    std::vector<AccessRight> result;
    std::copy_if(table.begin(), table.end(), std::back_inserter(result), [&](auto& row) { return isIn(staged, row); });
    std::copy_if(staged.begin(), staged.end(), std::back_inserter(result),
                 [&](auto& row) { return !isIn(table, row); });
    std::sort(result.begin(), result.end());
    return result;
}

std::wstring Literal(const std::optional<std::wstring>& text)
{
    return text ? L"N'" + *text + L"'" : L"NULL";
}

} // namespace

TEST_F(Database, MergesAsTheStatementSays)
{
    std::mt19937 random(1);
    const std::optional<std::wstring> names[] = {std::nullopt, L"a", L"A", L"b", L"É", L"é", L""};
    const std::optional<std::wstring> objects[] = {std::nullopt, Ward, Clinic};
    std::vector<AccessRight> expected;
    for (int round = 0; round < 300; ++round) {
        std::vector<AccessRight> staged(random() % 12);
        std::vector<std::wstring> rows;
        for (AccessRight& row : staged) {
            row = {names[random() % std::size(names)], objects[random() % std::size(objects)]};
            rows.push_back(Literal(row.loginName) + L',' + Literal(row.managedObjectUId) + L",'A'");
        }
        expected = Merge(expected, staged);
        ASSERT_EQ(Write(rows), S_OK);
        ASSERT_EQ(database->Rows(), expected) << round;
    }
}

TEST_F(Database, AFailingStatementLeavesTheTableAsItWas)
{
    ASSERT_EQ(Write({L"N'a',NULL,'A'", L"N'b',NULL,'A'"}), S_OK);
    const auto before = Rows();

    EXPECT_EQ(Write({L"N'a',NULL,'D'", L"N'A',NULL,'D'"}), E_FAIL);
    EXPECT_EQ(TakeErrorText(), L"The MERGE statement attempted to delete the same row more than once: 'a'");
    EXPECT_EQ(Rows(), before);

    const auto connection = Open();
    EXPECT_EQ(Execute(connection, SqlTexts::InsertHead + L"N'c',NULL,'A')"), Host::SqlNoSuchTable);
    EXPECT_EQ(Execute(connection, SqlTexts::Merge), Host::SqlNoSuchTable);
    EXPECT_EQ(TakeErrorText(), L"Invalid object name '#AccessRightsUpdate'");
    ASSERT_EQ(Execute(connection, SqlTexts::TemporaryTable), S_OK);
    EXPECT_EQ(Execute(Open(), SqlTexts::Merge), Host::SqlNoSuchTable); // every session has its own
    EXPECT_EQ(Execute(connection, SqlTexts::InsertHead + L"N'c',NULL,'A'), (N'd',N'{0C8E2B1A}','A')"),
              Host::SqlConversionFailed);
    EXPECT_EQ(Execute(connection, L"DELETE FROM [dbo].[AccessRights]"), Host::SqlNotUnderstood);
    EXPECT_EQ(Rows(), before);
    EXPECT_EQ(database->Rewrites(), 1U);

    // None of the rows of the refused batches is staged, and the session is still of use.
    EXPECT_EQ(Execute(connection, SqlTexts::InsertHead + L"N'b',NULL,'A'),(N'A',NULL,'D')"), S_OK);
    EXPECT_EQ(Execute(connection, SqlTexts::Merge), S_OK);
    EXPECT_THAT(Rows(), ElementsAre(L"b NULL"));
}

TEST_F(Database, AnotherDatabaseIsRefusedAndLeftAsItIs)
{
    const std::filesystem::path other = folder.Path() / "other.db";
    const std::pair<const char*, std::wstring> cases[] = {
        {"CREATE TABLE AccessRights(Name)",
         L"its table AccessRights has the columns (Name ), expected (LoginName TEXT, ManagedObjectUId TEXT)"},
        {"CREATE TABLE Invoices(Number INT)",
         L"it holds the table 'Invoices', expected no other ones than AccessRights and ReportServerRoles"},
    };
    for (const auto& [sql, complaint] : cases) {
        std::filesystem::remove(other);
        Sqlite::Connection(other, Sqlite::Access::Create).Execute(sql);
        const std::string before = ReadAll(other);
        try {
            Host::ReportingDatabase refused(other);
            ADD_FAILURE() << sql;
        } catch (const Host::Failure& failure) {
            EXPECT_EQ(failure.text, L"cannot use '" + other.wstring() + L"' as the reporting database: " + complaint);
        }
        EXPECT_EQ(ReadAll(other), before);
    }
}

TEST_F(Database, ALockIsWaitedForUntilTheLimitOrAStop)
{
    static std::atomic<int> asked;
    asked = 0;
    const auto isStopped = [] { return ++asked == 3; };
    std::optional<Sqlite::Connection> holder(std::in_place, file, Sqlite::Access::Create);
    std::optional<Sqlite::Transaction> lock(std::in_place, *holder);
    EXPECT_THROW(Host::ReportingDatabase(file, {std::chrono::milliseconds(0)}), Host::Failure);
    EXPECT_THROW(Host::ReportingDatabase(file, {std::chrono::hours(1), isStopped}), Host::Failure);
    EXPECT_EQ(asked, 3);
    std::future<HRESULT> written = std::async(std::launch::async, [&] { return Write({L"N'a',NULL,'A'"}); });
    EXPECT_EQ(written.wait_for(std::chrono::milliseconds(200)), std::future_status::timeout);
    lock.reset();
    EXPECT_EQ(written.get(), S_OK);
}
