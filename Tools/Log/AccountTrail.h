// One account's way through the system, as the lines of the log tell it.
#pragma once

#include "Tools/Log/AccessItems.h"
#include "Tools/Log/Line.h"

#include <initializer_list>
#include <map>
#include <ostream>
#include <set>
#include <utility>
#include <vector>

namespace LogTool
{

class AccountTrail
{
public:
    // `account`: a name as the log has it, without regard to case, or a SID.
    explicit AccountTrail(const std::string& account);

    // Takes a whole log. A second pass knows the SIDs and names that the first one has met; only what the last pass has
    // found counts.
    void BeginPass();
    void Take(const Line& line);

    // How it stands at the end, how it came to that, the newest first, and what the log does not say.
    void Write(std::ostream& out) const;

private:
    // What the further lines behind an entry belong to.
    enum class Node
    {
        None,
        Token,
        Vouched,  // an item that a source hands out
        Gathered, // the list of all sources
        Answer,   // of the permissions checker
    };

    struct Event
    {
        std::string time;
        std::string until; // the last line that says the same
        std::string text;
    };

    // What items have granted the account so far.
    struct Granted
    {
        void Add(const AccessItem& item);
        std::string Objects() const;

        std::size_t items = 0;
        std::size_t objects = 0;
        bool everyObject = false;
        bool isLocal = true; // all of them
    };

    struct Thread
    {
        Node node = Node::None;
        AccessItemReader items;
        std::string sid;         // whose name is looked up
        bool isAsked = false;    // the checker is asked for the account
        bool isClient = false;   // the account has made the present request
        std::size_t clients = 0; // tokens in the chain of the present request
        std::string subject;
        std::string subjectName;
        std::string source; // that is being asked
        Granted vouched;    // by that source
        Granted gathered;
        std::size_t vouchedItems = 0; // of the module's sources in this cycle
        bool isFiltered = false;
        bool isWriting = false;
        std::string roleSkipped;
    };

    void TakeEntry(Thread& thread, const Line& line);
    void TakeResolution(Thread& thread, const Line& line);
    void TakeRequest(Thread& thread, const Line& line);
    void TakeSource(Thread& thread, const Line& line);
    void TakeCycle(Thread& thread, const Line& line);
    void TakeRole(Thread& thread, const Line& line);
    void TakeFurther(Thread& thread, const Line& line);
    void EndNode(Thread& thread, const Line& line);
    void EndWrite(Thread& thread, const Line& line);

    bool IsOurs(std::string_view name) const;
    bool IsOurSid(std::string_view sid) const;
    void Know(std::string_view name, std::string_view sid);
    void Tell(const Line& line, const std::string& subject, const std::string& text);
    std::string Last(std::initializer_list<const char*> subjects) const;

    std::set<std::string> m_names; // folded
    std::set<std::string> m_sids;  // without prefix
    const std::string m_account;
    const bool m_isSid;

    std::map<std::pair<unsigned, unsigned>, Thread> m_threads; // by process and thread
    std::vector<Event> m_events;
    std::map<std::string, std::size_t> m_last; // by subject: the event that is so at present
    std::map<std::string, bool> m_vouching;    // by source
    std::size_t m_lowestSeverity = 0;
    bool m_hasUnnamed = false;
};

} // namespace LogTool
