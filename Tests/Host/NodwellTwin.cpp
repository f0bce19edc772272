#include "Tests/Host/NodwellFixture.h"

#include <algorithm>
#include <random>
#include <vector>

namespace
{

// A forest as plain as can be beside the same one in the node library.
class Twins
{
public:
    explicit Twins(unsigned seed) : m_random(seed)
    {
        for (Twin& twin : m_nodes) {
            twin.name = AnyName();
            twin.handle = Create(twin.name.c_str());
        }
    }

    // `eagerness`: of eight steps, how many add. Few nodes have many children; now and then any node gets one.
    void Step(std::size_t eagerness)
    {
        Twin& parent = m_nodes[Pick(Pick(8) == 0 ? m_nodes.size() : 3)];
        Twin& any = m_nodes[Pick(m_nodes.size())];
        if (Pick(8) < eagerness)
            Add(parent, any);
        else
            Remove(parent, parent.children.empty() ? any : *parent.children[Pick(parent.children.size())]);
        Compare(parent);
        Compare(any);
    }

private:
    struct Twin
    {
        std::wstring name;
        Twin* parent = nullptr;
        std::vector<Twin*> children;
        NodeHandle handle;
    };

    std::size_t Pick(std::size_t end) { return std::uniform_int_distribution<std::size_t>(0, end - 1)(m_random); }
    std::wstring AnyName() { return std::wstring(Pick(12) / 4, static_cast<wchar_t>(L'a' + Pick(4))); }

    void Add(Twin& parent, Twin& child)
    {
        const Twin* top = &parent;
        while (top->parent && top != &child)
            top = top->parent;
        const bool allowed = !child.parent && top != &child;
        ASSERT_EQ(KelnAddChild(parent.handle.Get(), child.handle.Get()), allowed ? S_OK : E_INVALIDARG);
        if (allowed) {
            parent.children.push_back(&child);
            child.parent = &parent;
        }
    }

    void Remove(Twin& parent, Twin& child)
    {
        const bool allowed = child.parent == &parent;
        ASSERT_EQ(KelnRemoveChild(parent.handle.Get(), child.handle.Get()), allowed ? S_OK : NotFound);
        if (allowed) {
            std::erase(parent.children, &child);
            child.parent = nullptr;
        }
    }

    void Compare(const Twin& twin)
    {
        ASSERT_EQ(CountOf(twin.handle), twin.children.size());
        for (std::size_t i = 0; i < twin.children.size(); ++i)
            ASSERT_EQ(ChildAt(twin.handle, i).Get(), twin.children[i]->handle.Get());
        ASSERT_EQ(ParentOf(twin.handle).Get(), twin.parent ? twin.parent->handle.Get() : nullptr);
        ASSERT_EQ(NameOf(twin.handle, KelnPath), Path(&twin));

        const std::wstring name = AnyName();
        const auto named = std::find_if(twin.children.begin(), twin.children.end(),
                                        [&](const Twin* child) { return child->name == name; });
        NodeHandle found;
        const HRESULT result = KelnGetChildByName(twin.handle.Get(), name.c_str(), found.Out());
        ASSERT_EQ(result, named == twin.children.end() ? NotFound : S_OK);
        ASSERT_EQ(found.Get(), named == twin.children.end() ? nullptr : (*named)->handle.Get());
    }

    static std::wstring Path(const Twin* twin) { return twin ? Path(twin->parent) + L"\\" + twin->name : L""; }

    std::mt19937 m_random;
    std::vector<Twin> m_nodes{150};
};

} // namespace

using NodeForest = NodwellTest;

TEST_F(NodeForest, BehavesAsItsPlainTwin)
{
    const unsigned seed = std::random_device()();
    SCOPED_TRACE("seed " + std::to_string(seed));
    Twins twins(seed);
    for (int i = 0; i < 10000 && !HasFatalFailure(); ++i)
        twins.Step(i / 500 % 2 == 0 ? 7 : 1);
}
