#include "Tools/Log/AccountTrail.h"

#include "Tools/Log/Changes.h"
#include "Tools/Log/TextOutput.h"

#include <algorithm>

namespace LogTool
{

namespace
{

constexpr std::string_view OwnSources = "a source of the host's own";

// What stands behind `prefix`, and before the last `end` where one is given; nothing for another text.
std::optional<std::string> Behind(std::string_view text, std::string_view prefix, std::string_view end = {})
{
    if (!text.starts_with(prefix))
        return std::nullopt;
    text.remove_prefix(prefix.size());
    return std::string(end.empty() ? text : text.substr(0, text.rfind(end)));
}

std::string_view WithoutPrefix(std::string_view sid)
{
    constexpr std::string_view prefix = "win:sid=";
    return sid.starts_with(prefix) ? sid.substr(prefix.size()) : sid;
}

// Parts a text at the last `separator`; the second part is empty without one.
std::pair<std::string, std::string> Split(const std::string& text, std::string_view separator)
{
    const std::size_t at = text.rfind(separator);
    return at == text.npos ? std::pair(text, std::string())
                           : std::pair(text.substr(0, at), text.substr(at + separator.size()));
}

std::string KindOfAccount(const std::string& number)
{
    static const std::map<std::string, std::string> kinds{{"1", "a user"},
                                                          {"2", "a group"},
                                                          {"3", "a domain"},
                                                          {"4", "an alias"},
                                                          {"5", "a well-known group"},
                                                          {"6", "a deleted account"},
                                                          {"9", "a computer"}};
    const auto known = kinds.find(number);
    return known == kinds.end() ? "of kind " + number : known->second;
}

} // namespace

void AccountTrail::Granted::Add(const AccessItem& item)
{
    ++items;
    objects += item.objects.value_or(0);
    everyObject = everyObject || !item.objects;
    isLocal = isLocal && item.isLocal;
}

std::string AccountTrail::Granted::Objects() const
{
    return everyObject ? "every object" : std::to_string(objects) + (objects == 1 ? " object" : " objects");
}

AccountTrail::AccountTrail(const std::string& account)
    : m_account(account), m_isSid(WithoutPrefix(account).starts_with("S-1-"))
{
    if (m_isSid)
        m_sids.emplace(WithoutPrefix(account));
    else
        m_names.insert(FoldAccount(account));
}

void AccountTrail::BeginPass()
{
    m_threads.clear();
    m_events.clear();
    m_last.clear();
    m_vouching.clear();
}

void AccountTrail::Take(const Line& line)
{
    if (line.kind == LineKind::Banner)
        return;
    Thread& thread = m_threads[{line.process, line.thread}];
    if (line.kind == LineKind::Further) {
        TakeFurther(thread, line);
        return;
    }
    if (line.severity != SeverityUnknown)
        m_lowestSeverity = std::max(m_lowestSeverity, line.severity);
    EndNode(thread, line);
    TakeEntry(thread, line);
}

void AccountTrail::TakeEntry(Thread& thread, const Line& line)
{
    TakeResolution(thread, line);
    TakeRequest(thread, line);
    TakeSource(thread, line);
    TakeCycle(thread, line);
    TakeRole(thread, line);
}

// The tracker of configured accounts: text, SID, name, token, the checker's answer.
void AccountTrail::TakeResolution(Thread& thread, const Line& line)
{
    const std::string& message = line.message;
    const std::string sid = std::exchange(thread.sid, {}); // known for the next line only
    if (const auto names = Behind(message, "Name '", "' with sid_type=")) {
        const auto [text, resolved] = Split(*names, "' resolved to sid='");
        if (IsOurs(text) || IsOurSid(resolved)) {
            Know({}, resolved);
            Tell(line, "resolved", "the configured text '" + text + "' was resolved to " + resolved);
        }
    } else if (const auto failed = Behind(message, "Resolving '")) {
        const auto [text, error] = Split(*failed, "' to sid failed: ");
        if (IsOurs(text))
            Tell(line, "resolved",
                 "the configured text '" + text + "' could not be resolved: " + WithoutCallStack(error));
    } else if (const auto lookedUp = Behind(message, "Updating AccountName for sid='", "'")) {
        thread.sid = *lookedUp;
    } else if (const auto found = Behind(message, "Updated: AccountName='")) {
        const auto [name, kind] = Split(*found, "' sid_type=");
        if (IsOurs(name) || IsOurSid(sid)) {
            Know(name, sid);
            Tell(line, "named",
                 sid + " is " + name + ", " + KindOfAccount(kind) +
                     (kind == "1" ? "" : ": it gets no access of its own"));
        }
    } else if (const auto token = Behind(message, "Querying access for: 'AuthToken[", "'")) {
        const auto [subject, name] = Split(Split(*token, "SubjectId='").second, "';SubjectDisplayName='");
        thread.isAsked = IsOurSid(subject);
        if (thread.isAsked)
            Tell(line, "token",
                 "the permissions checker was asked with a token of " + subject + ", named " +
                     name.substr(0, name.rfind("']")));
    } else if (message == "Result access rights info: KelNode[<null>]" && thread.isAsked) {
        Tell(line, "answer", "the permissions checker grants it nothing");
    } else if (message.starts_with("Result access rights info: ")) {
        thread.node = thread.isAsked ? Node::Answer : Node::None;
    } else if (const auto full = Behind(message, "Granting full access for: '", "'")) {
        if (IsOurs(*full))
            Tell(line, "answer", "no permission is configured: it is granted every object");
    } else if (const auto trouble = Behind(message, "UpdateAccountAccessItem for '")) {
        const auto [subject, error] = Split(*trouble, "' failed: ");
        if (IsOurSid(subject))
            Tell(line, "answer", "its access could not be found out and stays as it was: " + WithoutCallStack(error));
    }
}

void AccountTrail::TakeRequest(Thread& thread, const Line& line)
{
    if (line.message.starts_with("AuthToken: KelNode[0x")) {
        thread.node = Node::Token;
        thread.clients = 0;
    } else if (line.message.starts_with("Entering: CPrepareReportAccessService::ProcessRequest")) {
        thread.isClient = false;
    } else if (const auto error = Behind(line.message, "CPrepareReportAccessService::ProcessRequest failed: ")) {
        if (std::exchange(thread.isClient, false))
            Tell(line, "request", "its request for reports failed: " + WithoutCallStack(*error));
    }
}

// What each source hands out in a cycle.
void AccountTrail::TakeSource(Thread& thread, const Line& line)
{
    const std::string& message = line.message;
    constexpr std::string_view operation = "::GetAllowedViewers";
    if (const auto entered = Behind(message, "Entering: ", operation); entered && message.ends_with(operation)) {
        thread.source = *entered;
        thread.vouched = {};
    } else if (message.starts_with("Exiting: " + thread.source + std::string(operation)) && !thread.source.empty()) {
        const bool vouches = thread.vouched.items != 0;
        thread.vouchedItems += thread.vouched.items;
        if (vouches)
            Tell(line, thread.source, thread.source + " vouches for it: " + thread.vouched.Objects());
        else if (m_vouching[thread.source])
            Tell(line, thread.source, thread.source + " does not vouch for it any more");
        m_vouching[thread.source] = vouches;
        thread.source.clear();
    } else if (const auto client = Behind(message, "Adding access info for '", "':KelNode[")) {
        if (message.ends_with(":KelNode[<null>]") && IsOurSid(*client))
            Tell(line, "answer", "it has asked for reports, and the permissions checker grants it nothing");
        thread.node = Node::Vouched;
    } else if (message.starts_with("Adding access info: ")) {
        thread.node = Node::Vouched;
    } else if (const auto expired = Behind(message, "Removing expired client info for: '", "'")) {
        if (IsOurSid(*expired))
            Tell(line, "request", "its last request for reports is longer ago than ExpirationTimeoutS");
    } else if (const auto failed = Behind(message, "Unable to query access info source=")) {
        const auto [source, error] = Split(*failed, " failed: ");
        Tell(line, "source " + source, "the source " + source + " could not be asked: " + WithoutCallStack(error));
    } else if (message.starts_with("The answer of ")) {
        Tell(line, "grace", message);
    }
}

void AccountTrail::TakeCycle(Thread& thread, const Line& line)
{
    const std::string& message = line.message;
    if (message == "Entering: CReportAccessInfoUpdater::UploadAccessInfo") {
        thread.gathered = {};
        thread.vouchedItems = 0;
        thread.isFiltered = false;
        thread.isWriting = false;
    } else if (message.starts_with("Processing AccessRights: ")) {
        thread.node = Node::Gathered;
    } else if (message == "Removing local-only account items") {
        thread.isFiltered = true;
    } else if (message == "Populating access rights table") {
        thread.isWriting = true;
    } else if (message.starts_with("Exiting: CReportAccessInfoUpdater::UploadAccessInfo")) {
        EndWrite(thread, line);
    } else if (const auto error = Behind(message, "CReportAccessInfoUpdater::UpdateAction failed: ")) {
        Tell(line, "cycle", "a cycle failed, and the table stayed as it was: " + WithoutCallStack(*error));
    } else if (message.starts_with("Access rights table is ")) {
        Tell(line, "cycle", message);
    }
    std::string unnamed;
    for (const ChangedAccount& each : ReadChanges(message, unnamed)) {
        if (IsOurs(each.account))
            Tell(line, "change", std::string(each.gained ? "the table: gained " : "the table: lost ") + each.objects);
    }
    m_hasUnnamed = m_hasUnnamed || !unnamed.empty();
}

// A cycle that has written the table is over.
void AccountTrail::EndWrite(Thread& thread, const Line& line)
{
    if (!std::exchange(thread.isWriting, false))
        return;
    const Granted& gathered = thread.gathered;
    const std::string own(OwnSources);
    const bool hostVouches = gathered.items > thread.vouchedItems;
    if (hostVouches)
        Tell(line, own, own + " vouches for it");
    else if (m_vouching[own])
        Tell(line, own, "no source of the host's own vouches for it any more");
    m_vouching[own] = hostVouches;
    if (gathered.items == 0)
        Tell(line, "table", "the table was written without it: no source vouches for it");
    else if (gathered.isLocal && thread.isFiltered)
        Tell(line, "table",
             "the table was written without it: it exists on one computer only, and the report server is another one");
    else
        Tell(line, "table", "the table was written with it: " + gathered.Objects());
}

void AccountTrail::TakeRole(Thread& thread, const Line& line)
{
    const std::string& message = line.message;
    if (const auto added = Behind(message, "Adding item to process: '", "'")) {
        if (IsOurs(*added))
            Tell(line, "role", "its role is to be asked for");
    } else if (message.starts_with("Entering: Processing account '")) {
        thread.roleSkipped.clear();
    } else if (const auto reason = Behind(message, "skipping - ")) {
        thread.roleSkipped = *reason;
    } else if (const auto done = Behind(message, "Exiting: Processing account '", "' [")) {
        if (IsOurs(*done))
            Tell(line, "role",
                 thread.roleSkipped.empty() ? "its role was asked for and granted"
                                            : "its role was not asked for: " + thread.roleSkipped);
    } else if (const auto failed = Behind(message, "Adding 'Browser' role for account '")) {
        const auto [name, error] = Split(*failed, "' failed: ");
        if (IsOurs(name))
            Tell(line, "role", "its role was asked for and refused: " + WithoutCallStack(error));
    }
}

void AccountTrail::TakeFurther(Thread& thread, const Line& line)
{
    if (thread.node == Node::Token) {
        if (WithoutIndentation(line.text).starts_with("<node "))
            ++thread.clients;
        if (auto subject = AttributeText(line.text, "SubjectId"))
            thread.subject = std::move(*subject);
        else if (auto name = AttributeText(line.text, "SubjectDisplayName"))
            thread.subjectName = std::move(*name);
        return;
    }
    const AccessItem* const item = thread.node == Node::None ? nullptr : thread.items.TakeLine(line.text);
    if (!item || (thread.node != Node::Answer && !item->account.empty() && !IsOurs(item->account)))
        return;
    if (thread.node == Node::Vouched) {
        thread.vouched.Add(*item);
    } else if (thread.node == Node::Gathered) {
        thread.gathered.Add(*item);
    } else {
        Granted answer;
        answer.Add(*item);
        Tell(line, "answer", "the permissions checker grants it " + answer.Objects());
    }
}

// The innermost client of a token is known when the token has been read.
void AccountTrail::EndNode(Thread& thread, const Line& line)
{
    if (std::exchange(thread.node, Node::None) != Node::Token)
        return;
    thread.isClient = IsOurs(thread.subjectName) || IsOurSid(thread.subject);
    if (!thread.isClient)
        return;
    Know(thread.subjectName, thread.subject);
    const std::size_t services = thread.clients - std::min<std::size_t>(thread.clients, 1);
    Tell(line, "request",
         "asked for reports with a token of " + thread.subject +
             (services == 0 ? ""
                            : ", through " + std::to_string(services) + (services == 1 ? " service" : " services")));
}

bool AccountTrail::IsOurs(std::string_view name) const
{
    return m_names.contains(FoldAccount(name)) || IsOurSid(name);
}

bool AccountTrail::IsOurSid(std::string_view sid) const
{
    return m_sids.contains(std::string(WithoutPrefix(sid)));
}

// The table is written by name: an account that is asked for by name is not followed to another one.
void AccountTrail::Know(std::string_view name, std::string_view sid)
{
    if (m_isSid && !name.empty())
        m_names.insert(FoldAccount(name));
    if (!sid.empty())
        m_sids.emplace(WithoutPrefix(sid));
}

void AccountTrail::Tell(const Line& line, const std::string& subject, const std::string& text)
{
    const auto last = m_last.find(subject);
    if (last != m_last.end() && m_events[last->second].text == text && subject != "change") {
        m_events[last->second].until = line.time;
        return;
    }
    m_last[subject] = m_events.size();
    m_events.push_back({line.time, line.time, text});
}

// The latest of what was told of these subjects.
std::string AccountTrail::Last(std::initializer_list<const char*> subjects) const
{
    const Event* latest = nullptr;
    for (const char* const subject : subjects) {
        const auto last = m_last.find(subject);
        if (last != m_last.end() && (!latest || &m_events[last->second] > latest))
            latest = &m_events[last->second];
    }
    return latest ? latest->text : std::string();
}

void AccountTrail::Write(std::ostream& out) const
{
    out << m_account;
    for (const std::string& sid : m_sids) {
        if (sid != m_account)
            out << "  " << sid;
    }
    const auto firstOf = [](const std::string& text, const std::string& other) { return text.empty() ? other : text; };
    out << "\nrights: "
        << firstOf(Last({"table"}),
                   firstOf(Last({"change"}), "the log tells of no write of the table with or without it"));
    const auto vouches = [](const auto& source) { return source.second; };
    if (std::none_of(m_vouching.begin(), m_vouching.end(), vouches))
        out << "\nmissing: "
            << firstOf(Last({"resolved", "named", "answer", "request"}),
                       "the log tells of no request of it and of no configured text that names it");
    out << "\nrole: " << firstOf(Last({"role"}), "the log tells of no request for its role") << "\n\n";
    for (auto event = m_events.rbegin(); event != m_events.rend(); ++event) {
        out << ToMilliseconds(event->time) << "  " << event->text;
        if (event->until != event->time)
            out << " (still so " << ToMilliseconds(event->until) << ')';
        out << '\n';
    }
    if (!m_events.empty())
        out << '\n';
    if (m_lowestSeverity < SeverityDbg)
        out << "Not in the log, whose MaxSeverity was below DBG: sources, resolved names, tokens, what was written, "
               "roles "
               "that were granted.\n";
    else if (m_lowestSeverity == SeverityDbg)
        out << "Not in the log, whose MaxSeverity was below DBG2: the permissions checker's answers for configured "
               "accounts.\n";
    if (m_lowestSeverity >= SeverityDbg)
        out << "Sources of the host's own write no lines: which of them vouched is not in the log, and that one did "
               "only "
               "where the table was written.\n";
    if (m_hasUnnamed)
        out << "Some lines about changed rights do not name all accounts.\n";
}

} // namespace LogTool
