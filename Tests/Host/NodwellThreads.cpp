#include "Tests/Host/NodwellFixture.h"

#include <random>
#include <set>
#include <thread>

using NodeThreads = NodwellTest;

TEST_F(NodeThreads, ChildrenThatMoveAreNeitherLostNorDoubled)
{
    const NodeHandle lists[] = {Create(L"Left"), Create(L"Right")};
    std::vector<NodeHandle> children;
    for (std::size_t i = 0; i < 100; ++i)
        children.push_back(AddNew(lists[i % 2], std::to_wstring(i)));
    const auto move = [&](unsigned thread) {
        std::mt19937 random(thread);
        for (int i = 0; i < 3000; ++i) {
            const NodeHandle& child = children[random() % 100];
            const std::size_t side = random() % 2;
            const NodeHandle& from = lists[side];
            const NodeHandle& to = lists[1 - side];
            if (KelnRemoveChild(from.Get(), child.Get()) == S_OK)
                Host::AddChild(to.Get(), child.Get());
            if (KelnAddChild(from.Get(), to.Get()) == S_OK) {
                ASSERT_FALSE(ParentOf(from)) << "each is the other's parent";
                ASSERT_EQ(KelnRemoveChild(from.Get(), to.Get()), S_OK);
            }
            const std::string written(random() % 64, static_cast<char>('0' + thread));
            Host::SetAttribute(from.Get(), L"A", Host::Binary{written});
            char read[64] = "";
            uint32_t size = sizeof read;
            ASSERT_EQ(KelnGetAttribute(from.Get(), L"A", nullptr, read, &size, nullptr), S_OK);
            ASSERT_EQ(std::string(read, size), std::string(size, read[0]));
        }
    };
    std::jthread movers[] = {std::jthread(move, 0), std::jthread(move, 1), std::jthread(move, 2)};
    for (std::size_t i = 0; i < 3000; ++i) {
        const NodeHandle& list = lists[i / 100 % 2];
        const NodeHandle seen = Host::FindChild(list.Get(), std::to_wstring(i % 100));
        ASSERT_TRUE(!seen || seen.Get() == children[i % 100].Get());
        const NodeHandle clone = Host::CloneNode(list.Get(), KelnWholeTree);
        std::set<std::wstring> paths;
        for (uint64_t k = 0; k < CountOf(clone); ++k)
            ASSERT_TRUE(paths.insert(PathOf(ChildAt(clone, k))).second);
    }
    for (std::jthread& mover : movers)
        mover.join();
    EXPECT_EQ(CountOf(lists[0]) + CountOf(lists[1]), 100U);
}
