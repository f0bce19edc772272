#include "Common/Nodes/KelNodePtr.h"
#include "Common/Nodes/KelNodesEqual.h"
#include "Common/Nodes/NodePath.h"
#include "Common/Nodes/NodeSerializer.h"
#include "Host/Nodwell/TestControls.h"
#include "Tests/Support/CodeOf.h"
#include "Tests/Support/HostFakes.h"

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

} // namespace

TEST(KelNodePtr, WhatIsAbsentIsAFailureWhereItIsRequired)
{
    const std::wstring name(300, L'x'); // longer than the first buffer
    const KelNodePtr root = CreateKelNode(name.c_str(), L"Root");
    const KelNodePtr a = Child(root, L"a", L"Type");
    EXPECT_EQ(root.GetChildren(), std::vector<KelNodePtr>{a});
    EXPECT_EQ(root.GetChildByName(L"a", true), a);
    EXPECT_EQ(a.GetParent().GetPath() + L":" + a.GetNodeType(), L"\\" + name + L":Type");
    EXPECT_FALSE(root.GetChildByIndex(1, false) || root.GetChildByName(L"A", false) || root.GetParent());
    EXPECT_EQ(CodeOf([&] { root.GetChildByIndex(1, true); }), NotFound);
    EXPECT_EQ(CodeOf([&] { root.GetChildByName(L"c", true); }), NotFound);
    EXPECT_EQ(CodeOf([&] { root.GetString(L"absent"); }), NotFound);
    EXPECT_EQ(CodeOf([] { KelNodePtr().GetChildCount(); }), E_POINTER);
}

TEST(KelNodePtr, ReadsAndWritesAttributes)
{
    const KelNodePtr node = CreateKelNode(nullptr, nullptr);
    // Longer than the first buffer, with characters beyond the basic plane and a surrogate without partner.
    const std::wstring longText = std::wstring(300, L'\x00E4') + L"\U0001F600" + wchar_t(0xD800);
    const Texts texts{L"a", L"", std::wstring(200, L'c')};
    const std::vector<std::uint8_t> bytes(1000, 0xAB);
    node.SetString(L"long", longText);
    node.SetString(L"empty", L"");
    node.SetEmpty(L"none");
    node.SetInt32(L"number", -7);
    node.SetStringList(L"list", texts);
    node.SetStringList(L"emptyList", {});
    node.SetBinary(L"binary", bytes);
    EXPECT_EQ(node.GetAttributeNames(),
              (Texts{L"long", L"empty", L"none", L"number", L"list", L"emptyList", L"binary"}));

    EXPECT_EQ(node.GetString(L"long"), longText);
    EXPECT_EQ(node.GetString(L"none"), L"") << "present without value";
    EXPECT_EQ(node.GetString(L"number"), L"-7") << "converted by the library";
    for (const auto& [name, text] : {std::pair(L"absent", L"default"), {L"none", L"default"}, {L"empty", L""}})
        EXPECT_EQ(node.GetStringOr(name, L"default"), text);
    std::wstring text = L"before";
    EXPECT_FALSE(node.TryGetString(L"absent", text));
    EXPECT_EQ(text, L"");

    const auto list = [&](const wchar_t* name) {
        Texts read{L"before"};
        const bool found = node.GetStringList(name, read);
        return std::pair(found, read);
    };
    EXPECT_EQ(list(L"absent"), std::pair(false, Texts{L"before"}));
    EXPECT_EQ(list(L"list"), std::pair(true, texts));
    EXPECT_EQ(list(L"emptyList"), std::pair(true, Texts()));
    EXPECT_EQ(list(L"number"), std::pair(true, Texts{L"-7"}));
    EXPECT_EQ(list(L"none"), std::pair(false, Texts()));

    std::int32_t int32 = 99;
    std::uint32_t uint32 = 99;
    std::int64_t int64 = 99;
    EXPECT_FALSE(node.TryGetInt32(L"absent", int32) || node.TryGetInt64(L"none", int64));
    EXPECT_EQ(std::pair(int32, int64), std::pair(99, std::int64_t(99))) << "left alone";
    EXPECT_TRUE(node.TryGetInt32(L"number", int32) && node.TryGetInt64(L"number", int64));
    EXPECT_EQ(std::pair(int32, int64), std::pair(-7, std::int64_t(-7)));
    EXPECT_LT(CodeOf([&] { node.TryGetUInt32(L"number", uint32); }), 0) << "a negative number is no unsigned one";

    std::vector<std::uint8_t> read;
    std::uint16_t type = 0;
    EXPECT_TRUE(node.GetBinary(L"binary", read, type) && !node.GetBinary(L"absent", read, type));
    EXPECT_EQ(std::pair(read, type), std::pair(bytes, std::uint16_t(KelnBinary)));
}

TEST(KelNodesEqual, ComparesWhatTheFlagsSay)
{
    constexpr std::uint32_t byName = KelIgnoreIdentity | KelCompareNames | KelIgnoreChildOrder;
    constexpr std::uint32_t byPosition = KelIgnoreIdentity | KelPairByPosition;
    struct
    {
        std::string_view a;
        std::string_view b;
        std::uint32_t flags;
        bool equal;
    } cases[] = {
        {"n a=Text b:1(x)", "n a=Text b:1(x)", KelCompareAll, true},
        {"n a=Text", "n", KelCompareAll, false},
        {"n a=Text", "n b=Text", KelCompareAll, false},
        {"n a=Text", "n a=TEXT", KelCompareAll, false},
        {"n a:49", "n a=1", KelCompareAll, false}, // the same bytes of two types
        {"n", "other", KelCompareAll, false},
        {"n", "other", KelIgnoreIdentity, true},
        {"n(x)", "other", KelIgnoreIdentity, false},
        {"n", "other(x)", KelIgnoreIdentity, false},
        {"(x v=1)(y v=2)", "(y v=2)(x v=1)", KelCompareAll, false},
        {"(x v=1)(y v=2)", "(y v=2)(x v=1)", byName, true},
        {"(x v=1)(y v=2)", "(y v=2)(z v=1)", byName, false},
        {"(x v=1)(y v=2)", "(y v=2)(x v=2)", byName, false},
        {"(d(x)(y))", "(d(y)(x))", byName, true},
        {"(d(x)(y))", "(d(y)(x))", KelIgnoreIdentity, false},
        {"( v=a)( v=b)", "( v=b)( v=a)", byName, false}, // the nameless are compared one by one
        {"( v=a)( v=b)", "( v=a)( v=b)( v=b)", byName, false},
        {"( v=a)( v=b)", "( v=a)( v=b)( v=b)", byPosition, false},
        {"(x v=1)(y v=2)", "(y v=1)(x v=2)", byPosition, true},
        {"n a=1(y)", "n", KelIgnoreAttributes | KelIgnoreChildren, true},
        {"n a=Text", "n a=TEXT #now=x", KelIgnoreCase | KelIgnoreHashAttributes, true},
    };
    for (auto& each : cases) {
        const std::string row = std::string(each.a) + " | " + std::string(each.b);
        EXPECT_EQ(KelNodesEqual(ReadTree(each.a), ReadTree(each.b), each.flags), each.equal) << row << each.flags;
    }
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
    const struct
    {
        std::wstring start, path;
        std::uint32_t flags;
        std::wstring found; // "": none
    } cases[] = {
        {L"\\Site", L"A\\B", 0, L"\\Site\\A\\B"},
        {L"\\Site\\A\\B", L"\\Site\\C", 0, L"\\Site\\C"}, // two steps up, one down
        {L"\\Site\\A\\B", L"\\Site\\C", NodePathDownOnly, L""},
        {L"\\Site\\A", L"\\Site\\A\\B", NodePathDownOnly, L"\\Site\\A\\B"},
        {L"\\Site", L"\\Sit", 0, L""}, // whole segments only
        {L"\\Site", L"A\\X\\B", 0, L""},
    };
    for (const auto& each : cases) {
        const KelNodePtr& start = *std::find_if(std::begin(nodes), std::end(nodes),
                                                [&](const KelNodePtr& node) { return node.GetPath() == each.start; });
        const KelNodePtr found = ResolveNodePath(start, each.path, each.flags);
        EXPECT_EQ(found ? found.GetPath() : L"", each.found) << testing::PrintToString(each.path);
        const HRESULT required = CodeOf([&] { ResolveNodePath(start, each.path, each.flags | NodePathRequired); });
        EXPECT_EQ(required, found ? S_OK : NotFound);
    }
}

TEST(NodeSerializer, AFailingCallOfTheLibraryIsThrown)
{
    const KelNodePtr node = CreateKelNode(L"n", nullptr);
    IKelNode* const handle = node.Get();
    for (std::uint64_t call = 1; call <= 3; ++call) {
        NodwellFailCall(call, E_ABORT, 0);
        EXPECT_EQ(CodeOf([&] { SerializeNodesToText(&handle, 1, 0x101, 0); }), E_ABORT) << call;
    }
}
