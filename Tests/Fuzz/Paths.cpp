#include "Common/ErrorHandling/HResult.h"
#include "Common/Nodes/NodePath.h"
#include "Platform/Files.h"
#include "Tests/Fuzz/Fuzz.h"

// Folder and relative path, and the names of a chain of nodes.
void Try(std::string_view input)
{
    const std::wstring folder = TakeText(input);
    const std::wstring relative = TakeText(input);
    std::wstring path;
    if (Platform::JoinPath(folder, relative, path) >= 0)
        Require(path.size() < 260 && path.find(L'/') == std::wstring::npos, "a path is short and has one separator");
    KelNodePtr node = CreateKelNode(folder.c_str(), nullptr);
    while (!input.empty()) {
        const KelNodePtr child = CreateKelNode(TakeText(input).c_str(), nullptr);
        node.AddChild(child);
        node = child;
    }
    const std::wstring own = node.GetPath();
    if (const KelNodePtr found = ResolveNodePath(node, own, 0))
        Require(found.GetPath() == own, "a node's path leads to a node of that path");
    for (const std::uint32_t flags : {0U, std::uint32_t{NodePathDownOnly}})
        ResolveNodePath(node, relative, flags);
}
