#include "Host/Program/SitePlayer.h"

#include "Host/Components/FailureText.h"
#include "Host/Program/Interruption.h"

#include <cmath>

namespace Host
{

namespace
{

constexpr int MostIdleCycles = 10;

std::wstring Count(std::size_t count, const std::wstring& what)
{
    return std::to_wstring(count) + L' ' + what + (count == 1 ? L"" : L"s");
}

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

std::wstring TextAttribute(const NodeDescription& node, std::wstring_view name)
{
    for (const Attribute& attribute : node.attributes) {
        if (attribute.name == name)
            return std::get<std::wstring>(attribute.value);
    }
    return L"no " + std::wstring(name);
}

// Says what an event has done.
struct Describe
{
    const SiteHost& host;

    std::wstring operator()(std::monostate) const { return L"nothing happens"; }
    std::wstring operator()(const SettingsEvent&) const
    {
        const NodeDescription* entry = host.EnabledEntry();
        if (!entry)
            return L"settings: no entry is enabled";
        return L"settings: '" + entry->name + L"' is enabled (" + TextAttribute(*entry, L"ReportServerUrl") + L")";
    }
    std::wstring operator()(const ConfigurationEvent& event) const
    {
        if (event.remove)
            return L"configuration: " + event.path + L" is removed";
        std::wstring text = L"configuration: " + event.path + L" has";
        for (const Attribute& attribute : event.attributes)
            text += L' ' + attribute.name + L" = " + ValueText(attribute.value);
        return text;
    }
    std::wstring operator()(const SourceEvent& event) const
    {
        const std::wstring source = L"source '" + event.name + L"'";
        if (event.items)
            return source + L": now vouches for " + Count(event.items->size(), L"item");
        if (!event.add.empty())
            return source + L": " + Count(event.add.size(), L"more item");
        if (!event.remove.empty())
            return source + L": gone " + (event.remove.size() == 1 ? L"is " : L"are ") + event.remove.front() +
                   (event.remove.size() == 1 ? L"" : L", ...");
        return source + (event.failure->empty() ? L": answers again" : L": fails: " + *event.failure);
    }
    std::wstring operator()(const DatabaseEvent& event) const
    {
        std::wstring text = L"database:";
        if (event.outage)
            text += *event.outage ? L" does not answer" : L" answers again";
        if (event.outage && event.failAtStatement)
            text += L',';
        if (event.failAtStatement)
            text += *event.failAtStatement == 0
                        ? L" sessions last again"
                        : L" sessions break at statement " + std::to_wstring(*event.failAtStatement);
        return text;
    }
    std::wstring operator()(const WaitEvent&) const { return L"waited"; }
};

} // namespace

SitePlayer::SitePlayer(const Site& site, SiteHost& host, ReportingDatabase& database, Console& console)
    : m_site(site), m_host(host), m_database(database), m_console(console), m_rows(database.Rows())
{}

void SitePlayer::PlayTimeline()
{
    ShowFailedDeliveries();
    for (const Event& event : m_site.timeline) {
        if (Interruption::IsRequested())
            return;
        Play(event);
    }
}

void SitePlayer::Play(const Event& event)
{
    m_console.Line();
    m_console.Line(std::to_wstring(++m_number) + L". " + event.say, Colour::Bold);
    Perform(event.action);
    Say(std::visit(Describe{m_host}, event.action));
    if (event.cycle && !Interruption::IsRequested())
        RunCycle();
    ShowTableState();
    ShowFailedDeliveries();
}

void SitePlayer::Perform(const Action& action)
{
    std::visit(
        [this](const auto& event) {
            using Kind = std::decay_t<decltype(event)>;
            if constexpr (std::is_same_v<Kind, WaitEvent>)
                Wait(event.seconds);
            else if constexpr (!std::is_same_v<Kind, std::monostate>)
                m_host.Apply(event);
        },
        action);
    m_host.WaitUntilDelivered();
}

bool SitePlayer::RunCycle()
{
    ++m_totals.cycles;
    const HRESULT result = m_host.RunCycle();
    if (SUCCEEDED(result)) {
        Say(L"cycle: ok");
        return true;
    }
    ++m_totals.failedCycles;
    Say(L"cycle: failed, " + FailureText(result, TakeErrorText()), Colour::Red);
    return false;
}

// Between two calls everything counts that wrote the table, the module's own cycles included.
void SitePlayer::ShowTableState()
{
    const std::uint64_t rewrites = m_database.Rewrites();
    std::vector<AccessRight> rows = m_database.Rows();
    const RowChanges changes = CountChanges(m_rows, rows);
    const bool written = rewrites != std::exchange(m_rewrites, rewrites);
    Say(std::wstring(L"table: ") + (written ? L"rewritten, +" : L"not rewritten, +") + std::to_wstring(changes.added) +
            L" -" + std::to_wstring(changes.removed) + L", " + Count(rows.size(), L"row"),
        written ? Colour::Yellow : Colour::None);
    ShowChanges(m_console, m_rows, rows, m_site.objectNames);
    m_rows = std::move(rows);
    m_totals.rows.added += changes.added;
    m_totals.rows.removed += changes.removed;
}

void SitePlayer::ShowFailedDeliveries()
{
    const std::vector<DeliveryFailures> failures = m_host.Failures();
    m_failures.resize(failures.size());
    for (std::size_t i = 0; i < failures.size(); ++i) {
        if (failures[i].count != m_failures[i].count)
            Say(L"a notification failed: " + failures[i].lastText, Colour::Red);
    }
    m_failures = failures;
}

bool SitePlayer::RunUntilIdle()
{
    int unchanged = 0;
    for (int i = 0; i < MostIdleCycles && unchanged < 2 && !Interruption::IsRequested(); ++i) {
        m_console.Line();
        m_console.Line(L"Until idle: cycle " + std::to_wstring(i + 1), Colour::Bold);
        const std::uint64_t rewrites = m_rewrites;
        const bool succeeded = RunCycle();
        ShowTableState();
        unchanged = succeeded && m_rewrites == rewrites ? unchanged + 1 : 0;
    }
    return unchanged == 2 || Interruption::IsRequested();
}

void SitePlayer::RunFor(double seconds)
{
    m_console.Line();
    m_console.Line(L"The module runs by itself for " + std::to_wstring(std::lround(seconds)) + L" s", Colour::Bold);
    Wait(seconds);
}

void SitePlayer::Wait(double seconds)
{
    double shown = -1;
    Interruption::Wait(std::chrono::duration<double>(seconds), [&](std::chrono::duration<double> passed) {
        if (m_database.Rewrites() != m_rewrites)
            ShowTableState();
        if (std::floor(passed.count()) == shown)
            return;
        shown = std::floor(passed.count());
        m_console.Progress(L"    waiting: " + std::to_wstring(std::lround(shown)) + L" of " +
                           std::to_wstring(std::lround(std::ceil(seconds))) + L" s");
    });
}

void SitePlayer::Say(const std::wstring& text, Colour colour)
{
    m_console.Line(L"    " + text, colour);
}

} // namespace Host
