#include "Common/Nodes/Configuration.h"
#include "Common/Nodes/KelNodePtr.h"
#include "Common/Nodes/KelNodesEqual.h"
#include "Common/Nodes/NodePath.h"
#include "Common/Nodes/NodeSerializer.h"
#include "Host/Nodwell/TestControls.h"
#include "Tests/Support/CodeOf.h"
#include "Tests/Support/HostFakes.h"
#include "Tests/Support/LogCapture.h"

#include <gtest/gtest.h>

namespace
{

KelNodePtr Child(const KelNodePtr& parent, const wchar_t* name, const wchar_t* type = nullptr)
{
    const KelNodePtr child = CreateKelNode(name, type);
    parent.AddChild(child);
    return child;
}

// A name, attributes with texts ("name=text") or numbers ("name:number"), each behind a blank, and children in
// parentheses; takes what it reads.
KelNodePtr ReadTree(std::string_view& text)
{
    const auto take = [&](const char* end) {
        const std::string_view part = text.substr(0, text.find_first_of(end));
        text.remove_prefix(part.size());
        return std::wstring(part.begin(), part.end());
    };
    const KelNodePtr node = CreateKelNode(take(" ()").c_str(), nullptr);
    while (text.starts_with(' ')) {
        text.remove_prefix(1);
        const std::wstring name = take("=:");
        const bool isText = text.starts_with('=');
        text.remove_prefix(1);
        const std::wstring value = take(" ()");
        if (isText)
            node.SetString(name.c_str(), value);
        else
            node.SetInt32(name.c_str(), std::stoi(value));
    }
    for (; text.starts_with('('); text.remove_prefix(1)) {
        text.remove_prefix(1);
        node.AddChild(ReadTree(text));
    }
    return node;
}

struct ComparisonCase
{
    std::string_view a;
    std::string_view b;
    std::uint32_t flags;
    bool equal;
};

struct PathCase
{
    std::wstring start;
    std::wstring path;
    std::uint32_t flags;
    std::wstring found;
};

} // namespace

TEST(KelNodePtr, CountsItsReferences)
{
    const KelNodePtr node = CreateKelNode(L"n", L"T");
    const std::uint64_t open = NodwellOpenHandles();
    {
        KelNodePtr copy = node;
        const KelNodePtr moved = std::move(copy);
        EXPECT_TRUE(!copy && moved == node && NodwellOpenHandles() == open + 1);
        KelNodePtr assigned = CreateKelNode(nullptr, nullptr);
        assigned = node;
        assigned = *&assigned;
        KelNodePtr attached = KelNodePtr::Attach(assigned.Detach());
        EXPECT_TRUE(attached == node && NodwellOpenHandles() == open + 2);
        attached = {};
        EXPECT_EQ(NodwellOpenHandles(), open + 1);
    }
    EXPECT_EQ(NodwellOpenHandles(), open);
}

TEST(KelNodePtr, AbsentChildrenAreFailuresWhereTheyAreRequired)
{
    const std::wstring name(300, L'x'); // longer than the first buffer
    const KelNodePtr root = CreateKelNode(name.c_str(), L"Root");
    const KelNodePtr a = Child(root, L"a", L"Type");
    EXPECT_EQ(root.GetChildren(), std::vector<KelNodePtr>{a});
    EXPECT_EQ(root.GetChildByName(L"a", true), a);
    EXPECT_FALSE(root.GetChildByIndex(1, false) || root.GetChildByName(L"A", false) || root.GetParent());
    EXPECT_EQ(CodeOf([&] { root.GetChildByIndex(1, true); }), NotFound);
    EXPECT_EQ(CodeOf([&] { root.GetChildByName(L"c", true); }), NotFound);
    EXPECT_EQ(a.GetParent().GetName(), name);
    EXPECT_EQ(a.GetPath() + L":" + a.GetNodeType(), L"\\" + name + L"\\a:Type");
    EXPECT_EQ(CodeOf([] { KelNodePtr().GetChildCount(); }), E_POINTER);
}

TEST(KelNodePtr, ReadsAndWritesText)
{
    const KelNodePtr node = CreateKelNode(nullptr, nullptr);
    // Longer than the first buffer, with characters beyond the basic plane and a surrogate without partner.
    const std::wstring longText = std::wstring(300, L'\x00E4') + L"\U0001F600" + wchar_t(0xD800);
    node.SetString(L"long", longText);
    node.SetString(L"empty", L"");
    node.SetEmpty(L"none");
    node.SetInt32(L"number", -7);
    EXPECT_EQ(node.GetString(L"long"), longText);
    EXPECT_EQ(node.GetString(L"none"), L"") << "present without value";
    EXPECT_EQ(node.GetString(L"number"), L"-7") << "converted by the library";
    EXPECT_EQ(CodeOf([&] { node.GetString(L"absent"); }), NotFound);
    std::wstring text = L"before";
    EXPECT_FALSE(node.TryGetString(L"absent", text));
    EXPECT_EQ(text, L"");
    EXPECT_EQ(node.GetStringOr(L"absent", L"default"), L"default");
    EXPECT_EQ(node.GetStringOr(L"none", L"default"), L"default");
    EXPECT_EQ(node.GetStringOr(L"empty", L"default"), L"");

    std::uint16_t type = 0;
    std::uint32_t size = 0;
    EXPECT_TRUE(node.HasAttribute(L"empty", &type, &size));
    EXPECT_EQ(std::pair(int(type), size), std::pair(int(KelnText), 2U));
    EXPECT_EQ(CodeOf([&] { node.GetAttributeType(L"absent"); }), NotFound);
    EXPECT_EQ(node.GetAttributeNames(), (Texts{L"long", L"empty", L"none", L"number"}));
    EXPECT_EQ(CreateKelNode(nullptr, nullptr).GetAttributeNames(), Texts());
}

TEST(Configuration, NamesTheListItemThatCannotBeUsed)
{
    const LogCapture log;
    const KelNodePtr item = CreateKelNode(nullptr, nullptr);
    const auto read = [&] { return Configuration::RequiredString(item, L"NodePath"); };
    EXPECT_EQ(CodeOf([&] { Configuration::ReadItem(L"TrackingItems", 2, read); }), NotFound);
    EXPECT_EQ(log.Count(L"| ERR  |", L"Configuration key 'NodePath' cannot be used: 0x80070490 "), 1U);
    EXPECT_EQ(log.Count(L"| ERR  |", L"Configuration item 'TrackingItems[2]' cannot be used: 0x80070490 "), 1U);
    item.SetString(L"NodePath", L"x");
    EXPECT_EQ(Configuration::ReadItem(L"TrackingItems", 2, read), L"x");
    EXPECT_EQ(log.Count(L"| ERR  |"), 2U);
}

TEST(KelNodePtr, ReadsAndWritesLists)
{
    const KelNodePtr node = CreateKelNode(nullptr, nullptr);
    const Texts texts{L"a", L"", std::wstring(200, L'c')};
    node.SetStringList(L"list", texts);
    node.SetStringList(L"emptyList", {});
    node.SetString(L"single", L"one");
    node.SetEmpty(L"none");
    const auto read = [&](const wchar_t* name) {
        Texts list{L"before"};
        const bool found = node.GetStringList(name, list);
        return std::pair(found, list);
    };
    EXPECT_EQ(read(L"absent"), std::pair(false, Texts{L"before"}));
    EXPECT_EQ(read(L"list"), std::pair(true, texts));
    EXPECT_EQ(read(L"emptyList"), std::pair(true, Texts()));
    EXPECT_EQ(read(L"single"), std::pair(true, Texts{L"one"}));
    EXPECT_EQ(read(L"none"), std::pair(false, Texts()));
}

TEST(KelNodePtr, ReadsAndWritesNumbersAndBytes)
{
    const KelNodePtr node = CreateKelNode(nullptr, nullptr);
    node.SetInt32(L"int", -5);
    node.SetEmpty(L"none");
    std::int32_t int32 = 99;
    std::uint32_t uint32 = 99;
    std::int64_t int64 = 99;
    EXPECT_FALSE(node.TryGetInt32(L"absent", int32) || node.TryGetInt64(L"none", int64));
    EXPECT_EQ(std::pair(int32, int64), std::pair(99, std::int64_t(99))) << "left alone";
    EXPECT_TRUE(node.TryGetInt32(L"int", int32) && node.TryGetInt64(L"int", int64));
    EXPECT_EQ(std::pair(int32, int64), std::pair(-5, std::int64_t(-5)));
    EXPECT_LT(CodeOf([&] { node.TryGetUInt32(L"int", uint32); }), 0) << "a negative number is no unsigned one";

    const std::vector<std::uint8_t> bytes(1000, 0xAB);
    node.SetBinary(L"binary", bytes);
    std::vector<std::uint8_t> read;
    std::uint16_t type = 0;
    EXPECT_TRUE(node.GetBinary(L"binary", read, type));
    EXPECT_EQ(std::pair(read, type), std::pair(bytes, std::uint16_t(KelnBinary)));
    EXPECT_FALSE(node.GetBinary(L"absent", read, type));
}

TEST(KelNodesEqual, ComparesWhatTheFlagsSay)
{
    ComparisonCase cases[] = {
#include "Tests/Common/NodeComparisons.inl"
    };
    for (ComparisonCase& each : cases) {
        const std::string row = std::string(each.a) + " | " + std::string(each.b);
        EXPECT_EQ(KelNodesEqual(ReadTree(each.a), ReadTree(each.b), each.flags), each.equal) << row << each.flags;
    }
    const KelNodePtr lower = CreateKelNode(L"n", nullptr);
    const KelNodePtr upper = CreateKelNode(L"n", nullptr);
    lower.SetString(L"a", L"\u00E4\u0434");
    upper.SetString(L"a", L"\u00C4\u0414");
    EXPECT_TRUE(KelNodesEqual(lower, upper, KelIgnoreCase));
    EXPECT_FALSE(KelNodesEqual(lower, upper, KelCompareAll));
    const KelNodePtr root = CreateKelNode(L"root", nullptr);
    const KelNodePtr inTree = Child(root, L"n");
    const KelNodePtr alone = CreateKelNode(L"n", nullptr);
    for (const KelNodePtr& node : {inTree, alone})
        Child(node, L"below");
    EXPECT_FALSE(KelNodesEqual(inTree, alone, KelCompareAll)) << "paths differ";
    EXPECT_TRUE(KelNodesEqual(inTree, alone, KelCompareNames));
    EXPECT_TRUE(KelNodesEqual(inTree, alone, KelIgnoreIdentity)) << "the children's paths do not count";
}

TEST(NodePath, ResolvesAbsoluteAndRelativePaths)
{
    const KelNodePtr site = CreateKelNode(L"Site", nullptr);
    const KelNodePtr a = Child(site, L"A");
    const KelNodePtr nodes[] = {site, a, Child(a, L"B"), Child(site, L"C")};
    const PathCase cases[] = {
#include "Tests/Common/NodePaths.inl"
    };
    for (const PathCase& each : cases) {
        const KelNodePtr& start = *std::find_if(std::begin(nodes), std::end(nodes),
                                                [&](const KelNodePtr& node) { return node.GetPath() == each.start; });
        const KelNodePtr found = ResolveNodePath(start, each.path, each.flags);
        EXPECT_EQ(found ? found.GetPath() : L"", each.found) << testing::PrintToString(each.path);
        const HRESULT required = CodeOf([&] { ResolveNodePath(start, each.path, each.flags | NodePathRequired); });
        EXPECT_EQ(required, found ? S_OK : NotFound);
    }
}

TEST(NodeSerializer, WritesTheWrapperAlsoAroundNothing)
{
    const std::string empty = SerializeNodesToText(nullptr, 0, 0x101, 0);
    EXPECT_TRUE(empty.starts_with("<nr>")) << empty;
    EXPECT_NE(empty.find("</nr>"), std::string::npos) << empty;
    const KelNodePtr node = CreateKelNode(L"n", nullptr);
    IKelNode* const handle = node.Get();
    for (std::uint64_t call = 1; call <= 3; ++call) {
        NodwellFailCall(call, E_ABORT, 0);
        EXPECT_EQ(CodeOf([&] { SerializeNodesToText(&handle, 1, 0x101, 0); }), E_ABORT) << call;
    }
}
