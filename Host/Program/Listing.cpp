#include "Host/Program/Listing.h"

#include <algorithm>

namespace Host
{

namespace
{

struct Line
{
    wchar_t mark;
    const Row* row;
};

std::vector<Line> MarkedLines(const Rows& before, const Rows& after)
{
    std::vector<Line> lines;
    auto old = before.begin();
    for (const Row& row : after) {
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

void ShowLines(Console& console, const std::vector<Line>& lines)
{
    std::vector<std::size_t> widths;
    for (const Line& line : lines) {
        widths.resize(std::max(widths.size(), line.row->size()));
        for (std::size_t i = 0; i < line.row->size(); ++i)
            widths[i] = std::max(widths[i], (*line.row)[i].size());
    }
    for (const auto& [mark, row] : lines) {
        std::wstring text = std::wstring(L"      ") + mark;
        std::size_t end = text.size() - 1;
        for (std::size_t i = 0; i < row->size(); ++i) {
            text.resize(end + 2, L' ');
            text += (*row)[i];
            end += 2 + widths[i];
        }
        text.erase(text.find_last_not_of(L' ') + 1);
        console.Line(text, mark == L'+' ? Colour::Green : mark == L'-' ? Colour::Red : Colour::None);
    }
}

} // namespace

Rows AccessRightRows(const std::vector<AccessRight>& rights, const ObjectNames& names)
{
    Rows rows;
    for (const AccessRight& right : rights) {
        rows.push_back({right.loginName.value_or(EveryAccount), right.managedObjectUId.value_or(L"(every object)")});
        const auto name = names.find(rows.back()[1]);
        if (name != names.end())
            rows.back().push_back(name->second);
    }
    std::sort(rows.begin(), rows.end());
    return rows;
}

Rows RoleRows(const std::vector<ReportServerRole>& roles, bool withTimes)
{
    Rows rows;
    for (const ReportServerRole& role : roles) {
        rows.push_back({role.account, role.role, role.reportServer});
        if (withTimes)
            rows.back().push_back(role.grantedAt);
    }
    std::sort(rows.begin(), rows.end());
    return rows;
}

RowChanges CountChanges(const Rows& before, const Rows& after)
{
    RowChanges changes;
    for (const Line& line : MarkedLines(before, after)) {
        changes.added += line.mark == L'+';
        changes.removed += line.mark == L'-';
    }
    return changes;
}

void ShowChanges(Console& console, const Rows& before, const Rows& after, std::size_t most)
{
    std::vector<Line> lines = MarkedLines(before, after);
    std::erase_if(lines, [](const Line& line) { return line.mark == L' '; });
    const std::size_t more = lines.size() - std::min(lines.size(), most);
    lines.resize(lines.size() - more);
    ShowLines(console, lines);
    if (more > 0)
        console.Line(L"        ... and " + Count(more, L"more change"));
}

void ShowRows(Console& console, const Rows& rows)
{
    ShowLines(console, MarkedLines(rows, rows));
    console.Line(Count(rows.size(), L"row"));
}

} // namespace Host
