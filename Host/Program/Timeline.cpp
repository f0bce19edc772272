// The events of a site: what they need when they are read, and what they do when their turn comes.
#include "Host/Program/Console.h"
#include "Host/Program/SiteHost.h"
#include "Host/Program/SiteValues.h"
#include "Interfaces/RequestService.h"
#include "Interfaces/TrackerControl.h"
#include "Platform/Text.h"

#include <algorithm>
#include <cmath>
#include <future>

namespace Host
{

namespace
{

using Findings = std::vector<Finding>;
using Action = decltype(Event::perform);

constexpr double DefaultLimit = 20;

std::wstring ValueText(const JsonCursor& json)
{
    const nlohmann::json& value = json.Value();
    if (value.is_string())
        return L'"' + json.Text() + L'"';
    if (value.is_array())
        return Count(value.size(), L"text");
    if (value.is_object())
        return Count(value["binary"].get_ref<const std::string&>().size() / 2, L"byte");
    return value.is_null() ? L"(empty)" : Text::FromUtf8(value.dump());
}

// The part of a text that tells about an account, or about all of them.
std::wstring For(const std::wstring& name)
{
    return name.empty() ? L"" : L" for " + name;
}

// An action of which a person reads `text`.
template <class Perform>
Action Do(const std::wstring& text, const Perform& perform)
{
    return [=](SiteHost& host) {
        perform(host);
        return Findings{{text}};
    };
}

// An action after which a person reads which settings are in use.
template <class Perform>
Action ChangeSettings(const Perform& perform)
{
    return [=](SiteHost& host) {
        perform(host);
        const NodeDescription* entry = host.EnabledEntry();
        return Findings{{entry ? L"settings: '" + entry->name + L"' is enabled" : L"settings: no entry is enabled"}};
    };
}

// Failures, recoveries and delays of a component of the host: "fail" with or without "as", "recover", "delayS".
// `part` gives the component of a SiteHost, `account` is how it knows the account that is meant, and `shown` how a
// person does; both empty for all.
template <class Part>
Action ReadFault(const JsonCursor& json, const std::wstring& component, const std::wstring& account,
                 const std::wstring& shown, const Part& part)
{
    if (json.Has("delayS")) {
        const std::chrono::duration<double> duration(json["delayS"].Value().get<double>());
        return Do(component + L": takes " + std::to_wstring(std::lround(duration.count() * 1000)) + L" ms",
                  [=](SiteHost& host) { std::invoke(part, host).Faults().SetDelay(duration); });
    }
    if (json.Has("recover"))
        return Do(component + L": answers again" + For(shown),
                  [=](SiteHost& host) { std::invoke(part, host).Faults().Recover(account); });
    const std::wstring form = json["as"].Text();
    const Fault fault{json["fail"].Text(), form == L"result"       ? FaultForm::Result
                                           : form == L"bareResult" ? FaultForm::BareResult
                                                                   : FaultForm::Call};
    return Do(component + L": fails" + For(shown) + L": " + fault.text,
              [=](SiteHost& host) { std::invoke(part, host).Faults().Fail(account, fault); });
}

// A request that a client sends to the module.
struct Request
{
    std::wstring shown;                // who sends it, and by way of whom
    std::wstring sid;                  // of the client; empty: a request without token
    std::vector<std::wstring> through; // SIDs of forwarding services, the client's own one first
    bool waitForSync = false;
};

// Serves the request on the calling thread.
Finding Send(IRequestService& service, const Request& request, const NodeHandle& token)
{
    const HRESULT result = Boundary([&] {
        const RequestScope scope(token);
        const NodeHandle node = NodeHandle::Create(L"PrepareReportAccessRequest", nullptr);
        node.Set(L"WaitForSync", request.waitForSync);
        NodeHandle response;
        return service.ProcessRequest(node.Get(), response.Out());
    });
    const std::wstring text = L"request of " + request.shown + L": ";
    return FAILED(result) ? Finding{text + L"failed, " + FailureText(result, TakeErrorText()), true}
                          : Finding{text + L"ok"};
}

// Sends them all at once, each on a thread of its own that serves it, to the service that is registered as `service`;
// returns, in their order, what came of each. Throws Failure when there is no such service.
Findings SendRequests(SiteHost& host, const std::wstring& service, const std::vector<Request>& requests)
{
    const auto target = GetInstance<IRequestService>(service);
    std::vector<NodeHandle> tokens;
    for (const Request& each : requests)
        tokens.push_back(each.sid.empty() ? NodeHandle() : host.Tokens().MakeRequestToken(each.sid, each.through));
    std::vector<std::future<Finding>> answers;
    for (std::size_t i = 0; i < requests.size(); ++i)
        answers.push_back(std::async(std::launch::async, [&, i] { return Send(*target, requests[i], tokens[i]); }));
    Findings findings;
    for (std::future<Finding>& answer : answers)
        findings.push_back(answer.get());
    return findings;
}

class TimelineReader
{
public:
    TimelineReader(const Site& site, AccountBook accounts) : m_site(site), m_accounts(std::move(accounts))
    {
        AddPaths(site.configuration, {});
        NoteEntries(site.connectionSettings);
    }

    Event Read(const JsonCursor& json)
    {
        static const std::map<std::string, Action (TimelineReader::*)(const JsonCursor&)> readers{
            {"settings", &TimelineReader::ReadSettings}, {"configure", &TimelineReader::ReadConfigure},
            {"source", &TimelineReader::ReadSource},     {"database", &TimelineReader::ReadDatabase},
            {"accounts", &TimelineReader::ReadAccounts}, {"permissions", &TimelineReader::ReadPermissions},
            {"tokens", &TimelineReader::ReadTokens},     {"gate", &TimelineReader::ReadGate},
            {"requests", &TimelineReader::ReadRequests}, {"stop", &TimelineReader::ReadStop},
        };
        Event event;
        event.say = json["say"].Text();
        if (json.Has("until"))
            event.until = ReadCondition(json["until"]);
        event.limit = json["limit"].As(DefaultLimit);
        event.cycle = json["cycle"].As(!event.until);
        event.wait = json["wait"].As(0.0);
        for (const auto& [key, read] : readers) {
            if (json.Has(key))
                event.perform = (this->*read)(json[key]);
        }
        return event;
    }

private:
    void AddPaths(const NodeDescription& node, const std::wstring& parent)
    {
        const std::wstring path = parent + L'\\' + node.name;
        m_paths.insert(path);
        for (const NodeDescription& child : node.children)
            AddPaths(child, path);
    }

    void NoteEntries(const std::vector<NodeDescription>& entries)
    {
        m_entries.clear();
        for (const NodeDescription& entry : entries)
            m_entries.insert(entry.name);
    }

    Condition ReadCondition(const JsonCursor& json) const
    {
        const auto number = [&](const char* key) {
            return json.Has(key) ? std::optional(json[key].Value().get<std::uint64_t>()) : std::nullopt;
        };
        const auto names = [&](const char* key) {
            return ReadArray(json[key], [this](const JsonCursor& each) { return m_accounts.FullName(each.Text()); });
        };
        const Activity activity{number("queries").value_or(0), number("tokens").value_or(0),
                                number("failedGrants").value_or(0)};
        return {number("rows"), number("roles"), names("listed"), names("unlisted"), names("granted"), activity};
    }

    Action ReadSettings(const JsonCursor& json)
    {
        if (json.Has("entries")) {
            const auto entries = ReadNamed(json["entries"], &ReadNode);
            NoteEntries(entries);
            return ChangeSettings([=](SiteHost& host) { host.ReplaceSettings(entries); });
        }
        const JsonCursor enable = json["enable"];
        const std::wstring name = enable.Text();
        if (!enable.Value().is_null() && !m_entries.contains(name))
            enable.Fail("null or the name of a connection-settings entry known by then");
        return ChangeSettings([=](SiteHost& host) { host.EnableSettings(name); });
    }

    Action ReadConfigure(const JsonCursor& json)
    {
        const std::wstring path = json["path"].Text();
        const std::vector<std::wstring> names = SplitNodePath(path);
        const std::wstring root = m_paths.begin()->substr(1);
        if (names.empty() || names.front() != root)
            json["path"].Fail("a path that begins with \"\\\\" + Text::ToUtf8(root) + '"');
        const bool create = json["create"].As(false);
        if (!create && !m_paths.contains(path))
            json["path"].Fail("the path of a node that exists by then, or \"create\": true");
        if (json.Has("remove")) {
            if (names.size() == 1)
                json["path"].Fail("another node than the root to remove");
            std::erase_if(m_paths, [&](const auto& known) { return known == path || known.starts_with(path + L'\\'); });
            return Do(L"configuration: " + path + L" is removed",
                      [=](SiteHost& host) { host.ConfigServer().RemoveNode(path); });
        }
        std::wstring walked;
        for (const std::wstring& name : names)
            m_paths.insert(walked += L'\\' + name);
        std::wstring text = L"configuration: " + path + L" has";
        for (const auto& [name, value] : json["set"].Members())
            text += L' ' + name + L" = " + ValueText(value);
        return Do(text, [path, attributes = ReadAttributes(json["set"]), create](SiteHost& host) {
            host.ConfigServer().SetAttributes(path, attributes, create);
        });
    }

    Action ReadSource(const JsonCursor& json)
    {
        const std::wstring name = json["name"].Text();
        const auto& sources = m_site.sources;
        if (std::none_of(sources.begin(), sources.end(), [&](const SiteSource& each) { return each.name == name; }))
            json["name"].Fail("the name of an entry of /accessInfo");
        const std::wstring source = L"source '" + name + L"'";
        if (json.Has("remove")) {
            const auto accounts = ReadArray(json["remove"], std::mem_fn(&JsonCursor::Text));
            return [=](SiteHost& host) {
                return Findings{{source + L": gone: " + Count(host.Source(name).RemoveAccounts(accounts), L"item")}};
            };
        }
        const bool replace = json.Has("items");
        if (replace || json.Has("add")) {
            const auto items = ReadArray(json[replace ? "items" : "add"], &ReadAccessItem);
            return Do(source + (replace ? L": now vouches for " : L": adds ") + Count(items.size(), L"item"),
                      [=](SiteHost& host) {
                          auto& changed = host.Source(name);
                          replace ? changed.SetItems(items) : changed.AddItems(items);
                      });
        }
        return ReadFault(json, source, {}, {}, [=](SiteHost& host) -> AccessInfoSource& { return host.Source(name); });
    }

    Action ReadDatabase(const JsonCursor& json)
    {
        const auto outage = json.Has("outage") ? std::optional(json["outage"].As(false)) : std::nullopt;
        const auto failing =
            json.Has("failAtStatement") ? std::optional(json["failAtStatement"].As(std::uint64_t{0})) : std::nullopt;
        return [=](SiteHost& host) {
            Findings findings;
            if (outage) {
                host.Database().SetOutOfOrder(*outage);
                findings.push_back({*outage ? L"database: does not answer" : L"database: answers again"});
            }
            if (failing) {
                host.Database().FailAtStatement(*failing);
                findings.push_back({*failing == 0
                                        ? L"database: sessions last again"
                                        : L"database: sessions break at statement " + std::to_wstring(*failing)});
            }
            return findings;
        };
    }

    Action ReadAccounts(const JsonCursor& json)
    {
        std::wstring text = L"accounts: ";
        if (json.Has("remove")) {
            m_accounts.Remove(json["remove"]);
            text += json["remove"].Text() + L" is gone";
        } else {
            m_accounts.Rename(json["rename"], json["to"]);
            text += json["rename"].Text() + L" is now called " + json["to"].Text();
        }
        return Do(text, [accounts = m_accounts.FileText()](SiteHost& host) { host.ReplaceAccounts(accounts); });
    }

    Action ReadPermissions(const JsonCursor& json)
    {
        if (json.Has("grant")) {
            const Grant grant = ReadGrant(json["grant"], m_accounts);
            const std::wstring extent =
                grant.containers.empty() ? L"every container" : Count(grant.containers.size(), L"container");
            const std::wstring account = json["grant"]["account"].Text();
            return Do(L"permissions: " + account + L" gets '" + grant.permission + L"' on " + extent,
                      [=](SiteHost& host) { host.Permissions().Add(grant); });
        }
        if (json.Has("revoke")) {
            const JsonCursor revoke = json["revoke"];
            const std::wstring permission = revoke["permission"].Text();
            return Do(L"permissions: " + revoke["account"].Text() + L" loses " +
                          (permission.empty() ? L"every permission" : L"'" + permission + L"'"),
                      [permission, sid = m_accounts.SidOf(revoke["account"])](SiteHost& host) {
                          host.Permissions().Revoke(sid, permission);
                      });
        }
        return ReadFault(json, L"permissions checker", ReadSidOf(json), json["account"].Text(), &SiteHost::Permissions);
    }

    Action ReadTokens(const JsonCursor& json)
    {
        const std::wstring shown = json["account"].Text();
        const std::wstring sid = ReadSidOf(json);
        if (json.Has("expire"))
            return Do(L"token manager: the tokens so far have expired" + For(shown),
                      [=](SiteHost& host) { host.Tokens().Expire(sid); });
        return ReadFault(json, L"token manager", sid, shown, &SiteHost::Tokens);
    }

    Action ReadGate(const JsonCursor& json)
    {
        const std::wstring account = m_accounts.FullName(json["account"].Text());
        return ReadFault(json, L"settings gate", account, account, &SiteHost::Gate);
    }

    Action ReadRequests(const JsonCursor& json)
    {
        const std::wstring service = NameOfClass("PrepareReportAccessService", json);
        const auto requests = ReadArray(json, [&](const JsonCursor& each) {
            Request request{L"nobody", ReadSidOf(each, "from"), {}, each["waitForSync"].As(false)};
            if (!request.sid.empty())
                request.shown = each["from"].Text();
            for (const JsonCursor& through : each["through"].Items()) {
                request.through.push_back(m_accounts.SidOf(through));
                request.shown += L" through " + through.Text();
            }
            return request;
        });
        return [=](SiteHost& host) { return SendRequests(host, service, requests); };
    }

    Action ReadStop(const JsonCursor& json)
    {
        const std::wstring tracker = NameOfClass("ConfiguredAccountsTracker", json);
        return [=](SiteHost&) {
            const HRESULT result = GetInstance<ITrackerControl>(tracker)->Stop();
            return Findings{{L"'" + tracker + L"' is stopped", FAILED(result)}};
        };
    }

    // The SID of the account that is named there; empty when none is.
    std::wstring ReadSidOf(const JsonCursor& json, const char* key = "account") const
    {
        return json[key].Value().is_null() ? std::wstring() : m_accounts.SidOf(json[key]);
    }

    // The name of the site's first component of a class.
    std::wstring NameOfClass(const char* moduleClass, const JsonCursor& json) const
    {
        for (const SiteComponent& each : m_site.components) {
            if (each.moduleClass->name == moduleClass)
                return each.name;
        }
        json.Fail(std::string("this in a site with a component of class \"") + moduleClass + '"');
    }

    const Site& m_site;
    AccountBook m_accounts;           // as they are by then
    std::set<std::wstring> m_paths;   // of the configuration; the root's, being the shortest, comes first
    std::set<std::wstring> m_entries; // of the connection settings
};

} // namespace

std::vector<Event> ReadTimeline(const JsonCursor& timeline, const Site& site, AccountBook accounts)
{
    TimelineReader reader(site, std::move(accounts));
    return ReadArray(timeline, [&](const JsonCursor& each) { return reader.Read(each); });
}

} // namespace Host
