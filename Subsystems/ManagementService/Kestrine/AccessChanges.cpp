#include "Subsystems/ManagementService/Kestrine/AccessChanges.h"

#include "Common/Nodes/KelNodesEqual.h"
#include "Subsystems/ManagementService/Kestrine/AccessRightsItem.h"

#include <algorithm>
#include <tuple>
#include <unordered_map>
#include <unordered_set>

namespace
{

constexpr std::size_t MaxNamed = 20;

using Objects = std::unordered_set<std::wstring>; // the empty text: every object
using Rights = std::unordered_map<std::wstring, Objects>;

// What one account has gained ('+') or lost ('-').
struct Change
{
    std::wstring account;
    wchar_t sign;
    std::size_t rows;
    bool everyObject;
};

bool SameItem(const KelNodePtr& a, std::uint64_t indexA, const KelNodePtr& b, std::uint64_t indexB)
{
    return KelNodesEqual(a.GetChildByIndex(indexA, true), b.GetChildByIndex(indexB, true), KelIgnoreIdentity);
}

void AddAccounts(const KelNodePtr& list, std::uint64_t begin, std::uint64_t end, Rights& rights)
{
    for (std::uint64_t i = begin; i < end; ++i)
        rights.try_emplace(list.GetChildByIndex(i, true).GetString(AccessRights::LogonName));
}

// What the list grants the accounts that `rights` names.
void AddObjects(const KelNodePtr& list, Rights& rights)
{
    const std::uint64_t count = list.GetChildCount();
    for (std::uint64_t i = 0; i < count; ++i) {
        const KelNodePtr item = list.GetChildByIndex(i, true);
        const auto account = rights.find(item.GetString(AccessRights::LogonName));
        if (account != rights.end())
            AccessRights::ForEachRow(item, [&](const std::wstring& object) { account->second.insert(object); });
    }
}

// Adds what `one` grants and `other` does not. Both name the same accounts. Returns the number of rows.
std::size_t AddDifference(const Rights& one, const Rights& other, wchar_t sign, std::vector<Change>& changes)
{
    std::size_t all = 0;
    for (const auto& [account, objects] : one) {
        const Objects& others = other.at(account);
        const auto isMissing = [&](const std::wstring& object) { return !others.contains(object); };
        const auto rows = static_cast<std::size_t>(std::count_if(objects.begin(), objects.end(), isMissing));
        if (rows != 0)
            changes.push_back({account, sign, rows, objects.contains({}) && isMissing({})});
        all += rows;
    }
    return all;
}

std::wstring Describe(const Change& change)
{
    const std::wstring account = change.account.empty() ? L"(every account)" : change.account;
    const std::wstring objects = change.everyObject ? std::wstring(L"every object")
                                 : change.rows == 1 ? std::wstring(L"1 object")
                                                    : std::to_wstring(change.rows) + L" objects";
    return change.sign + account + L" (" + objects + L')';
}

} // namespace

std::wstring DescribeAccessChanges(const KelNodePtr& before, const KelNodePtr& after)
{
    const std::uint64_t countBefore = before.GetChildCount();
    const std::uint64_t countAfter = after.GetChildCount();
    const std::uint64_t shorter = std::min(countBefore, countAfter);
    std::uint64_t head = 0;
    while (head < shorter && SameItem(before, head, after, head))
        ++head;
    std::uint64_t tail = 0;
    while (tail < shorter - head && SameItem(before, countBefore - tail - 1, after, countAfter - tail - 1))
        ++tail;

    Rights held;
    AddAccounts(before, head, countBefore - tail, held);
    AddAccounts(after, head, countAfter - tail, held);
    Rights granted = held;
    // Of the whole lists: an account may have the same right from another item.
    AddObjects(before, held);
    AddObjects(after, granted);

    std::vector<Change> changes;
    const std::size_t gained = AddDifference(granted, held, L'+', changes);
    const std::size_t lost = AddDifference(held, granted, L'-', changes);
    const std::size_t named = std::min(changes.size(), MaxNamed);
    std::partial_sort(
        changes.begin(), changes.begin() + static_cast<std::ptrdiff_t>(named), changes.end(),
        [](const Change& a, const Change& b) { return std::tie(a.account, a.sign) < std::tie(b.account, b.sign); });
    std::wstring text = L"+" + std::to_wstring(gained) + L" -" + std::to_wstring(lost) + L" rows";
    for (std::size_t i = 0; i < named; ++i)
        text += (i == 0 ? L": " : L", ") + Describe(changes[i]);
    if (changes.size() > named)
        text += L" and " + std::to_wstring(changes.size() - named) + L" more";
    return text;
}
