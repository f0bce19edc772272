#include "Host/Program/Summary.h"

#include "Host/Support/PathText.h"
#include "Platform/Text.h"

namespace Host
{

namespace
{

using Json = nlohmann::ordered_json;

std::wstring Known(const std::optional<std::size_t>& number)
{
    return number ? std::to_wstring(*number) : L"an unknown number";
}

Json Optional(const auto& value)
{
    return value ? Json(*value) : Json();
}

} // namespace

void ShowSummary(const Summary& summary, Console& console)
{
    const Totals& totals = summary.totals;
    console.Line();
    console.Line(summary.failure       ? L"Summary (failed)"
                 : summary.interrupted ? L"Summary (interrupted)"
                                       : L"Summary",
                 Colour::Bold);
    console.Line(L"    cycles    " + std::to_wstring(totals.cycles) + L" asked for, " +
                 std::to_wstring(totals.failedCycles) + L" failed");
    console.Line(L"    rewrites  " + std::to_wstring(summary.rewrites));
    console.Line(L"    rows      " + std::to_wstring(totals.rows.added) + L" added, " +
                 std::to_wstring(totals.rows.removed) + L" removed, " + Known(totals.tableRows) + L" in the table");
    console.Line(L"    roles     " + std::to_wstring(summary.grants) + L" granted, " +
                 std::to_wstring(summary.failedGrants) + L" failed, " + Known(totals.pendingGrants) + L" pending");
    if (summary.Leaks())
        console.Line(std::wstring(L"    released  LEAK: the module ") + (summary.moduleLocked ? L"is" : L"is not") +
                         L" locked, " + std::to_wstring(summary.nodes) + L" nodes alive",
                     Colour::Red);
    else
        console.Line(L"    released  completely: module not locked and unloaded, no node alive");
    console.Line(L"    database  " + PathText(summary.database));
    if (summary.sqlTrace)
        console.Line(L"    SQL       " + PathText(*summary.sqlTrace));
    console.Line(L"    log       " + PathText(summary.log) +
                 (std::filesystem::exists(summary.log) ? L"" : L" (nothing logged)"));
}

Json SummaryJson(const Summary& summary)
{
    const Totals& totals = summary.totals;
    return {
        {"site", Text::ToUtf8(summary.site)},
        {"failure", Optional(summary.failure)},
        {"interrupted", summary.interrupted},
        {"unmet", totals.unmet},
        {"cycles", {{"asked", totals.cycles}, {"failed", totals.failedCycles}}},
        {"rewrites", summary.rewrites},
        {"rows", {{"added", totals.rows.added}, {"removed", totals.rows.removed}, {"now", Optional(totals.tableRows)}}},
        {"roles",
         {{"granted", summary.grants}, {"failed", summary.failedGrants}, {"pending", Optional(totals.pendingGrants)}}},
        {"leaks", {{"moduleLocked", summary.moduleLocked}, {"nodes", summary.nodes}}},
        {"database", Utf8PathText(summary.database)},
        {"sqlTrace", summary.sqlTrace ? Json(Utf8PathText(*summary.sqlTrace)) : Json()},
        {"log", Utf8PathText(summary.log)}};
}

} // namespace Host
