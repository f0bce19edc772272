#include "Common/Nodes/NodePath.h"

#include "Common/ErrorHandling/HResult.h"

#include <algorithm>

namespace
{

constexpr wchar_t Separator = L'\\';

// The way from one node to another: so many steps up, then down by name.
struct Way
{
    std::size_t stepsUp = 0;
    std::wstring_view down;
};

std::size_t CountSegments(std::wstring_view absolutePath)
{
    return static_cast<std::size_t>(std::count(absolutePath.begin(), absolutePath.end(), Separator));
}

// Length of what two absolute paths have in common in whole segments.
std::size_t CommonLength(std::wstring_view a, std::wstring_view b)
{
    std::size_t common = 0;
    for (std::size_t i = 0;; ++i) {
        const bool endA = i == a.size() || a[i] == Separator;
        const bool endB = i == b.size() || b[i] == Separator;
        if (endA && endB)
            common = i;
        if (i == a.size() || i == b.size() || a[i] != b[i])
            return common;
    }
}

bool FindWay(std::wstring_view startPath, std::wstring_view path, Way& way)
{
    const std::size_t common = CommonLength(startPath, path);
    if (common < 2)
        return false;
    way.stepsUp = CountSegments(startPath.substr(common));
    way.down = path.substr(common);
    if (!way.down.empty())
        way.down.remove_prefix(1);
    return true;
}

KelNodePtr Walk(KelNodePtr node, Way way)
{
    for (; node && way.stepsUp > 0; --way.stepsUp)
        node = node.GetParent();
    while (node && !way.down.empty()) {
        const std::wstring_view segment = way.down.substr(0, way.down.find(Separator));
        node = node.GetChildByName(std::wstring(segment), false);
        way.down.remove_prefix(std::min(segment.size() + 1, way.down.size()));
    }
    return node;
}

} // namespace

KelNodePtr ResolveNodePath(const KelNodePtr& start, const std::wstring& path, std::uint32_t flags)
{
    Way way;
    const std::wstring startPath = start.GetPath();
    bool resolvable = true;
    if (!path.empty() && path[0] == Separator)
        resolvable = FindWay(startPath, path, way);
    else
        way.down = path;
    if (way.stepsUp > 0 && (flags & NodePathDownOnly))
        resolvable = false;

    KelNodePtr found = resolvable ? Walk(start, way) : KelNodePtr();
    if (!found && (flags & NodePathRequired))
        ThrowHResult(HResultFromWin32(ERROR_NOT_FOUND));
    return found;
}
