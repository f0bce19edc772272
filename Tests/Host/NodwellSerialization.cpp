#include "Tests/Host/NodwellFixture.h"

using NodeSerialization = NodwellTest;

namespace
{

// A serialization and what it has written.
struct Output
{
    explicit Output(uint32_t flags = 0x101)
    {
        EXPECT_EQ(KelnStartSerialization(1, flags, Collect, this, &context), S_OK);
    }
    Output(const Output&) = delete;
    Output& operator=(const Output&) = delete;
    ~Output() { EXPECT_EQ(KelnCloseSerializationContext(context), S_OK); }

    HRESULT Write(const NodeHandle& node, uint32_t depth = 0x7FFFFFFF)
    {
        IKelNode* const nodes[] = {node.Get()};
        return KelnSerializeNodes(context, nodes, 1, depth);
    }

    static HRESULT Collect(const void* data, uint32_t size, void* output)
    {
        auto& self = *static_cast<Output*>(output);
        if (self.text.size() + size > self.limit)
            return E_ABORT;
        self.text.append(static_cast<const char*>(data), size);
        self.largest = std::max(self.largest, size);
        return self.touched ? Set(*self.touched, L"Written", KelnBool, "\1") : S_OK;
    }

    void* context = nullptr;
    std::string text;
    std::size_t limit = SIZE_MAX;
    uint32_t largest = 0;
    const NodeHandle* touched = nullptr; // changed while it is written
};

std::string Serialize(const NodeHandle& node, uint32_t flags = 0x101, uint32_t depth = 0x7FFFFFFF)
{
    Output output(flags);
    EXPECT_EQ(output.Write(node, depth), S_OK);
    EXPECT_EQ(KelnFinalizeSerialization(output.context), S_OK);
    return output.text;
}

} // namespace

TEST_F(NodeSerialization, WritesTextForPeople)
{
    const NodeHandle root = Create(L"Root & <1>", L"Kind");
    Set(root, L"Text", KelnText, Utf16(L"a\t\"b'\x00E4\xD800"));
    Set(root, L"List", KelnTextList, Utf16(L"x") + Utf16(L""));
    Set(root, L"Nothing", KelnEmpty, "");
    Set(root, L"Bytes", KelnBinary, "\x0A\xFF");
    AddNew(AddNew(root, L"Child"), nullptr);
    EXPECT_EQ(Serialize(root),
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
              "</nr>\r\n");
    EXPECT_EQ(Serialize(ChildAt(root, 0), 0, 0), "<nr>\r\n<node name=\"Child\"/></nr>\r\n");
}

TEST_F(NodeSerialization, GivesAnEmptyStreamForNoNodesAndRefusesWhatItDoesNotKnow)
{
    Output output;
    EXPECT_EQ(KelnSerializeNodes(output.context, nullptr, 0, 0), S_OK);
    IKelNode* const none[] = {nullptr};
    EXPECT_EQ(KelnSerializeNodes(output.context, none, 1, 0), E_POINTER);
    EXPECT_EQ(KelnFinalizeSerialization(output.context), S_OK);
    EXPECT_EQ(KelnFinalizeSerialization(output.context), E_UNEXPECTED);
    EXPECT_EQ(output.Write(Create(L"Late")), E_UNEXPECTED);
    EXPECT_EQ(output.text, "<nr>\r\n</nr>\r\n");

    void* context = nullptr;
    EXPECT_EQ(KelnStartSerialization(2, 0x101, Output::Collect, &output, &context), E_NOTIMPL);
    EXPECT_EQ(KelnStartSerialization(1, 0x103, Output::Collect, &output, &context), E_INVALIDARG);
    EXPECT_EQ(KelnStartSerialization(1, 0x101, nullptr, &output, &context), E_POINTER);
    EXPECT_EQ(context, nullptr);
}

TEST_F(NodeSerialization, StaysSmallForDeepTrees)
{
    constexpr uint32_t depth = 100000;
    const NodeHandle top = Create(L"n");
    NodeHandle bottom = AddNew(top, L"n");
    for (uint32_t i = 2; i < depth; ++i)
        bottom = AddNew(bottom, L"n");
    EXPECT_EQ(KelnAddChild(bottom.Get(), top.Get()), E_INVALIDARG);
    EXPECT_EQ(NameOf(bottom, KelnPath).size(), 2U * depth);
    EXPECT_LT(Serialize(Clone(top)).size(), depth * 300U) << "indented as deep as it is, it would take 20 GB";
}

TEST_F(NodeSerialization, ComesInBoundedPiecesWithNoLockHeldAndEndsWithAFailingOne)
{
    const NodeHandle root = Create(L"Root");
    Set(root, L"Long", KelnText, Utf16(std::wstring(100000, L'\x00E4')));
    Output output;
    output.touched = &root;
    EXPECT_EQ(output.Write(root), S_OK);
    EXPECT_GT(output.text.size(), 200000U);
    EXPECT_LE(output.largest, 4096U);
    std::string written;
    EXPECT_EQ(Get(root, L"Written", written), S_OK);
    output.limit = output.text.size() + 10000;
    EXPECT_EQ(output.Write(root), E_ABORT);
    output.limit = SIZE_MAX;
    EXPECT_EQ(KelnFinalizeSerialization(output.context), E_UNEXPECTED) << "the middle is missing";
}
