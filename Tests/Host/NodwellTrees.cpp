#include "Tests/Host/NodwellFixture.h"

#include <vector>

using NodeTrees = NodwellTest;
using NodeClones = NodwellTest;
using LongLists = NodwellTest;

TEST_F(NodeTrees, SayWhatIsWrongExceptThatSomethingIsAbsent)
{
    const NodeHandle root = Create(L"Root");
    const NodeHandle child = AddNew(root, L"Child");
    EXPECT_EQ(KelnAddChild(child.Get(), root.Get()), E_INVALIDARG);
    EXPECT_EQ(TakeErrorText(), L"Nodwell: node '\\Root' cannot be a child of itself or of a node below it");
    EXPECT_EQ(KelnAddChild(root.Get(), nullptr), E_POINTER);
    EXPECT_EQ(KelnGetParent(root.Get(), nullptr), E_POINTER);
    EXPECT_EQ(KelnCloseNodeHandle(nullptr), E_POINTER);
    EXPECT_NE(TakeErrorText(), L"");
    NodeHandle found;
    EXPECT_EQ(KelnGetChildByName(root.Get(), L"CHILD", found.Out()), NotFound);
    EXPECT_EQ(KelnGetChildByIndex(root.Get(), 1, found.Out()), NotFound);
    EXPECT_EQ(TakeErrorText(), L"");
}

TEST_F(NodeTrees, ChildStillHeldBecomesARootWhenItsParentGoes)
{
    NodeHandle root = Create(L"Root");
    const NodeHandle grandchild = AddNew(AddNew(root, L"Child"), L"Grandchild");
    AddNew(root, L"Lost");
    EXPECT_EQ(NodwellLiveNodes(), 4U);
    root.Reset();
    EXPECT_EQ(NodwellLiveNodes(), 1U);
    EXPECT_FALSE(ParentOf(grandchild));
    EXPECT_EQ(NameOf(grandchild, KelnPath), L"\\Grandchild");
    EXPECT_EQ(KelnAddChild(Create(L"Other").Get(), grandchild.Get()), S_OK);
}

TEST_F(NodeTrees, NamesAndTypesTellTheirSize)
{
    const NodeHandle node = Create(L"Name", L"Type");
    wchar_t buffer[8] = L"???????";
    uint32_t size = 4;
    EXPECT_EQ(KelnGetNodeName(node.Get(), KelnNameOnly, buffer, &size), TooSmall);
    EXPECT_EQ(size, 5U);
    EXPECT_STREQ(buffer, L"???????");
    EXPECT_EQ(KelnGetNodeType(node.Get(), buffer, &size), S_OK);
    EXPECT_STREQ(buffer, L"Type");
    EXPECT_EQ(KelnGetNodeName(node.Get(), 1, buffer, &size), E_INVALIDARG);
    EXPECT_EQ(NameOf(Create(nullptr), KelnPath), L"\\");
    for (int i = 0; i < 1000; ++i) {
        size = 8;
        EXPECT_EQ(KelnGetNodeType(Create(nullptr, std::to_wstring(i).c_str()).Get(), buffer, &size), S_OK);
        EXPECT_EQ(buffer, std::to_wstring(i));
    }
}

TEST_F(NodeClones, CopyDownToTheDepthAndStandAlone)
{
    const NodeHandle root = Create(L"Root");
    const NodeHandle first = AddNew(root, L"First");
    AddNew(first, L"Below");
    AddNew(root, L"Second");
    Set(first, L"A", KelnText, Utf16(L"old"));
    EXPECT_EQ(CountOf(Clone(root, 0)), 0U);
    const NodeHandle shallow = Clone(root, 1);
    EXPECT_EQ(NameOf(ChildAt(shallow, 1)), L"Second");
    EXPECT_EQ(CountOf(ChildAt(shallow, 0)), 0U);
    const NodeHandle copy = ChildAt(Clone(root), 0);
    EXPECT_EQ(CountOf(copy), 1U);
    Set(first, L"A", KelnText, Utf16(L"new"));
    std::string read;
    EXPECT_EQ(Get(copy, L"A", read), S_OK);
    EXPECT_EQ(read, Utf16(L"old"));
}

TEST_F(NodeClones, KeepTheOriginalsPathUntilTheyGetAParent)
{
    const NodeHandle root = Create(L"Root");
    const NodeHandle list = AddNew(root, L"List");
    AddNew(list, L"Item");
    const NodeHandle clone = Clone(list);
    const NodeHandle item = ChildAt(clone, 0);
    EXPECT_FALSE(ParentOf(clone));
    EXPECT_EQ(NameOf(item, KelnPath), L"\\Root\\List\\Item");
    EXPECT_EQ(NameOf(Clone(item), KelnPath), L"\\Root\\List\\Item");
    EXPECT_EQ(NameOf(Clone(clone), KelnPath), L"\\Root\\List");
    const NodeHandle other = Create(L"Other");
    ASSERT_EQ(KelnAddChild(other.Get(), clone.Get()), S_OK);
    EXPECT_EQ(NameOf(item, KelnPath), L"\\Other\\List\\Item");
    ASSERT_EQ(KelnRemoveChild(other.Get(), clone.Get()), S_OK);
    EXPECT_EQ(NameOf(item, KelnPath), L"\\List\\Item");
}

TEST_F(LongLists, AreSearchedAndEmptiedInUsualOrders)
{
    constexpr uint64_t count = 100000;
    const NodeHandle list = Create(nullptr);
    for (uint64_t i = 0; i < count; ++i)
        AddNew(list, std::to_wstring(i).c_str());
    NodeHandle found;
    for (uint64_t i = 0; i < count; i += 2) {
        ASSERT_EQ(KelnGetChildByName(list.Get(), std::to_wstring(i).c_str(), found.Out()), S_OK);
        ASSERT_EQ(KelnRemoveChild(list.Get(), found.Get()), S_OK);
    }
    for (uint64_t first = 1, last = count - 1; first < last; first += 2, last -= 2) {
        ASSERT_EQ(KelnGetChildByIndex(list.Get(), (last - first) / 2, found.Out()), S_OK);
        ASSERT_EQ(NameOf(found), std::to_wstring(last));
        ASSERT_EQ(KelnRemoveChild(list.Get(), found.Get()), S_OK);
        ASSERT_EQ(KelnRemoveChild(list.Get(), ChildAt(list, 0).Get()), S_OK);
    }
    EXPECT_EQ(CountOf(list), 0U);
}
