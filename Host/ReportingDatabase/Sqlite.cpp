#include "Host/ReportingDatabase/Sqlite.h"

#include "Platform/Text.h"
#include "Platform/Threads.h"

namespace Sqlite
{

namespace
{

void Check(int result, sqlite3* connection)
{
    if (result != SQLITE_OK)
        throw Error{result, connection ? Text::FromUtf8(sqlite3_errmsg(connection)) : L"out of memory"};
}

int WaitForLock(void* given, int rounds)
{
    constexpr std::chrono::milliseconds step(50);
    const auto& patience = *static_cast<const Patience*>(given);
    if (rounds * step >= patience.limit || (patience.isStopped && patience.isStopped()))
        return 0;
    Platform::SleepFor(step);
    return 1;
}

} // namespace

Statement::Statement(sqlite3* connection, const char* sql)
{
    sqlite3_stmt* statement = nullptr;
    Check(sqlite3_prepare_v2(connection, sql, -1, &statement, nullptr), connection);
    m_statement.reset(statement);
}

void Statement::Bind(int index, const std::optional<std::wstring>& text)
{
    const std::string utf8 = Text::ToUtf8(text.value_or(L""));
    const int result =
        text ? sqlite3_bind_text64(m_statement.get(), index, utf8.data(), utf8.size(), SQLITE_TRANSIENT, SQLITE_UTF8)
             : sqlite3_bind_null(m_statement.get(), index);
    Check(result, sqlite3_db_handle(m_statement.get()));
}

bool Statement::Step()
{
    const int result = sqlite3_step(m_statement.get());
    if (result != SQLITE_ROW)
        Check(sqlite3_reset(m_statement.get()), sqlite3_db_handle(m_statement.get()));
    return result == SQLITE_ROW;
}

std::optional<std::wstring> Statement::Text(int column) const
{
    const auto* const text = reinterpret_cast<const char*>(sqlite3_column_text(m_statement.get(), column));
    const auto size = static_cast<std::size_t>(sqlite3_column_bytes(m_statement.get(), column));
    return text ? std::optional(Text::FromUtf8({text, size})) : std::nullopt;
}

Connection::Connection(const std::filesystem::path& file, Access access, const Patience& patience)
    : m_patience(new Patience(patience))
{
    const std::u8string name = file.u8string();
    const int flags = access == Access::ReadOnly ? SQLITE_OPEN_READONLY : SQLITE_OPEN_READWRITE | SQLITE_OPEN_CREATE;
    sqlite3* connection = nullptr;
    const int result = sqlite3_open_v2(reinterpret_cast<const char*>(name.c_str()), &connection, flags, nullptr);
    m_connection.reset(connection);
    Check(result, connection);
    sqlite3_busy_handler(connection, &WaitForLock, m_patience.get());
    Execute("PRAGMA synchronous = OFF"); // nothing in it has to outlast a power failure
}

void Connection::Execute(const char* sql)
{
    Check(sqlite3_exec(m_connection.get(), sql, nullptr, nullptr, nullptr), m_connection.get());
}

Transaction::~Transaction()
{
    if (m_committed)
        return;
    try {
        m_connection.Execute("ROLLBACK");
    } catch (const Error&) {
        // SQLite has rolled back already.
    }
}

void Transaction::Commit()
{
    m_connection.Execute("COMMIT");
    m_committed = true;
}

} // namespace Sqlite
