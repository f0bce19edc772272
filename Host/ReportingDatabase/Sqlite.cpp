#include "Host/ReportingDatabase/Sqlite.h"

#include "Platform/Threads.h"

namespace Sqlite
{

namespace
{

[[noreturn]] void Fail(sqlite3* connection)
{
    throw Error(connection ? sqlite3_errmsg(connection) : "out of memory");
}

std::optional<std::string> Argument(sqlite3_value* value)
{
    const auto* text = sqlite3_value_text(value);
    if (!text)
        return std::nullopt;
    return std::string(reinterpret_cast<const char*>(text), static_cast<std::size_t>(sqlite3_value_bytes(value)));
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

} // namespace

Statement::Statement(sqlite3* connection, const char* sql)
{
    sqlite3_stmt* statement = nullptr;
    if (sqlite3_prepare_v2(connection, sql, -1, &statement, nullptr) != SQLITE_OK)
        Fail(connection);
    m_statement.reset(statement);
}

void Statement::Bind(int index, const std::optional<std::string>& text)
{
    const int result =
        text ? sqlite3_bind_text64(m_statement.get(), index, text->data(), text->size(), SQLITE_TRANSIENT, SQLITE_UTF8)
             : sqlite3_bind_null(m_statement.get(), index);
    if (result != SQLITE_OK)
        Fail(sqlite3_db_handle(m_statement.get()));
}

bool Statement::Step()
{
    const int result = sqlite3_step(m_statement.get());
    if (result == SQLITE_ROW)
        return true;
    if (result == SQLITE_DONE)
        return sqlite3_reset(m_statement.get()), false;
    const Error error(sqlite3_errmsg(sqlite3_db_handle(m_statement.get())));
    sqlite3_reset(m_statement.get());
    throw error;
}

std::optional<std::string> Statement::Text(int column) const
{
    const auto* text = sqlite3_column_text(m_statement.get(), column);
    if (!text)
        return std::nullopt;
    const int size = sqlite3_column_bytes(m_statement.get(), column);
    return std::string(reinterpret_cast<const char*>(text), static_cast<std::size_t>(size));
}

Connection::Connection(const std::filesystem::path& file, Access access, const Patience& patience)
    : m_wait(new Wait{patience})
{
    const std::u8string name = file.u8string();
    const int flags = access == Access::ReadOnly ? SQLITE_OPEN_READONLY : SQLITE_OPEN_READWRITE | SQLITE_OPEN_CREATE;
    sqlite3* connection = nullptr;
    const int result = sqlite3_open_v2(reinterpret_cast<const char*>(name.c_str()), &connection, flags, nullptr);
    m_connection.reset(connection);
    if (result != SQLITE_OK)
        Fail(connection);
    sqlite3_busy_handler(connection, &Wait::Continue, m_wait.get());
    Execute("PRAGMA synchronous = OFF"); // nothing in it has to outlast a power failure
}

int Connection::Wait::Continue(void* wait, int rounds)
{
    constexpr std::chrono::milliseconds step(50);
    auto& self = *static_cast<Wait*>(wait);
    if (rounds == 0)
        self.end = Platform::SteadyNow() + self.patience.limit;
    if (Platform::SteadyNow() >= self.end || (self.patience.isStopped && self.patience.isStopped()))
        return 0;
    Platform::SleepFor(step);
    return 1;
}

void Connection::Execute(const char* sql)
{
    if (sqlite3_exec(m_connection.get(), sql, nullptr, nullptr, nullptr) != SQLITE_OK)
        Fail(m_connection.get());
}

void Connection::AddFunction(const char* name, TextFunction function)
{
    const auto data = reinterpret_cast<void*>(function);
    if (sqlite3_create_function(m_connection.get(), name, 2, SQLITE_UTF8 | SQLITE_DETERMINISTIC, data, &Call, nullptr,
                                nullptr) != SQLITE_OK)
        Fail(m_connection.get());
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
