#include "Tests/Host/NodwellFixture.h"

using NodeFaults = NodwellTest;

namespace
{

// Six calls, up to the first that fails.
HRESULT Work(const NodeHandle& node)
{
    NodeHandle child;
    NodeHandle found;
    HRESULT result = S_OK;
    const auto call = [&result](HRESULT outcome) { return SUCCEEDED(result = outcome); };
    call(KelnCreateNode(L"Child", nullptr, child.Out())) && call(KelnAddChild(node.Get(), child.Get())) &&
        call(KelnSetAttribute(child.Get(), L"A", KelnEmpty, nullptr, 0)) &&
        call(KelnGetChildByIndex(node.Get(), 0, found.Out())) &&
        call(KelnCloneNode(node.Get(), KelnWholeTree, 0, found.Out())) &&
        call(KelnRemoveChild(node.Get(), child.Get()));
    return result;
}

} // namespace

TEST_F(NodeFaults, FailEachCallInItsTurnOrAllFromThere)
{
    for (uint64_t turn = 1; turn <= 6; ++turn) {
        NodwellFailCall(turn + 1, E_ABORT, 0);
        const NodeHandle node = Create(L"Node");
        EXPECT_EQ(Work(node), E_ABORT);
        EXPECT_EQ(NodwellFaultsFired(), 1U);
        EXPECT_EQ(CountOf(node), turn == 1 || turn == 2 ? 0U : 1U);
    }
    const NodeHandle node = Create(L"Node");
    NodwellFailCall(7, E_ABORT, 1);
    EXPECT_EQ(Work(node), S_OK);
    EXPECT_EQ(Work(node), E_ABORT);
    EXPECT_EQ(Work(node), E_ABORT);
    EXPECT_EQ(NodwellFaultsFired(), 2U);
    NodwellFailCall(0, S_OK, 0);
    EXPECT_EQ(Work(node), S_OK);
}
