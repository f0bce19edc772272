// Who gained and who lost rights, as the updater's INFO lines tell it.
#pragma once

#include "Tools/Log/Line.h"

#include <ostream>
#include <vector>

namespace LogTool
{

struct ChangedAccount
{
    bool gained = false;
    std::string account;
    std::string objects; // "2 objects"
};

// The accounts that a message names as changed; none for any other message. `unnamed`: how many more there were, as
// text; empty for none.
std::vector<ChangedAccount> ReadChanges(const std::string& message, std::string& unnamed);

// Accounts as texts without regard to case.
std::string FoldAccount(std::string_view account);

class ChangeHistory
{
public:
    // `account` empty: of all accounts.
    explicit ChangeHistory(const std::string& account) : m_account(FoldAccount(account)) {}

    void Take(const Line& line);

    // A line for each account and change, the oldest first, and where the log leaves accounts unnamed.
    void Write(std::ostream& out) const;

private:
    const std::string m_account;
    bool m_hasLines = false;
    std::vector<std::string> m_lines;
};

} // namespace LogTool
