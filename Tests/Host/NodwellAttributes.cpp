#include "Tests/Host/NodwellFixture.h"

#include <vector>

using namespace std::string_literals;

using NodeAttributes = NodwellTest;

namespace
{

constexpr HRESULT Range = HResultFromWin32(ERROR_ARITHMETIC_OVERFLOW);
constexpr HRESULT Type = HResultFromWin32(ERROR_INVALID_DATATYPE);
constexpr HRESULT Malformed = E_INVALIDARG;

// The bytes of a number, or of a literal with its terminator.
template <class T>
std::string Raw(const T& value)
{
    return {reinterpret_cast<const char*>(&value), sizeof value};
}

struct Row
{
    uint16_t stored;
    std::string value;
    uint16_t wanted;
    std::string expected;
    HRESULT result = S_OK;
};

} // namespace

TEST_F(NodeAttributes, TakeWellFormedValuesAndNothingElse)
{
    const NodeHandle node = Create(L"Node");
    const std::string list = "a\0\0\0\0\0b\0\0\0"s;
    EXPECT_EQ(Set(node, L"A", KelnTextList, list), S_OK);
    const std::vector<std::pair<uint16_t, std::string>> bad{
        {KelnEmpty, "x"},       {KelnText8, ""},       {KelnText8, "a"},     {KelnText8, "a\0b\0"s},
        {KelnText, ""},         {KelnText, "a\0"s},    {KelnText, "a\0\0"s}, {KelnText, "a\0\0\0b\0\0\0"s},
        {KelnInt32, "123"},     {KelnUInt32, "12345"}, {KelnInt64, "1234"},  {KelnBool, ""},
        {KelnTextList, "a\0"s}, {KelnTextList, "\0"s}, {5, "1234"},          {KelnListFlag | KelnInt32, "1234"}};
    for (const auto& [type, bytes] : bad)
        EXPECT_EQ(Set(node, L"A", type, bytes), E_INVALIDARG) << type;
    EXPECT_EQ(KelnSetAttribute(node.Get(), L"A", KelnBinary, nullptr, 3), E_INVALIDARG);
    EXPECT_EQ(Set(node, nullptr, KelnEmpty, ""), E_INVALIDARG);
    std::string read;
    EXPECT_EQ(Get(node, L"A", read), S_OK);
    EXPECT_EQ(read, list);
    EXPECT_EQ(Set(node, L"A", KelnBool, "\x7F"), S_OK);
    EXPECT_EQ(Get(node, L"A", read), S_OK);
    EXPECT_EQ(read, "\1");
}

TEST_F(NodeAttributes, AreNamedInTheOrderOfFirstSetting)
{
    const NodeHandle node = Create(L"Node");
    wchar_t names[8];
    uint32_t size = 7;
    EXPECT_EQ(KelnGetAttributeNames(node.Get(), nullptr, &size), S_OK);
    EXPECT_EQ(size, 0U);
    for (const wchar_t* name : {L"Bb", L"A", L"bB", L"A", L"Bb"})
        Set(node, name, KelnEmpty, "");
    EXPECT_EQ(KelnGetAttributeNames(node.Get(), names, &size), TooSmall);
    EXPECT_EQ(KelnGetAttributeNames(node.Get(), names, &size), S_OK);
    EXPECT_EQ(std::wstring(names, size), std::wstring(L"Bb\0A\0bB\0", 8));
}

TEST_F(NodeAttributes, ReadingTouchesOnlyWhatItSays)
{
    const NodeHandle node = Create(L"Node");
    Set(node, L"A", KelnInt32, Raw(-17));
    const uint16_t text = KelnText;
    char buffer[8] = "???????";
    uint32_t size = 7;
    uint16_t stored = 99;
    EXPECT_EQ(KelnGetAttribute(node.Get(), L"a", nullptr, buffer, &size, &stored), NotFound);
    EXPECT_EQ(size, 7U);
    EXPECT_EQ(KelnGetAttribute(node.Get(), L"A", &text, buffer, &size, &stored), TooSmall);
    EXPECT_EQ(size, 8U);
    EXPECT_EQ(stored, 99);
    EXPECT_STREQ(buffer, "???????");
    EXPECT_EQ(KelnGetAttribute(node.Get(), L"A", &text, buffer, &size, &stored), S_OK);
    EXPECT_EQ(std::string(buffer, size), Raw(u"-17"));
    EXPECT_EQ(stored, KelnInt32);
    EXPECT_EQ(KelnGetAttribute(node.Get(), L"A", nullptr, nullptr, nullptr, nullptr), S_OK);
    EXPECT_EQ(KelnGetAttribute(node.Get(), L"A", nullptr, buffer, nullptr, nullptr), E_POINTER);
    EXPECT_EQ(KelnGetAttribute(node.Get(), nullptr, nullptr, nullptr, nullptr, nullptr), E_INVALIDARG);
}

TEST_F(NodeAttributes, AreReadAsOtherTypes)
{
    const Row rows[]{
        {KelnInt32, Raw(-1), KelnInt64, Raw(-1LL)},
        {KelnInt64, Raw(0xFFFFFFFFLL), KelnUInt32, Raw(0xFFFFFFFFU)},
        {KelnInt64, Raw(0x80000000LL), KelnInt32, "", Range},
        {KelnInt32, Raw(-1), KelnUInt32, "", Range},
        {KelnInt64, Raw(1LL << 40), KelnBool, Raw(true)},
        {KelnBool, Raw(true), KelnUInt32, Raw(1)},
        {KelnBool, Raw(false), KelnText8, Raw("false")},
        {KelnUInt32, Raw(4000000000U), KelnText, Raw(u"4000000000")},
        {KelnInt32, Raw(1), KelnTextList, "", Type},
        {KelnText, Raw(u"-9223372036854775808"), KelnInt64, Raw(INT64_MIN)},
        {KelnText, Raw(u"0x8000000000000000"), KelnInt64, "", Range},
        {KelnText, Raw(u"99999999999999999999"), KelnInt64, "", Range},
        {KelnText8, Raw("0xfFfFfFfF"), KelnUInt32, Raw(0xFFFFFFFFU)},
        {KelnText, Raw(u"-0x10"), KelnInt32, Raw(-16)},
        {KelnText, Raw(u"+000000000000000000000012"), KelnInt32, Raw(12)},
        {KelnText, Raw(u" 1"), KelnInt32, "", Malformed},
        {KelnText, Raw(u"+-1"), KelnInt32, "", Malformed},
        {KelnText, Raw(u"99999999999999999999z"), KelnInt64, "", Malformed},
        {KelnText, Raw(u"0x"), KelnInt32, "", Malformed},
        {KelnText, Raw(u"TrUe"), KelnBool, Raw(true)},
        {KelnText8, Raw("0"), KelnBool, Raw(false)},
        {KelnText8, Raw("\xC3\xA4\xF0\x9F\x98\x80"), KelnText, Raw(u"\u00E4\U0001F600")},
        {KelnText, Raw(u"\u00E4\U0001F600"), KelnText8, Raw("\xC3\xA4\xF0\x9F\x98\x80")},
        {KelnText8, Raw(""), KelnTextList, Raw(u"")},
        {KelnText, Raw(u"a"), KelnBinary, "", Type},
        {KelnTextList, Raw(u"one"), KelnText, Raw(u"one")},
        {KelnTextList, "", KelnText, "", Type},
        {KelnTextList, Raw(u"a\0"), KelnText, "", Type},
        {KelnTextList, Raw(u"a"), KelnText8, "", Type},
        {KelnBinary, "a", KelnText, "", Type},
        {KelnEmpty, "", KelnText, Raw(u"")},
        {KelnEmpty, "", KelnTextList, ""},
        {KelnEmpty, "", KelnInt32, "", Type},
        {KelnText, Raw(u"maybe"), KelnBool, "", Malformed},
    };
    const NodeHandle node = Create(L"Node");
    for (const Row& row : rows) {
        SCOPED_TRACE(std::to_string(row.stored) + " as " + std::to_string(row.wanted) + ": " + row.value);
        std::string read;
        EXPECT_EQ(Set(node, L"A", row.stored, row.value), S_OK);
        EXPECT_EQ(Get(node, L"A", read, &row.wanted), row.result);
        EXPECT_EQ(read, row.expected);
    }
    EXPECT_EQ(TakeErrorText(), L"Nodwell: attribute 'A' holds text 'maybe', expected boolean");
}
