#include "Common/Nodes/KelNodePtr.h"
#include "Common/Nodes/KelNodesEqual.h"
#include "Common/Nodes/NodePath.h"
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
    node.SetBinary(L"binary", bytes);
    node.SetStringList(L"list", texts);
    EXPECT_EQ(node.GetAttributeNames(), (Texts{L"long", L"empty", L"none", L"number", L"binary", L"list"}));

    for (const auto& [name, text] : {std::pair(L"absent", L"default"), {L"none", L"default"}, {L"empty", L""}})
        EXPECT_EQ(node.GetStringOr(name, L"default"), text);
    std::wstring text = L"before";
    EXPECT_TRUE(!node.TryGetString(L"absent", text) && text.empty());
    EXPECT_TRUE(node.TryGetString(L"long", text) && text == longText);

    const auto list = [&](const wchar_t* name) {
        Texts read{L"before"};
        const bool found = node.GetStringList(name, read);
        return std::pair(found, read);
    };
    EXPECT_EQ(list(L"absent"), std::pair(false, Texts{L"before"}));
    EXPECT_EQ(list(L"list"), std::pair(true, texts));
    EXPECT_EQ(list(L"number"), std::pair(true, Texts{L"-7"}));
    EXPECT_EQ(list(L"none"), std::pair(false, Texts()));

    std::int32_t int32 = 99;
    EXPECT_FALSE(node.TryGetInt32(L"absent", int32) || node.TryGetInt32(L"none", int32));
    EXPECT_EQ(int32, 99) << "left alone";
    EXPECT_TRUE(node.TryGetInt32(L"number", int32) && int32 == -7);
    std::vector<std::uint8_t> read;
    std::uint16_t type = KelnEmpty;
    EXPECT_TRUE(node.GetBinary(L"binary", read, type) && read == bytes && type == KelnBinary);
}

TEST(KelNodesEqual, ComparesWhatTheFlagsSay)
{
    constexpr std::uint32_t byName = KelIgnoreIdentity | KelCompareNames | KelIgnoreChildOrder;
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
        {"n", "other", KelIgnoreIdentity, true},
        {"n(x)", "other", KelIgnoreIdentity, false},
        {"(x v=1)(y v=2)", "(y v=2)(x v=1)", KelCompareAll, false},
        {"(x v=1)(y v=2)", "(y v=2)(x v=1)", byName, true},
        {"(x v=1)(y v=2)", "(y v=2)(z v=1)", byName, false},
        {"(x v=1)(y v=2)", "(y v=2)(x v=2)", byName, false},
        {"(d(x)(y))", "(d(y)(x))", byName, true},
        {"( v=a)( v=b)", "( v=b)( v=a)", byName, false}, // the nameless are compared one by one
        {"( v=a)( v=b)", "( v=a)( v=b)( v=b)", byName, false},
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
    const KelNodePtr b = Child(a, L"B");
    const KelNodePtr c = Child(site, L"C");
    EXPECT_EQ(ResolveNodePath(site, L"A\\B", 0), b);
    EXPECT_EQ(ResolveNodePath(b, L"\\Site\\C", 0), c) << "two steps up, one down";
    EXPECT_EQ(ResolveNodePath(a, L"\\Site\\A\\B", NodePathDownOnly), b);
    EXPECT_FALSE(ResolveNodePath(b, L"\\Site\\C", NodePathDownOnly) || ResolveNodePath(site, L"\\Sit", 0));
    EXPECT_EQ(CodeOf([&] { ResolveNodePath(site, L"A\\X\\B", NodePathRequired); }), NotFound);
}
