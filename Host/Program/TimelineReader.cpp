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

constexpr double DefaultLimit = 20;

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

// The part of a text that tells about an account, or about all of them.
std::wstring For(const std::wstring& name)
{
    return name.empty() ? L"" : L" for " + name;
}

FaultForm ReadFaultForm(const JsonCursor& json)
{
    return json.Value() == "result"       ? FaultForm::Result
           : json.Value() == "bareResult" ? FaultForm::BareResult
                                          : FaultForm::Call;
}

// Failures, recoveries and delays of a component of the host: "fail" with or without "as", "recover", "delayS".
// `account` is how the component knows the account that is meant, and `shown` how a person does; both empty for all.
template <class GetPlan>
decltype(Event::perform) ReadFault(const JsonCursor& json, const std::wstring& component, const std::wstring& account,
                                   const std::wstring& shown, const GetPlan& plan)
{
    if (json.Has("delayS")) {
        const std::chrono::duration<double> duration(json["delayS"].Value().get<double>());
        return [=](SiteHost& host) {
            plan(host).SetDelay(duration);
            return Findings{{component + L": takes " + std::to_wstring(std::lround(duration.count() * 1000)) + L" ms"}};
        };
    }
    if (json.Has("recover")) {
        return [=](SiteHost& host) {
            plan(host).Recover(account);
            return Findings{{component + L": answers again" + For(shown)}};
        };
    }
    const Fault fault{json["fail"].Text(), ReadFaultForm(json["as"])};
    return [=](SiteHost& host) {
        plan(host).Fail(account, fault);
        return Findings{{component + L": fails" + For(shown) + L": " + fault.text}};
    };
}

} // namespace

TimelineReader::TimelineReader(const Site& site, AccountBook accounts) : m_site(site), m_accounts(std::move(accounts))
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

Condition TimelineReader::ReadCondition(const JsonCursor& json) const
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

TimelineReader::Action TimelineReader::ReadSettings(const JsonCursor& json)
{
    if (json.Has("entries")) {
        const auto entries = ReadNamed(json["entries"], &ReadNode);
        m_entries.clear();
        for (const NodeDescription& entry : entries)
            m_entries.insert(entry.name);
        return [=](SiteHost& host) {
            host.ReplaceSettings(entries);
            return Findings{DescribeSettings(host)};
        };
    }
    const JsonCursor enable = json["enable"];
    const std::wstring name = enable.Text();
    if (!enable.Value().is_null() && !m_entries.contains(name))
        enable.Fail("null or the name of a connection-settings entry known by then");
    return [=](SiteHost& host) {
        host.EnableSettings(name);
        return Findings{DescribeSettings(host)};
    };
}

TimelineReader::Action TimelineReader::ReadConfigure(const JsonCursor& json)
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
    const std::wstring name = json["name"].Text();
    const auto& sources = m_site.sources;
    if (std::none_of(sources.begin(), sources.end(), [&](const SiteSource& each) { return each.name == name; }))
        json["name"].Fail("the name of an entry of /accessInfo");
    const std::wstring source = L"source '" + name + L"'";
    if (json.Has("remove")) {
        const auto accounts = ReadArray(json["remove"], &TextOf);
        return [=](SiteHost& host) {
            return Findings{{source + L": gone: " + Count(host.Source(name).RemoveAccounts(accounts), L"item")}};
        };
    }
    const bool replace = json.Has("items");
    if (replace || json.Has("add")) {
        const auto items = ReadArray(json[replace ? "items" : "add"], &ReadAccessItem);
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
    const bool isSwitched = json.Has("outage");
    const bool outage = json["outage"].As(false);
    const bool isBroken = json.Has("failAtStatement");
    const auto failing = json["failAtStatement"].As(std::uint64_t{0});
    return [=](SiteHost& host) {
        Findings findings;
        if (isSwitched) {
            host.Database().SetOutOfOrder(outage);
            findings.push_back({outage ? L"database: does not answer" : L"database: answers again"});
        }
        if (isBroken) {
            host.Database().FailAtStatement(failing);
            findings.push_back({failing == 0 ? L"database: sessions last again"
                                             : L"database: sessions break at statement " + std::to_wstring(failing)});
        }
        return findings;
    };
}

TimelineReader::Action TimelineReader::ReadAccounts(const JsonCursor& json)
{
    std::wstring text = L"accounts: ";
    if (json.Has("remove")) {
        m_accounts.Remove(json["remove"]);
        text += json["remove"].Text() + L" is gone";
    } else {
        m_accounts.Rename(json["rename"], json["to"]);
        text += json["rename"].Text() + L" is now called " + json["to"].Text();
    }
    return [text, accounts = m_accounts.FileText()](SiteHost& host) {
        host.ReplaceAccounts(accounts);
        return Findings{{text}};
    };
}

TimelineReader::Action TimelineReader::ReadPermissions(const JsonCursor& json)
{
    if (json.Has("grant")) {
        const Grant grant = ReadGrant(json["grant"], m_accounts);
        const std::wstring extent =
            grant.containers.empty() ? L"every container" : Count(grant.containers.size(), L"container");
        const std::wstring text =
            L"permissions: " + json["grant"]["account"].Text() + L" gets '" + grant.permission + L"' on " + extent;
        return [=](SiteHost& host) {
            host.Permissions().Add(grant);
            return Findings{{text}};
        };
    }
    if (json.Has("revoke")) {
        const JsonCursor revoke = json["revoke"];
        const std::wstring sid = ReadSid(revoke["account"], m_accounts);
        const std::wstring permission = revoke["permission"].Text();
        const std::wstring text = L"permissions: " + revoke["account"].Text() + L" loses " +
                                  (permission.empty() ? L"every permission" : L"'" + permission + L"'");
        return [=](SiteHost& host) {
            host.Permissions().Revoke(sid, permission);
            return Findings{{text}};
        };
    }
    return ReadFault(json, L"permissions checker", ReadSidOf(json), json["account"].Text(),
                     [](SiteHost& host) -> FaultPlan& { return host.Permissions().Faults(); });
}

TimelineReader::Action TimelineReader::ReadTokens(const JsonCursor& json)
{
    const std::wstring shown = json["account"].Text();
    const std::wstring sid = ReadSidOf(json);
    if (json.Has("expire")) {
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
    const std::wstring account = m_accounts.FullName(json["account"].Text());
    return ReadFault(json, L"settings gate", account, account,
                     [](SiteHost& host) -> FaultPlan& { return host.Gate().Faults(); });
}

TimelineReader::Action TimelineReader::ReadRequests(const JsonCursor& json)
{
    const std::wstring service = NameOfClass("PrepareReportAccessService", json);
    const auto requests = ReadArray(json, [&](const JsonCursor& each) {
        SiteRequest request{L"nobody", {}, {}, each["waitForSync"].As(false)};
        if (!each["from"].Value().is_null()) {
            request.sid = ReadSid(each["from"], m_accounts);
            request.shown = each["from"].Text();
        }
        for (const JsonCursor& through : each["through"].Items()) {
            request.through.push_back(ReadSid(through, m_accounts));
            request.shown += L" through " + through.Text();
        }
        return request;
    });
    return [=](SiteHost& host) { return SendRequests(host, service, requests); };
}

TimelineReader::Action TimelineReader::ReadStop(const JsonCursor& json)
{
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
