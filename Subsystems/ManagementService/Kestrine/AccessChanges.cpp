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

void AddAccount(const KelNodePtr& list, std::uint64_t index, Rights& rights)
{
    rights.try_emplace(list.GetChildByIndex(index, true).GetString(AccessRights::LogonName));
}

// The accounts, without objects, of all items that are not the same in both lists.
Rights ChangedAccounts(const KelNodePtr& before, const KelNodePtr& after)
{
    std::uint64_t endBefore = before.GetChildCount();
    std::uint64_t endAfter = after.GetChildCount();
    while (endBefore > 0 && endAfter > 0 && SameItem(before, endBefore - 1, after, endAfter - 1)) {
        --endBefore;
        --endAfter;
    }
    Rights accounts;
    for (std::uint64_t i = 0, j = 0; i < endBefore || j < endAfter;) {
        const bool both = i < endBefore && j < endAfter;
        if (both && SameItem(before, i, after, j)) {
            ++i;
            ++j;
            continue;
        }
        // An item that came or went moves on in one list only; wrong guesses name more accounts than needed.
        const bool went = j == endAfter || (both && i + 1 < endBefore && SameItem(before, i + 1, after, j));
        const bool came = !went && (i == endBefore || (j + 1 < endAfter && SameItem(before, i, after, j + 1)));
        if (!came)
            AddAccount(before, i++, accounts);
        if (!went)
            AddAccount(after, j++, accounts);
    }
    return accounts;
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
    Rights held = ChangedAccounts(before, after);
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
