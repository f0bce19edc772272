#include "Common/ErrorHandling/HResult.h"
#include "Common/Nodes/KelNodePtr.h"
#include "Common/Nodes/KelNodesEqual.h"
#include "Common/Nodes/NodePath.h"
#include "Common/Nodes/NodeSerializer.h"
#include "Common/Nodes/Subscriptions.h"
#include "Host/Nodwell/TestControls.h"
#include "Tests/Support/HostFakes.h"

#include <gtest/gtest.h>

namespace
{

constexpr HRESULT NotFound = HResultFromWin32(ERROR_NOT_FOUND);

template <class Body>
HRESULT CodeOf(Body body)
{
    try {
        body();
    } catch (const HRX& e) {
        return e.Code();
    }
    return S_OK;
}

KelNodePtr Child(const KelNodePtr& parent, const wchar_t* name, const wchar_t* type = nullptr)
{
    const KelNodePtr child = CreateKelNode(name, type);
    parent.AddChild(child);
    return child;
}

} // namespace

TEST(KelNodePtr, CountsItsReferences)
{
    const KelNodePtr node = CreateKelNode(L"n", L"T");
    const std::uint64_t open = NodwellOpenHandles();
    {
        KelNodePtr copy = node;
        const KelNodePtr moved = std::move(copy);
        EXPECT_FALSE(copy);
        EXPECT_EQ(moved, node);
        EXPECT_EQ(NodwellOpenHandles(), open + 1);
        KelNodePtr assigned = CreateKelNode(nullptr, nullptr);
        assigned = node;
        assigned = *&assigned;
        EXPECT_EQ(assigned, node);
        KelNodePtr attached = KelNodePtr::Attach(assigned.Detach());
        EXPECT_EQ(NodwellOpenHandles(), open + 2);
        attached = {};
        EXPECT_EQ(NodwellOpenHandles(), open + 1);
    }
    EXPECT_EQ(NodwellOpenHandles(), open);
    EXPECT_FALSE(KelNodePtr::AddRef(nullptr));
}

TEST(KelNodePtr, WalksTheStructure)
{
    const KelNodePtr root = CreateKelNode(L"root", L"Root");
    const KelNodePtr a = Child(root, L"a");
    const KelNodePtr b = Child(root, L"b", L"Type");
    EXPECT_EQ(root.GetChildCount(), 2U);
    EXPECT_EQ(root.GetChildren(), (std::vector<KelNodePtr>{a, b}));
    EXPECT_EQ(root.GetChildByIndex(1, true), b);
    EXPECT_EQ(root.GetChildByName(L"a", true), a);
    EXPECT_FALSE(root.GetChildByIndex(2, false));
    EXPECT_FALSE(root.GetChildByName(L"A", false)) << "names are exact";
    EXPECT_EQ(CodeOf([&] { root.GetChildByIndex(2, true); }), NotFound);
    EXPECT_EQ(CodeOf([&] { root.GetChildByName(L"c", true); }), NotFound);
    EXPECT_EQ(b.GetParent(), root);
    EXPECT_FALSE(root.GetParent());
    EXPECT_EQ(b.GetPath(), L"\\root\\b");
    EXPECT_EQ(b.GetNodeType(), L"Type");
    const KelNodePtr longName = CreateKelNode(std::wstring(300, L'x').c_str(), nullptr);
    EXPECT_EQ(longName.GetName(), std::wstring(300, L'x'));
    const KelNodePtr clone = root.Clone(KelnWholeTree);
    root.RemoveChild(a);
    EXPECT_EQ(root.GetChildCount(), 1U);
    EXPECT_EQ(clone.GetChildCount(), 2U);
    EXPECT_EQ(root.Clone(0).GetChildCount(), 0U);
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
    EXPECT_EQ(node.GetString(L"empty"), L"");
    EXPECT_EQ(node.GetString(L"none"), L"") << "present without value";
    EXPECT_EQ(node.GetString(L"number"), L"-7") << "converted by the library";
    EXPECT_EQ(CodeOf([&] { node.GetString(L"absent"); }), NotFound);

    std::wstring text = L"before";
    EXPECT_FALSE(node.TryGetString(L"absent", text));
    EXPECT_EQ(text, L"");
    EXPECT_TRUE(node.TryGetString(L"long", text));
    EXPECT_EQ(node.GetStringOr(L"absent", L"default"), L"default");
    EXPECT_EQ(node.GetStringOr(L"none", L"default"), L"default");
    EXPECT_EQ(node.GetStringOr(L"empty", L"default"), L"");

    std::uint16_t type = 0;
    std::uint32_t size = 0;
    EXPECT_TRUE(node.HasAttribute(L"empty", &type, &size));
    EXPECT_EQ(std::pair(int(type), size), std::pair(int(KelnText), 2U));
    EXPECT_EQ(node.GetAttributeType(L"none"), KelnEmpty);
    EXPECT_EQ(CodeOf([&] { node.GetAttributeType(L"absent"); }), NotFound);
    EXPECT_EQ(node.GetAttributeNames(), (std::vector<std::wstring>{L"long", L"empty", L"none", L"number"}));
    EXPECT_TRUE(CreateKelNode(nullptr, nullptr).GetAttributeNames().empty());
}

TEST(KelNodePtr, ReadsAndWritesLists)
{
    const KelNodePtr node = CreateKelNode(nullptr, nullptr);
    const std::vector<std::wstring> texts{L"a", L"", std::wstring(200, L'c')};
    node.SetStringList(L"list", texts);
    node.SetStringList(L"emptyList", {});
    node.SetString(L"single", L"one");
    node.SetEmpty(L"none");

    std::vector<std::wstring> list{L"before"};
    EXPECT_FALSE(node.GetStringList(L"absent", list));
    EXPECT_EQ(list, std::vector<std::wstring>{L"before"});
    EXPECT_TRUE(node.GetStringList(L"list", list));
    EXPECT_EQ(list, texts);
    EXPECT_TRUE(node.GetStringList(L"emptyList", list));
    EXPECT_TRUE(list.empty());
    EXPECT_TRUE(node.GetStringList(L"single", list));
    EXPECT_EQ(list, std::vector<std::wstring>{L"one"});
    EXPECT_FALSE(node.GetStringList(L"none", list));
    EXPECT_TRUE(list.empty());
}

TEST(KelNodePtr, ReadsAndWritesNumbersAndBytes)
{
    const KelNodePtr node = CreateKelNode(nullptr, nullptr);
    node.SetInt32(L"int", -5);
    node.SetInt64(L"long", 0x123456789A);
    node.SetBool(L"bool", true);
    node.SetString(L"text", L"many");
    node.SetEmpty(L"none");
    std::int32_t int32 = 99;
    std::uint32_t uint32 = 99;
    std::int64_t int64 = 99;
    bool truth = false;
    EXPECT_FALSE(node.TryGetInt32(L"absent", int32));
    EXPECT_FALSE(node.TryGetInt64(L"none", int64)) << "without value means absent";
    EXPECT_FALSE(node.TryGetBool(L"none", truth));
    EXPECT_EQ(std::pair(int32, int64), std::pair(99, std::int64_t(99))) << "left alone";
    EXPECT_TRUE(node.TryGetInt32(L"int", int32));
    EXPECT_EQ(int32, -5);
    EXPECT_TRUE(node.TryGetInt64(L"int", int64));
    EXPECT_EQ(int64, -5);
    EXPECT_TRUE(node.TryGetInt64(L"long", int64));
    EXPECT_EQ(int64, 0x123456789A);
    EXPECT_TRUE(node.TryGetBool(L"bool", truth));
    EXPECT_TRUE(truth);
    EXPECT_LT(CodeOf([&] { node.TryGetUInt32(L"int", uint32); }), 0) << "a negative number is no unsigned one";
    EXPECT_LT(CodeOf([&] { node.TryGetInt32(L"text", int32); }), 0);

    const std::vector<std::uint8_t> bytes(1000, 0xAB);
    node.SetBinary(L"binary", bytes);
    std::vector<std::uint8_t> read;
    std::uint16_t type = 0;
    EXPECT_TRUE(node.GetBinary(L"binary", read, type));
    EXPECT_EQ(std::pair(read, type), std::pair(bytes, std::uint16_t(KelnBinary)));
    EXPECT_TRUE(node.GetBinary(L"int", read, type));
    EXPECT_EQ(std::pair(read.size(), type), std::pair(std::size_t(4), std::uint16_t(KelnInt32)));
    EXPECT_FALSE(node.GetBinary(L"absent", read, type));
    node.SetRaw(L"copy", KelnInt32, {1, 0, 0, 0});
    EXPECT_TRUE(node.TryGetInt32(L"copy", int32));
    EXPECT_EQ(int32, 1);
}

TEST(KelNodesEqual, ComparesIdentityAttributesAndChildrenAsTheFlagsSay)
{
    const KelNodePtr a = CreateKelNode(L"same", nullptr);
    const KelNodePtr b = CreateKelNode(L"same", nullptr);
    const auto equal = [&](std::uint32_t flags) { return KelNodesEqual(a, b, flags); };
    EXPECT_TRUE(equal(KelCompareAll));
    a.SetString(L"Name", L"Text");
    EXPECT_FALSE(equal(0));
    EXPECT_TRUE(equal(KelIgnoreAttributes));
    b.SetString(L"Name", L"TEXT");
    EXPECT_FALSE(equal(0));
    EXPECT_TRUE(equal(KelIgnoreCase));
    b.SetString(L"#Time", L"now");
    EXPECT_FALSE(equal(KelIgnoreCase)) << "one attribute more on the other side";
    EXPECT_TRUE(equal(KelIgnoreCase | KelIgnoreHashAttributes));
    b.SetInt32(L"Name", 1);
    a.SetInt64(L"Name", 1);
    EXPECT_FALSE(equal(KelIgnoreHashAttributes)) << "types differ";

    const KelNodePtr other = CreateKelNode(L"other", nullptr);
    const KelNodePtr plain = CreateKelNode(L"same", nullptr);
    EXPECT_FALSE(KelNodesEqual(other, plain, 0));
    EXPECT_TRUE(KelNodesEqual(other, plain, KelIgnoreIdentity));
    const KelNodePtr inTree = Child(other, L"same");
    EXPECT_FALSE(KelNodesEqual(inTree, plain, 0)) << "paths differ";
    EXPECT_TRUE(KelNodesEqual(inTree, plain, KelCompareNames));
    EXPECT_FALSE(KelNodesEqual(other, plain, KelIgnoreIdentity)) << "a child more";
    EXPECT_TRUE(KelNodesEqual(other, plain, KelIgnoreIdentity | KelIgnoreChildren));
}

TEST(KelNodesEqual, MatchesChildrenByNameOrPosition)
{
    const auto tree = [](std::vector<const wchar_t*> names) {
        KelNodePtr root = CreateKelNode(nullptr, nullptr);
        for (const wchar_t* name : names)
            Child(root, name).SetString(L"v", name);
        return root;
    };
    const KelNodePtr xy = tree({L"x", L"y"});
    EXPECT_TRUE(KelNodesEqual(xy, tree({L"x", L"y"}), 0));
    EXPECT_FALSE(KelNodesEqual(xy, tree({L"y", L"x"}), 0));
    EXPECT_TRUE(KelNodesEqual(xy, tree({L"y", L"x"}), 11));
    EXPECT_FALSE(KelNodesEqual(xy, tree({L"y", L"z"}), 11));
    EXPECT_FALSE(KelNodesEqual(xy, tree({L"y", L"x"}), KelPairByPosition));
    // Order deeper down counts as the flags say, too.
    const KelNodePtr deepA = CreateKelNode(nullptr, nullptr);
    const KelNodePtr deepB = CreateKelNode(nullptr, nullptr);
    deepA.AddChild(tree({L"x", L"y"}));
    deepB.AddChild(tree({L"y", L"x"}));
    EXPECT_TRUE(KelNodesEqual(deepA, deepB, 11));
    EXPECT_FALSE(KelNodesEqual(deepA, deepB, 1));
}

TEST(KelNodesEqual, ComparesNamelessItemsOneByOne)
{
    const auto list = [](std::vector<const wchar_t*> values) {
        KelNodePtr root = CreateKelNode(nullptr, nullptr);
        for (const wchar_t* value : values)
            Child(root, nullptr).SetString(L"v", value);
        return root;
    };
    for (const std::uint32_t flags : {1U, 11U, 129U}) {
        EXPECT_TRUE(KelNodesEqual(list({L"a", L"b", L"c"}), list({L"a", L"b", L"c"}), flags));
        EXPECT_FALSE(KelNodesEqual(list({L"a", L"b", L"c"}), list({L"a", L"c", L"b"}), flags));
        EXPECT_FALSE(KelNodesEqual(list({L"a", L"b"}), list({L"a", L"b", L"b"}), flags));
    }
}

TEST(NodePath, ResolvesAbsoluteAndRelativePaths)
{
    const KelNodePtr root = CreateKelNode(L"Site", nullptr);
    const KelNodePtr a = Child(root, L"A");
    const KelNodePtr ab = Child(a, L"B");
    const KelNodePtr c = Child(root, L"C");
    EXPECT_EQ(ResolveNodePath(root, L"A\\B", 0), ab);
    EXPECT_EQ(ResolveNodePath(root, L"", 0), root);
    EXPECT_EQ(ResolveNodePath(root, L"\\Site\\A\\B", 0), ab);
    EXPECT_EQ(ResolveNodePath(ab, L"\\Site\\C", 0), c) << "two steps up, one down";
    EXPECT_EQ(ResolveNodePath(ab, L"\\Site\\A\\B", 0), ab);
    EXPECT_FALSE(ResolveNodePath(ab, L"\\Site\\C", NodePathDownOnly));
    EXPECT_FALSE(ResolveNodePath(root, L"\\Sit", 0)) << "whole segments only";
    EXPECT_FALSE(ResolveNodePath(a, L"\\Site\\AB", NodePathDownOnly));
    EXPECT_FALSE(ResolveNodePath(root, L"\\Other\\A", 0));
    EXPECT_FALSE(ResolveNodePath(root, L"A\\X\\B", 0));
    EXPECT_EQ(CodeOf([&] { ResolveNodePath(root, L"X", NodePathRequired); }), NotFound);
    EXPECT_EQ(CodeOf([&] { ResolveNodePath(root, L"\\Other", NodePathRequired); }), NotFound);
    EXPECT_EQ(ResolveNodePath(a.Clone(KelnWholeTree), ab.GetPath(), NodePathDownOnly).GetName(), L"B");
}

TEST(NodeSerializer, WritesTheWrapperAlsoAroundNothing)
{
    const std::string empty = SerializeNodesToText(nullptr, 0, 0x101, 0);
    EXPECT_TRUE(empty.starts_with("<nr>")) << empty;
    EXPECT_NE(empty.find("</nr>"), std::string::npos) << empty;
    EXPECT_LT(CodeOf([] { SerializeNodesToText(nullptr, 1, 0x101, 0); }), 0);
    const KelNodePtr node = CreateKelNode(L"n", nullptr);
    IKelNode* const handle = node.Get();
    for (std::uint64_t call = 1; call <= 3; ++call) {
        NodwellFailCall(call, E_ABORT, 0);
        EXPECT_EQ(CodeOf([&] { SerializeNodesToText(&handle, 1, 0x101, 0); }), E_ABORT) << call;
    }
}

TEST(Subscriptions, RequestAndFilterCarryWhatTheServerExpects)
{
    const KelNodePtr request = MakeSubscribeRequest(11);
    EXPECT_EQ(request.GetName(), L"SubscribeConfig");
    std::int32_t number = 0;
    EXPECT_TRUE(request.TryGetInt32(L"ChangesMask", number));
    EXPECT_EQ(number, 7);
    EXPECT_TRUE(request.TryGetInt32(L"SubscribeOptions", number));
    EXPECT_EQ(number, 11);
    EXPECT_EQ(request.GetAttributeType(L"SubscribeOptions"), KelnInt32);

    const KelNodePtr filter = MakePathFilter(L"\\Site\\X", false, 0x7FFFFFFF);
    SetMaxDepth(filter, 0);
    EXPECT_EQ(filter.GetName() + L"/" + filter.GetNodeType(), L"/FilterByPath");
    EXPECT_EQ(filter.GetString(L"NodePath"), L"\\Site\\X");
    EXPECT_EQ(filter.GetAttributeType(L"IsParent"), KelnBool);
    EXPECT_EQ(filter.GetAttributeType(L"MaxDepth"), KelnInt64);
    std::int64_t depth = 1;
    EXPECT_TRUE(filter.TryGetInt64(L"MaxDepth", depth));
    EXPECT_EQ(depth, 0);
}

TEST(Subscriptions, ReadsTheEntriesOfANotification)
{
    FakeModifiedNodes notification;
    std::vector<ModifiedNode> seen;
    const auto read = [&] {
        seen.clear();
        ForEachModifiedNode(&notification, [&](const ModifiedNode& m) { seen.push_back(m); });
    };
    read();
    EXPECT_TRUE(seen.empty());

    notification.Add(L"\\a", {}, 0x1'0000'0002);
    notification.Add(L"\\b", CreateKelNode(L"content", nullptr), -1);
    read();
    ASSERT_EQ(seen.size(), 2U);
    EXPECT_EQ(seen[0].path, L"\\a");
    EXPECT_EQ(seen[0].changesMask, 2U) << "the low 32 bits";
    EXPECT_FALSE(seen[0].node);
    EXPECT_EQ(seen[1].changesMask, 0xFFFFFFFF);
    EXPECT_EQ(seen[1].node.GetName(), L"content");

    notification.entries.push_back(CreateKelNode(nullptr, nullptr));
    notification.Add(L"\\late", {});
    EXPECT_EQ(CodeOf(read), NotFound);
    EXPECT_EQ(seen.size(), 2U) << "entries before the malformed one are passed on";
    EXPECT_EQ(CodeOf([] { ForEachModifiedNode(nullptr, [](const ModifiedNode&) {}); }), E_POINTER);
}
