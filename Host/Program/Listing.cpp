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

std::vector<Line> MarkedLines(wchar_t mark, const Rows& rows)
{
    std::vector<Line> lines;
    for (const Row& row : rows)
        lines.push_back({mark, &row});
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

RowChanges CompareRows(const Rows& before, const Rows& after)
{
    RowChanges changes;
    std::set_difference(after.begin(), after.end(), before.begin(), before.end(), std::back_inserter(changes.added));
    std::set_difference(before.begin(), before.end(), after.begin(), after.end(), std::back_inserter(changes.removed));
    return changes;
}

void ShowChanges(Console& console, const RowChanges& changes, std::size_t most)
{
    std::vector<Line> lines = MarkedLines(L'+', changes.added);
    const std::vector<Line> removed = MarkedLines(L'-', changes.removed);
    lines.insert(lines.end(), removed.begin(), removed.end());
    std::sort(lines.begin(), lines.end(), [](const Line& a, const Line& b) { return *a.row < *b.row; });
    const std::size_t more = lines.size() - std::min(lines.size(), most);
    lines.resize(lines.size() - more);
    ShowLines(console, lines);
    if (more > 0)
        console.Line(L"        ... and " + Count(more, L"more change"));
}

void ShowRows(Console& console, const Rows& rows)
{
    ShowLines(console, MarkedLines(L' ', rows));
    console.Line(Count(rows.size(), L"row"));
}

} // namespace Host
