#include "Host/Program/TimelineReader.h"

#include "Host/Program/Console.h"
#include "Host/Program/Requests.h"
#include "Host/Program/SiteHost.h"
#include "Host/Program/SiteValues.h"
#include "Interfaces/TrackerControl.h"
#include "Platform/Text.h"

#include <algorithm>

namespace Host
{

namespace
{

using Findings = std::vector<Finding>;

constexpr double LongestWait = 3600;
constexpr double DefaultLimit = 20;
constexpr std::int64_t MostRequests = 256;

std::wstring ValueText(const AttributeValue& value)
{
    if (const auto* text = std::get_if<std::wstring>(&value))
        return L'"' + *text + L'"';
    if (const auto* truth = std::get_if<bool>(&value))
        return *truth ? L"true" : L"false";
    if (const auto* number = std::get_if<std::int32_t>(&value))
        return std::to_wstring(*number);
    if (const auto* large = std::get_if<std::int64_t>(&value))
        return std::to_wstring(*large);
    if (const auto* texts = std::get_if<std::vector<std::wstring>>(&value))
        return Count(texts->size(), L"text");
    if (const auto* binary = std::get_if<Binary>(&value))
        return Count(binary->bytes.size(), L"byte");
    return L"(empty)";
}

Finding DescribeSettings(const SiteHost& host)
{
    const NodeDescription* entry = host.EnabledEntry();
    return {entry ? L"settings: '" + entry->name + L"' is enabled" : L"settings: no entry is enabled"};
}

bool ReadTrue(const JsonCursor& json)
{
    if (!json.Boolean())
        json.Fail("true");
    return true;
}

// The part of a text that tells about an account, or about all of them.
std::wstring For(const std::wstring& name)
{
    return name.empty() ? L"" : L" for " + name;
}

FaultForm ReadFaultForm(const JsonCursor& json)
{
    if (json.Value() == "call")
        return FaultForm::Call;
    if (json.Value() == "result")
        return FaultForm::Result;
    if (json.Value() == "bareResult")
        return FaultForm::BareResult;
    json.Fail("\"call\", \"result\" or \"bareResult\"");
}

// Failures, recoveries and delays of a component of the host: "fail" with or without "as", "recover", "delayS".
// `account` is how the component knows the account that is meant, and `shown` how a person does; both empty for all.
template <class GetPlan>
decltype(Event::perform) ReadFault(const JsonCursor& json, const std::wstring& component, const std::wstring& account,
                                   const std::wstring& shown, const GetPlan& plan)
{
    if (const auto delay = json.Find("delayS")) {
        const std::chrono::duration<double> duration(delay->Number(0, LongestWait));
        return [=](SiteHost& host) {
            plan(host).SetDelay(duration);
            return Findings{{component + L": takes " + std::to_wstring(std::lround(duration.count() * 1000)) + L" ms"}};
        };
    }
    if (json.Has("recover")) {
        ReadTrue(json["recover"]);
        return [=](SiteHost& host) {
            plan(host).Recover(account);
            return Findings{{component + L": answers again" + For(shown)}};
        };
    }
    const Fault fault{json["fail"].Name(), json.Has("as") ? ReadFaultForm(json["as"]) : FaultForm::Call};
    return [=](SiteHost& host) {
        plan(host).Fail(account, fault);
        return Findings{{component + L": fails" + For(shown) + L": " + fault.text}};
    };
}

} // namespace

TimelineReader::TimelineReader(const Site& site) : m_site(site), m_accounts(site.accounts)
{
    AddPaths(site.configuration, {});
    for (const NodeDescription& entry : site.connectionSettings)
        m_entries.insert(entry.name);
}

void TimelineReader::AddPaths(const NodeDescription& node, const std::wstring& parent)
{
    const std::wstring path = parent + L'\\' + node.name;
    m_paths.insert(path);
    for (const NodeDescription& child : node.children)
        AddPaths(child, path);
}

Event TimelineReader::Read(const JsonCursor& json)
{
    static const std::map<std::string, Action (TimelineReader::*)(const JsonCursor&)> readers{
        {"settings", &TimelineReader::ReadSettings}, {"configure", &TimelineReader::ReadConfigure},
        {"source", &TimelineReader::ReadSource},     {"database", &TimelineReader::ReadDatabase},
        {"accounts", &TimelineReader::ReadAccounts}, {"permissions", &TimelineReader::ReadPermissions},
        {"tokens", &TimelineReader::ReadTokens},     {"gate", &TimelineReader::ReadGate},
        {"requests", &TimelineReader::ReadRequests}, {"stop", &TimelineReader::ReadStop},
    };
    const std::vector<std::string> common{"say", "until", "limit", "cycle"};
    std::vector<std::vector<std::string>> forms{{"wait"}};
    for (const auto& [key, reader] : readers)
        forms.push_back({key});
    const bool isBare = json.Has("cycle") || json.Has("until");
    if (isBare && std::none_of(forms.begin(), forms.end(), [&](const auto& form) { return json.Has(form[0]); }))
        forms = {{"say"}};
    for (auto& form : forms)
        form.insert(form.end(), common.begin(), common.end());
    const std::string action = json.FormOf(forms);

    Event event;
    event.say = json["say"].Name();
    if (const auto until = json.Find("until"))
        event.until = ReadCondition(*until);
    event.limit = json.Has("limit") ? json["limit"].Number(0, LongestWait) : DefaultLimit;
    event.cycle = json.Has("cycle") ? json["cycle"].Boolean() : !event.until;
    if (action == "wait")
        event.wait = json["wait"].Number(0, LongestWait);
    else if (action != "say")
        event.perform = (this->*readers.at(action))(json[action]);
    return event;
}

Condition TimelineReader::ReadCondition(const JsonCursor& json) const
{
    json.CheckKeys({"rows", "roles", "listed", "unlisted", "granted", "queries", "tokens", "failedGrants"});
    const auto number = [&](const char* key) {
        const auto found = json.Find(key);
        return found ? std::optional(static_cast<std::uint64_t>(found->Integer(0, INT32_MAX))) : std::nullopt;
    };
    Condition condition;
    condition.rows = number("rows");
    condition.roles = number("roles");
    for (const auto& [key, names] : {std::pair("listed", &condition.listed), std::pair("unlisted", &condition.unlisted),
                                     std::pair("granted", &condition.granted)}) {
        if (const auto found = json.Find(key))
            *names = ReadAccountNames(*found);
    }
    condition.activity = {number("queries").value_or(0), number("tokens").value_or(0),
                          number("failedGrants").value_or(0)};
    return condition;
}

TimelineReader::Action TimelineReader::ReadSettings(const JsonCursor& json)
{
    if (json.FormOf({{"entries"}, {"enable"}}) == "entries") {
        const auto entries = ReadNamed(json["entries"], ReadConnectionSettings);
        m_entries.clear();
        for (const NodeDescription& entry : entries)
            m_entries.insert(entry.name);
        return [=](SiteHost& host) {
            host.ReplaceSettings(entries);
            return Findings{DescribeSettings(host)};
        };
    }
    const JsonCursor enable = json["enable"];
    const std::wstring name = enable.Value().is_null() ? std::wstring() : enable.Name();
    if (!name.empty() && !m_entries.contains(name))
        enable.Fail("null or the name of a connection-settings entry known by then");
    return [=](SiteHost& host) {
        host.EnableSettings(name);
        return Findings{DescribeSettings(host)};
    };
}

TimelineReader::Action TimelineReader::ReadConfigure(const JsonCursor& json)
{
    const std::string action = json.FormOf({{"set", "path", "create"}, {"remove", "path"}});
    const std::wstring path = json["path"].Name();
    const std::vector<std::wstring> names = SplitNodePath(path);
    const std::wstring root = m_paths.begin()->substr(1);
    if (names.empty() || names.front() != root)
        json["path"].Fail("a path that begins with \"\\\\" + Text::ToUtf8(root) + '"');
    const bool create = json.Has("create") && json["create"].Boolean();
    if (!create && !m_paths.contains(path))
        json["path"].Fail("the path of a node that exists by then, or \"create\": true");

    if (action == "remove") {
        ReadTrue(json["remove"]);
        if (names.size() == 1)
            json["path"].Fail("another node than the root to remove");
        std::erase_if(m_paths,
                      [&](const std::wstring& known) { return known == path || known.starts_with(path + L'\\'); });
        return [=](SiteHost& host) {
            host.ConfigServer().RemoveNode(path);
            return Findings{{L"configuration: " + path + L" is removed"}};
        };
    }
    std::wstring walked;
    for (const std::wstring& name : names)
        m_paths.insert(walked += L'\\' + name);
    const std::vector<Attribute> attributes = ReadAttributes(json["set"]);
    std::wstring text = L"configuration: " + path + L" has";
    for (const Attribute& attribute : attributes)
        text += L' ' + attribute.name + L" = " + ValueText(attribute.value);
    return [=](SiteHost& host) {
        host.ConfigServer().SetAttributes(path, attributes, create);
        return Findings{{text}};
    };
}

TimelineReader::Action TimelineReader::ReadSource(const JsonCursor& json)
{
    const std::string action = json.FormOf({{"items", "name"},
                                            {"add", "name"},
                                            {"remove", "name"},
                                            {"fail", "name"},
                                            {"recover", "name"},
                                            {"delayS", "name"}});
    const std::wstring name = json["name"].Name();
    const auto& sources = m_site.sources;
    if (std::none_of(sources.begin(), sources.end(), [&](const SiteSource& each) { return each.name == name; }))
        json["name"].Fail("the name of an entry of /accessInfo");
    const std::wstring source = L"source '" + name + L"'";
    if (action == "remove") {
        const auto accounts = ReadArray(json["remove"], [](const JsonCursor& each) { return each.Name(); });
        return [=](SiteHost& host) {
            return Findings{{source + L": gone: " + Count(host.Source(name).RemoveAccounts(accounts), L"item")}};
        };
    }
    if (action == "items" || action == "add") {
        const auto items = ReadArray(json[action], ReadAccessItem);
        const bool replace = action == "items";
        return [=](SiteHost& host) {
            if (replace)
                host.Source(name).SetItems({});
            host.Source(name).AddItems(items);
            return Findings{{source + (replace ? L": now vouches for " : L": adds ") + Count(items.size(), L"item")}};
        };
    }
    return ReadFault(json, source, {}, {}, [=](SiteHost& host) -> FaultPlan& { return host.Source(name).Faults(); });
}

TimelineReader::Action TimelineReader::ReadDatabase(const JsonCursor& json)
{
    json.CheckKeys({"outage", "failAtStatement"});
    std::optional<bool> outage;
    std::optional<std::uint64_t> failing;
    if (const auto found = json.Find("outage"))
        outage = found->Boolean();
    if (const auto found = json.Find("failAtStatement"))
        failing = static_cast<std::uint64_t>(found->Integer(0, INT32_MAX));
    if (!outage && !failing)
        json.Fail("\"outage\" or \"failAtStatement\" or both");
    return [=](SiteHost& host) {
        Findings findings;
        if (outage) {
            host.Connections().SetOutOfOrder(*outage);
            findings.push_back({*outage ? L"database: does not answer" : L"database: answers again"});
        }
        if (failing) {
            host.Connections().FailAtStatement(*failing);
            findings.push_back({*failing == 0 ? L"database: sessions last again"
                                              : L"database: sessions break at statement " + std::to_wstring(*failing)});
        }
        return findings;
    };
}

TimelineReader::Action TimelineReader::ReadAccounts(const JsonCursor& json)
{
    const std::string action = json.FormOf({{"remove"}, {"rename", "to"}});
    std::wstring text = L"accounts: " + json[action].Name();
    if (action == "remove") {
        m_accounts.Remove(json["remove"]);
        text += L" is gone";
    } else {
        m_accounts.Rename(json["rename"], json["to"]);
        text += L" is now called " + json["to"].Name();
    }
    return [text, accounts = m_accounts](SiteHost& host) {
        host.ReplaceAccounts(accounts);
        return Findings{{text}};
    };
}

TimelineReader::Action TimelineReader::ReadPermissions(const JsonCursor& json)
{
    const std::string action =
        json.FormOf({{"grant"}, {"revoke"}, {"fail", "account"}, {"recover", "account"}, {"delayS"}});
    if (action == "grant") {
        const Grant grant = ReadGrant(json["grant"], m_accounts);
        const std::wstring extent =
            grant.containers.empty() ? L"every container" : Count(grant.containers.size(), L"container");
        const std::wstring text =
            L"permissions: " + json["grant"]["account"].Name() + L" gets '" + grant.permission + L"' on " + extent;
        return [=](SiteHost& host) {
            host.Permissions().Add(grant);
            return Findings{{text}};
        };
    }
    if (action == "revoke") {
        const JsonCursor revoke = json["revoke"];
        revoke.CheckKeys({"account", "permission"});
        const std::wstring sid = ReadSid(revoke["account"], m_accounts);
        const std::wstring permission = revoke.Has("permission") ? revoke["permission"].Name() : std::wstring();
        const std::wstring text = L"permissions: " + revoke["account"].Name() + L" loses " +
                                  (permission.empty() ? L"every permission" : L"'" + permission + L"'");
        return [=](SiteHost& host) {
            host.Permissions().Revoke(sid, permission);
            return Findings{{text}};
        };
    }
    const std::wstring shown = json.Has("account") ? json["account"].Name() : std::wstring();
    return ReadFault(json, L"permissions checker", ReadSidOf(json), shown,
                     [](SiteHost& host) -> FaultPlan& { return host.Permissions().Faults(); });
}

TimelineReader::Action TimelineReader::ReadTokens(const JsonCursor& json)
{
    const std::string action =
        json.FormOf({{"expire", "account"}, {"fail", "account"}, {"recover", "account"}, {"delayS"}});
    const std::wstring shown = json.Has("account") ? json["account"].Name() : std::wstring();
    const std::wstring sid = ReadSidOf(json);
    if (action == "expire") {
        ReadTrue(json["expire"]);
        return [=](SiteHost& host) {
            host.Tokens().Expire(sid);
            return Findings{{L"token manager: the tokens so far have expired" + For(shown)}};
        };
    }
    return ReadFault(json, L"token manager", sid, shown,
                     [](SiteHost& host) -> FaultPlan& { return host.Tokens().Faults(); });
}

TimelineReader::Action TimelineReader::ReadGate(const JsonCursor& json)
{
    json.FormOf({{"fail", "as", "account"}, {"recover", "account"}, {"delayS"}});
    const std::wstring account = json.Has("account") ? m_accounts.FullName(json["account"].Name()) : std::wstring();
    return ReadFault(json, L"settings gate", account, account,
                     [](SiteHost& host) -> FaultPlan& { return host.Gate().Faults(); });
}

TimelineReader::Action TimelineReader::ReadRequests(const JsonCursor& json)
{
    const std::wstring service = NameOfClass("PrepareReportAccessService", json);
    const auto requests = ReadArray(json, [&](const JsonCursor& each) {
        each.CheckKeys({"from", "through", "waitForSync"});
        SiteRequest request{L"nobody", {}, {}, each.Has("waitForSync") && each["waitForSync"].Boolean()};
        if (!each["from"].Value().is_null()) {
            request.sid = ReadSid(each["from"], m_accounts);
            request.shown = each["from"].Name();
        }
        for (const JsonCursor& through : each.Has("through") ? each["through"].Items() : std::vector<JsonCursor>()) {
            request.through.push_back(ReadSid(through, m_accounts));
            request.shown += L" through " + through.Name();
        }
        return request;
    });
    if (requests.empty() || requests.size() > MostRequests)
        json.Fail("1 to " + std::to_string(MostRequests) + " requests");
    return [=](SiteHost& host) { return SendRequests(host, service, requests); };
}

TimelineReader::Action TimelineReader::ReadStop(const JsonCursor& json)
{
    ReadTrue(json);
    const std::wstring tracker = NameOfClass("ConfiguredAccountsTracker", json);
    return [=](SiteHost&) {
        const HRESULT result = GetInstance<ITrackerControl>(tracker)->Stop();
        return Findings{{L"'" + tracker + L"' is stopped", FAILED(result)}};
    };
}

// The SID of the account that the event is about; empty when it is about all of them.
std::wstring TimelineReader::ReadSidOf(const JsonCursor& json) const
{
    return json.Has("account") ? ReadSid(json["account"], m_accounts) : std::wstring();
}

std::vector<std::wstring> TimelineReader::ReadAccountNames(const JsonCursor& json) const
{
    return ReadArray(json, [this](const JsonCursor& each) { return m_accounts.FullName(each.Name()); });
}

// The name of the site's first component of a class.
std::wstring TimelineReader::NameOfClass(const char* moduleClass, const JsonCursor& json) const
{
    const auto& components = m_site.components;
    const auto found = std::find_if(components.begin(), components.end(),
                                    [&](const SiteComponent& each) { return each.moduleClass->name == moduleClass; });
    if (found == components.end())
        json.Fail(std::string("this in a site with a component of class \"") + moduleClass + '"');
    return found->name;
}

} // namespace Host
