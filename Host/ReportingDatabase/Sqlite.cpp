#include "Host/ReportingDatabase/Sqlite.h"

#include "Platform/Threads.h"

namespace Sqlite
{

namespace
{

void Check(int result, sqlite3* connection)
{
    if (result != SQLITE_OK)
        throw Error(result, connection ? sqlite3_errmsg(connection) : "out of memory");
}

std::optional<std::string> ToText(const unsigned char* text, int size)
{
    return text ? std::optional(std::string(reinterpret_cast<const char*>(text), static_cast<std::size_t>(size)))
                : std::nullopt;
}

std::optional<std::string> Argument(sqlite3_value* value)
{
    const unsigned char* const text = sqlite3_value_text(value);
    return ToText(text, sqlite3_value_bytes(value));
}

void Call(sqlite3_context* context, int, sqlite3_value** arguments)
{
    const auto function = reinterpret_cast<Connection::TextFunction>(sqlite3_user_data(context));
    try {
        const std::optional<std::string> result = function(Argument(arguments[0]), Argument(arguments[1]));
        if (result)
            sqlite3_result_text64(context, result->data(), result->size(), SQLITE_TRANSIENT, SQLITE_UTF8);
    } catch (const std::bad_alloc&) {
        sqlite3_result_error_nomem(context);
    }
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

void Statement::Bind(int index, const std::optional<std::string>& text)
{
    const int result =
        text ? sqlite3_bind_text64(m_statement.get(), index, text->data(), text->size(), SQLITE_TRANSIENT, SQLITE_UTF8)
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

std::optional<std::string> Statement::Text(int column) const
{
    const unsigned char* const text = sqlite3_column_text(m_statement.get(), column);
    return ToText(text, sqlite3_column_bytes(m_statement.get(), column));
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

void Connection::AddFunction(const char* name, TextFunction function)
{
    Check(sqlite3_create_function(m_connection.get(), name, 2, SQLITE_UTF8 | SQLITE_DETERMINISTIC,
                                  reinterpret_cast<void*>(function), &Call, nullptr, nullptr),
          m_connection.get());
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
