#include "Tests/Host/NodwellFixture.h"

namespace
{

class NodeSerialization : public NodwellTest
{
protected:
    std::string Serialize(const NodeHandle& node, uint32_t flags = 0x101, uint32_t depth = 0x7FFFFFFF)
    {
        std::string text;
        void* context = nullptr;
        EXPECT_EQ(KelnStartSerialization(1, flags, Collect, &text, &context), S_OK);
        IKelNode* const nodes[]{node.Get()};
        EXPECT_EQ(KelnSerializeNodes(context, nodes, 1, depth), S_OK);
        EXPECT_EQ(KelnFinalizeSerialization(context), S_OK);
        EXPECT_EQ(KelnCloseSerializationContext(context), S_OK);
        return text;
    }

    static HRESULT Collect(const void* data, uint32_t size, void* text)
    {
        EXPECT_LE(size, 4096U);
        static_cast<std::string*>(text)->append(static_cast<const char*>(data), size);
        return S_OK;
    }
};

} // namespace

TEST_F(NodeSerialization, WritesTextForPeople)
{
    const NodeHandle root = Create(L"Root & <1>", L"Kind");
    root.Set(L"Text", L"a\t\"b'\x00E4\xD800");
    root.Set(L"List", std::vector<std::wstring>{L"x", L""});
    root.Set(L"Nothing", {});
    root.Set(L"Bytes", Host::Binary{"\x0A\xFF"});
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
    EXPECT_EQ(Serialize(root.ChildAt(0), 0, 0), "<nr>\r\n<node name=\"Child\"/></nr>\r\n");
}
