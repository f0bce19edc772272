#include "Tests/Host/NodwellFixture.h"

#include <random>

using NodeTrees = NodwellTest;

namespace
{

// A node and, beside it, what it should be.
struct Twin
{
    const Twin& Root() const { return parent ? parent->Root() : *this; }
    std::wstring Path() const { return (parent ? parent->Path() : L"") + L'\\' + name; }

    std::wstring name;
    Twin* parent = nullptr;
    std::vector<Twin*> children;
    NodeHandle node;
};

void Compare(const Twin& twin, const std::wstring& name)
{
    IKelNode* named = nullptr;
    ASSERT_EQ(twin.node.ChildCount(), twin.children.size());
    for (std::size_t i = twin.children.size(); i-- > 0;) {
        const Twin& child = *twin.children[i];
        ASSERT_EQ(twin.node.ChildAt(i).Get(), child.node.Get());
        named = child.name == name ? child.node.Get() : named;
    }
    ASSERT_EQ(twin.node.FindChild(name).Get(), named);
    ASSERT_EQ(twin.node.Parent().Get(), twin.parent ? twin.parent->node.Get() : nullptr);
    ASSERT_EQ(twin.node.Name(KelnPath), twin.Path());
}

} // namespace

TEST_F(NodeTrees, BehaveAsTheirPlainTwins)
{
    const unsigned seed = std::random_device()();
    SCOPED_TRACE(seed);
    std::mt19937 random(seed);
    const auto anyName = [&random] { return std::wstring(random() % 12 / 4, L"abcd"[random() % 4]); };
    std::vector<Twin> twins(150);
    for (Twin& twin : twins) {
        twin.name = anyName();
        twin.node = Create(twin.name.c_str());
    }
    for (unsigned i = 0; i < 10000 && !HasFatalFailure(); ++i) {
        // Three have many children; now and then any gets one. It goes up and down with the number of children.
        Twin& parent = twins[random() % (random() % 8 == 0 ? 150 : 3)];
        Twin& any = twins[random() % 150];
        if (random() % 8 < (i / 500 % 2 == 0 ? 7U : 1U)) {
            const bool allowed = !any.parent && &parent.Root() != &any;
            ASSERT_EQ(KelnAddChild(parent.node.Get(), any.node.Get()), allowed ? S_OK : E_INVALIDARG);
            if (allowed)
                (any.parent = &parent)->children.push_back(&any);
        } else {
            Twin& child = parent.children.empty() ? any : *parent.children[random() % parent.children.size()];
            const bool allowed = child.parent == &parent;
            ASSERT_EQ(KelnRemoveChild(parent.node.Get(), child.node.Get()), allowed ? S_OK : NotFound);
            if (allowed)
                std::erase(std::exchange(child.parent, nullptr)->children, &child);
        }
        Compare(parent, anyName());
        Compare(any, anyName());
    }
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
