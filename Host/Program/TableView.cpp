#include "Host/Program/TableView.h"

#include <algorithm>
#include <iterator>

namespace Host
{

namespace
{

constexpr std::size_t LongestTable = 40;

struct Line
{
    wchar_t mark;
    const AccessRight* row;
};

std::wstring LoginText(const AccessRight& row)
{
    return row.loginName.value_or(L"(every account)");
}

std::wstring ObjectText(const AccessRight& row)
{
    return row.managedObjectUId.value_or(L"(every object)");
}

std::vector<Line> MarkedLines(const std::vector<AccessRight>& before, const std::vector<AccessRight>& after)
{
    std::vector<Line> lines;
    auto old = before.begin();
    for (const AccessRight& row : after) {
        for (; old != before.end() && *old < row; ++old)
            lines.push_back({L'-', &*old});
        const bool stayed = old != before.end() && *old == row;
        lines.push_back({stayed ? L' ' : L'+', &row});
        if (stayed)
            ++old;
    }
    for (; old != before.end(); ++old)
        lines.push_back({L'-', &*old});
    return lines;
}

void ShowLines(Console& console, const std::vector<Line>& lines, const ObjectNames& names)
{
    std::size_t loginWidth = 0;
    std::size_t objectWidth = 0;
    for (const Line& line : lines) {
        loginWidth = std::max(loginWidth, LoginText(*line.row).size());
        objectWidth = std::max(objectWidth, ObjectText(*line.row).size());
    }
    for (const auto& [mark, row] : lines) {
        std::wstring text = LoginText(*row);
        text.resize(loginWidth + 2, L' ');
        text += ObjectText(*row);
        const auto name = row->managedObjectUId ? names.find(*row->managedObjectUId) : names.end();
        if (name != names.end()) {
            text.resize(loginWidth + objectWidth + 4, L' ');
            text += name->second;
        }
        console.Line(std::wstring(L"      ") + mark + L' ' + text, mark == L'+'   ? Colour::Green
                                                                   : mark == L'-' ? Colour::Red
                                                                                  : Colour::None);
    }
}

} // namespace

RowChanges CountChanges(const std::vector<AccessRight>& before, const std::vector<AccessRight>& after)
{
    RowChanges changes;
    for (const Line& line : MarkedLines(before, after)) {
        changes.added += line.mark == L'+';
        changes.removed += line.mark == L'-';
    }
    return changes;
}

void ShowChanges(Console& console, const std::vector<AccessRight>& before, const std::vector<AccessRight>& after,
                 const ObjectNames& names)
{
    std::vector<Line> lines = MarkedLines(before, after);
    if (lines.empty())
        console.Line(L"        (no rows)");
    std::size_t unchanged = 0;
    std::size_t more = 0;
    if (lines.size() > LongestTable) {
        unchanged = std::erase_if(lines, [](const Line& line) { return line.mark == L' '; });
        more = lines.size() - std::min(lines.size(), LongestTable);
        lines.resize(lines.size() - more);
    }
    ShowLines(console, lines, names);
    if (more > 0)
        console.Line(L"        ... and " + std::to_wstring(more) + L" more changes");
    if (unchanged > 0)
        console.Line(L"        and " + std::to_wstring(unchanged) + L" unchanged rows");
}

void ShowTable(Console& console, const std::vector<AccessRight>& rows)
{
    ShowLines(console, MarkedLines(rows, rows), {});
    console.Line(std::to_wstring(rows.size()) + (rows.size() == 1 ? L" row" : L" rows"));
}

} // namespace Host
