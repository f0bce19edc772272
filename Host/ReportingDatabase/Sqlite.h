// The part of SQLite that the reference host uses, with owning types.
#pragma once

#include <chrono>
#include <filesystem>
#include <memory>
#include <optional>
#include <sqlite3.h>
#include <string>

namespace Sqlite
{

// The code and the text are SQLite's own.
struct Error
{
    int code;
    std::wstring text;
};

struct Closer
{
    void operator()(sqlite3_stmt* statement) const { sqlite3_finalize(statement); }
    void operator()(sqlite3* connection) const { sqlite3_close_v2(connection); }
};

// All of them belong to one thread at a time; a connection outlives its statements. Failures throw Error.

class Statement
{
public:
    Statement(sqlite3* connection, const char* sql);

    // Indexes from 1. The text is copied.
    void Bind(int index, const std::optional<std::wstring>& text);
    // True when there is a row; otherwise the statement can be stepped anew.
    bool Step();
    // Columns from 0. Nothing for NULL.
    std::optional<std::wstring> Text(int column) const;

private:
    std::unique_ptr<sqlite3_stmt, Closer> m_statement;
};

enum class Access
{
    ReadOnly,
    Create, // to read and write; a missing file is created
};

// How long to wait for a lock that another process holds on the file.
struct Patience
{
    std::chrono::milliseconds limit = std::chrono::seconds(60);
    bool (*isStopped)() = nullptr; // asked several times a second; true ends the wait, and the call fails
};

class Connection
{
public:
    Connection(const std::filesystem::path& file, Access access, const Patience& patience = {});

    // Runs any number of statements.
    void Execute(const char* sql);
    Statement Prepare(const char* sql) { return Statement(m_connection.get(), sql); }

private:
    std::unique_ptr<Patience> m_patience; // its address is known to SQLite
    std::unique_ptr<sqlite3, Closer> m_connection;
};

// Rolls back what has not been committed.
class Transaction
{
public:
    explicit Transaction(Connection& connection) : m_connection(connection) { connection.Execute("BEGIN IMMEDIATE"); }
    ~Transaction();
    Transaction(const Transaction&) = delete;
    Transaction& operator=(const Transaction&) = delete;

    void Commit();

private:
    Connection& m_connection;
    bool m_committed = false;
};

} // namespace Sqlite
