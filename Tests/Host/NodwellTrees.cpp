#include "Tests/Host/NodwellFixture.h"

using NodeTrees = NodwellTest;

TEST_F(NodeTrees, RemovedChildrenLeaveTheOthersInOrder)
{
    const NodeHandle root = Create(L"Root");
    for (int i = 0; i < 100; ++i)
        AddNew(root, std::to_wstring(i % 50).c_str());
    EXPECT_EQ(root.FindChild(L"49").Get(), root.ChildAt(49).Get()) << "the first of that name";
    for (uint64_t i = 99; i < 100; i -= 2) {
        const NodeHandle child = root.ChildAt(i);
        EXPECT_EQ(KelnRemoveChild(root.Get(), child.Get()), S_OK);
        EXPECT_EQ(KelnRemoveChild(root.Get(), child.Get()), NotFound);
        EXPECT_FALSE(child.Parent().Get());
    }
    ASSERT_EQ(root.ChildCount(), 50U);
    for (int i = 0; i < 50; ++i)
        EXPECT_EQ(root.ChildAt(static_cast<uint64_t>(i)).Name(KelnNameOnly), std::to_wstring(i * 2 % 50));
    EXPECT_FALSE(root.FindChild(L"49").Get());
    EXPECT_EQ(KelnAddChild(root.ChildAt(0).Get(), root.Get()), E_INVALIDARG) << "a circle";
}

TEST_F(NodeTrees, ClonesStandAloneAndKeepTheOriginalsPathUntilTheyGetAParent)
{
    const NodeHandle root = Create(L"Root");
    const NodeHandle list = AddNew(root, L"List");
    const NodeHandle item = AddNew(list, L"Item");
    AddNew(item, L"Below");
    AddNew(list, L"Second");
    item.Set(L"A", 1);
    const NodeHandle shallow = list.Clone(1);
    EXPECT_EQ(shallow.ChildAt(1).Name(KelnPath), L"\\Root\\List\\Second");
    EXPECT_EQ(shallow.ChildAt(0).ChildCount(), 0U);

    const NodeHandle clone = list.Clone(KelnWholeTree);
    const NodeHandle copy = clone.ChildAt(0);
    item.Set(L"A", 2);
    copy.Set(L"B", 3);
    EXPECT_EQ(copy.ReadInt32(L"A"), 1);
    EXPECT_FALSE(item.Has(L"B"));
    EXPECT_FALSE(clone.Parent());
    EXPECT_EQ(copy.Name(KelnPath), L"\\Root\\List\\Item");
    EXPECT_EQ(copy.Clone(0).Name(KelnPath), L"\\Root\\List\\Item");
    item.AddChild(clone);
    EXPECT_EQ(copy.Name(KelnPath), L"\\Root\\List\\Item\\List\\Item");
    EXPECT_EQ(KelnRemoveChild(item.Get(), clone.Get()), S_OK);
    EXPECT_EQ(copy.Name(KelnPath), L"\\List\\Item");
}
