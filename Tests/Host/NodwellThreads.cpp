#include "Tests/Host/NodwellFixture.h"

#include <atomic>
#include <random>
#include <set>
#include <thread>
#include <vector>

using NodeThreads = NodwellTest;

namespace
{

// Runs `body(0)` to `body(count - 1)` on threads of their own and waits for them.
template <class Body>
void RunThreads(int count, const Body& body)
{
    std::vector<std::jthread> threads;
    for (int i = 0; i < count; ++i)
        threads.emplace_back([&body, i] { body(i); });
}

} // namespace

TEST_F(NodeThreads, ChildrenThatMoveAreNeitherLostNorDoubled)
{
    constexpr std::size_t count = 100;
    const NodeHandle lists[] = {Create(L"Left"), Create(L"Right")};
    std::vector<NodeHandle> children;
    for (std::size_t i = 0; i < count; ++i)
        children.push_back(AddNew(lists[i % 2], std::to_wstring(i).c_str()));
    RunThreads(4, [&](int thread) {
        std::mt19937 random(static_cast<unsigned>(thread));
        for (int i = 0; i < 3000; ++i) {
            const std::size_t child = random() % count;
            const std::size_t from = random() % 2;
            char value[64] = "";
            uint32_t size = sizeof value;
            Set(lists[from], L"A", KelnBinary, std::string(random() % 64, static_cast<char>('0' + thread)));
            ASSERT_EQ(KelnGetAttribute(lists[from].Get(), L"A", nullptr, value, &size, nullptr), S_OK);
            ASSERT_EQ(std::string(value, size), std::string(size, value[0]));
            if (thread != 0) {
                if (KelnRemoveChild(lists[from].Get(), children[child].Get()) == S_OK) {
                    ASSERT_EQ(KelnAddChild(lists[1 - from].Get(), children[child].Get()), S_OK);
                }
                continue;
            }
            NodeHandle seen;
            const HRESULT result = KelnGetChildByName(lists[from].Get(), std::to_wstring(child).c_str(), seen.Out());
            ASSERT_EQ(seen.Get(), result == S_OK ? children[child].Get() : nullptr);
            const NodeHandle clone = Clone(lists[from]);
            std::set<std::wstring> names;
            for (uint64_t k = 0; k < CountOf(clone); ++k)
                ASSERT_TRUE(names.insert(NameOf(ChildAt(clone, k))).second);
        }
    });
    EXPECT_EQ(CountOf(lists[0]) + CountOf(lists[1]), count);
}

TEST_F(NodeThreads, ParentIsThereOrNotButNeverDead)
{
    const NodeHandle child = Create(L"Child");
    const NodeHandle below = AddNew(child, L"Below");
    std::atomic<bool> done = false;
    RunThreads(3, [&](int thread) {
        NodeHandle top;
        for (int i = 0; thread == 0 && i < 2000; ++i) {
            NodeHandle next = Create(L"Top");
            const NodeHandle parent = AddNew(next, L"Parent");
            for (int sibling = 0; sibling < 20; ++sibling)
                AddNew(parent, L"Sibling"); // that the parent may take its time to go
            EXPECT_TRUE(!top || ParentOf(child));
            top = std::move(next);
            bool wasRoot = false;
            while (KelnAddChild(parent.Get(), child.Get()) != S_OK && !wasRoot)
                wasRoot = !ParentOf(child);
        }
        done = done || thread == 0;
        while (!done) {
            if (const NodeHandle parent = ParentOf(child)) {
                ASSERT_EQ(NameOf(parent), L"Parent");
            }
            wchar_t path[64];
            uint32_t size = 64;
            ASSERT_EQ(KelnGetNodeName(below.Get(), KelnPath, path, &size), S_OK);
            ASSERT_TRUE(std::wstring_view(L"\\Top\\Parent\\Child\\Below").ends_with(path));
        }
    });
}

TEST_F(NodeThreads, TwoNodesCannotBecomeEachOthersParent)
{
    const NodeHandle nodes[] = {Create(L"A"), Create(L"B")};
    const NodeHandle leaves[] = {AddNew(nodes[0], L"Leaf"), AddNew(nodes[1], L"Leaf")};
    RunThreads(2, [&](int thread) {
        const NodeHandle& mine = nodes[thread];
        const NodeHandle& other = nodes[1 - thread];
        for (int i = 0; i < 5000; ++i) {
            if (KelnAddChild(mine.Get(), other.Get()) == S_OK) {
                ASSERT_FALSE(ParentOf(mine));
                ASSERT_EQ(KelnRemoveChild(mine.Get(), other.Get()), S_OK);
            }
        }
    });
}
