#include "Tests/Host/NodwellFixture.h"

#include <thread>

namespace
{

class NodeSerialization : public NodwellTest
{
protected:
    HRESULT Start(uint32_t flags) { return KelnStartSerialization(1, flags, Collect, this, &m_context); }

    HRESULT Write(IKelNode* node, uint32_t depth) { return KelnSerializeNodes(m_context, &(m_node = node), 1, depth); }

    std::string Serialize(const NodeHandle& node, uint32_t flags = 0x101, uint32_t depth = 0x7FFFFFFF)
    {
        EXPECT_EQ(Start(flags), S_OK);
        EXPECT_EQ(Write(node.Get(), depth), S_OK);
        EXPECT_EQ(KelnFinalizeSerialization(m_context), S_OK);
        EXPECT_EQ(KelnCloseSerializationContext(m_context), S_OK);
        return std::exchange(m_text, "");
    }

    // Changes the node that is written: no lock may be held.
    static HRESULT Collect(const void* data, uint32_t size, void* test)
    {
        auto& self = *static_cast<NodeSerialization*>(test);
        EXPECT_LE(size, 4096U);
        KelnSetAttribute(self.m_node, L"Written", KelnEmpty, nullptr, 0);
        self.m_text.append(static_cast<const char*>(data), size);
        return self.m_text.size() > self.m_limit ? E_ABORT : S_OK;
    }

    void* m_context = nullptr;
    IKelNode* m_node = nullptr;
    std::string m_text;
    std::size_t m_limit = SIZE_MAX;
};

} // namespace

TEST_F(NodeSerialization, WritesTextForPeople)
{
    const NodeHandle root = Create(L"Root & <1>", L"Kind");
    Host::SetAttribute(root.Get(), L"Text", L"a\t\"b'\x00E4\xD800");
    Host::SetAttribute(root.Get(), L"List", std::vector<std::wstring>{L"x", L""});
    Host::SetAttribute(root.Get(), L"Nothing", {});
    Host::SetAttribute(root.Get(), L"Bytes", Host::Binary{"\x0A\xFF"});
    AddNew(AddNew(root, L"Child"), L"");
    const char* const readable =
        "<nr>\r\n"
        "<node name=\"Root &amp; &lt;1&gt;\" type=\"Kind\">\r\n"
        "  <attribute name=\"Text\" type=\"text\">a&#9;&quot;b'\xC3\xA4\xEF\xBF\xBD</attribute>\r\n"
        "  <attribute name=\"List\" type=\"text list\">\r\n"
        "    <item>x</item>\r\n"
        "    <item></item>\r\n"
        "  </attribute>\r\n"
        "  <attribute name=\"Nothing\" type=\"empty\"/>\r\n"
        "  <attribute name=\"Bytes\" type=\"binary\">0AFF</attribute>\r\n"
        "  <node name=\"Child\">\r\n"
        "    <node/>\r\n"
        "  </node>\r\n"
        "</node>\r\n"
        "</nr>\r\n";
    EXPECT_EQ(Serialize(root), readable);
    EXPECT_EQ(Serialize(ChildAt(root, 0), 0, 0), "<nr>\r\n<node name=\"Child\"/></nr>\r\n");
}

TEST_F(NodeSerialization, StaysSmallForDeepTreesWhichGoButForWhatIsHeld)
{
    constexpr uint32_t depth = 100000;
    NodeHandle top = Create(L"n");
    NodeHandle bottom = AddNew(top, L"n");
    for (uint32_t i = 2; i < depth; ++i)
        bottom = AddNew(bottom, L"n");
    EXPECT_EQ(KelnAddChild(bottom.Get(), top.Get()), E_INVALIDARG);
    EXPECT_EQ(PathOf(bottom).size(), 2U * depth);
    EXPECT_LT(Serialize(Host::CloneNode(top.Get(), KelnWholeTree)).size(), depth * 300U) << "not indented without end";
    top.Reset();
    EXPECT_EQ(NodwellLiveNodes(), 1U);
    EXPECT_EQ(PathOf(bottom), L"\\n");
}

TEST_F(NodeSerialization, ComesInBoundedPiecesWithNoLockHeldAndEndsWithAFailingOne)
{
    const NodeHandle root = Create(L"Root");
    Host::SetAttribute(root.Get(), L"Long", std::wstring(100000, L'\x00E4'));
    ASSERT_EQ(Start(0x101), S_OK);
    EXPECT_EQ(Write(root.Get(), 1), S_OK);
    EXPECT_GT(m_text.size(), 200000U);
    EXPECT_EQ(Host::ReadText(root.Get(), L"Written"), L"");
    m_limit = m_text.size() + 10000;
    EXPECT_EQ(Write(root.Get(), 1), E_ABORT);
    m_limit = SIZE_MAX;
    EXPECT_EQ(KelnFinalizeSerialization(m_context), E_UNEXPECTED) << "the middle is missing";
    EXPECT_EQ(KelnCloseSerializationContext(m_context), S_OK);
}

TEST_F(NodeSerialization, AndClonesHoldWhatAnotherThreadSetsWholeOrNotAtAll)
{
    const NodeHandle root = Create(L"Root");
    const NodeHandle child = AddNew(root, L"Child");
    const std::wstring values[]{std::wstring(100, L'x'), std::wstring(100, L'y')};
    Host::SetAttribute(child.Get(), L"A", values[0]);
    const std::jthread writer([&](const std::stop_token& stop) {
        for (int i = 0; !stop.stop_requested(); ++i)
            Host::SetAttribute(child.Get(), L"A", values[i % 2]);
    });
    for (int i = 0; i < 1000; ++i) {
        const NodeHandle clone = Host::CloneNode(root.Get(), KelnWholeTree);
        const std::wstring value = Host::ReadText(ChildAt(clone, 0).Get(), L"A").value();
        ASSERT_TRUE(value == values[0] || value == values[1]);
        const std::string text = Serialize(root, 0);
        ASSERT_TRUE(text.find(std::string(100, 'x')) != text.npos || text.find(std::string(100, 'y')) != text.npos);
    }
}
