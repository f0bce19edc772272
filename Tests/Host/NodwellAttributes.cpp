#include "Tests/Host/NodwellFixture.h"

#include <tuple>

using namespace std::string_literals;

using NodeAttributes = NodwellTest;

namespace
{

// The bytes of a number, or of a literal with its terminator.
template <class T>
std::string Raw(const T& value)
{
    return {reinterpret_cast<const char*>(&value), sizeof value};
}

} // namespace

TEST_F(NodeAttributes, AreReadAsOtherTypesIfWellFormed)
{
    constexpr uint16_t NotStored = 99;
    // Type and value to store, type asked for (NotStored: storing fails), value and result that come.
    const std::tuple<uint16_t, std::string, uint16_t, std::string, HRESULT> rows[]{
        {KelnInt32, Raw(-1), KelnInt64, Raw(-1LL), S_OK},
        {KelnInt64, Raw(0x80000000LL), KelnInt32, "", HResultFromWin32(ERROR_ARITHMETIC_OVERFLOW)},
        {KelnInt32, Raw(-1), KelnUInt32, "", HResultFromWin32(ERROR_ARITHMETIC_OVERFLOW)},
        {KelnBool, Raw(false), KelnText8, Raw("false"), S_OK},
        {KelnText, Raw(u"-9223372036854775808"), KelnInt64, Raw(INT64_MIN), S_OK},
        {KelnText, Raw(u"0x8000000000000000"), KelnInt64, "", HResultFromWin32(ERROR_ARITHMETIC_OVERFLOW)},
        {KelnText, Raw(u"99999999999999999999z"), KelnInt64, "", E_INVALIDARG},
        {KelnText, Raw(u"TrUe"), KelnBool, Raw(true), S_OK},
        {KelnText8, Raw("\xC3\xA4\xF0\x9F\x98\x80"), KelnText, Raw(u"\u00E4\U0001F600"), S_OK},
        {KelnText, Raw(u"\u00E4\U0001F600"), KelnText8, Raw("\xC3\xA4\xF0\x9F\x98\x80"), S_OK},
        {KelnTextList, Raw(u"one"), KelnText, Raw(u"one"), S_OK},
        {KelnTextList, Raw(u"a\0"), KelnText, "", HResultFromWin32(ERROR_INVALID_DATATYPE)},
        {KelnEmpty, "", KelnText, Raw(u""), S_OK},
        {KelnEmpty, "", KelnInt32, "", HResultFromWin32(ERROR_INVALID_DATATYPE)},
        {KelnTextList, "a\0\0\0\0\0b\0\0\0"s, KelnTextList, "a\0\0\0\0\0b\0\0\0"s, S_OK},
        {KelnBool, "\x7F", KelnBool, Raw(true), S_OK},
        {KelnText8, "a", NotStored, "", E_INVALIDARG},
        {KelnText, "a\0\0\0b\0\0\0"s, NotStored, "", E_INVALIDARG},
        {KelnTextList, "a\0"s, NotStored, "", E_INVALIDARG},
        {5, "1234", NotStored, "", E_INVALIDARG},
        {KelnText, Raw(u"maybe"), KelnBool, "", E_INVALIDARG},
    };
    const NodeHandle node = Create(L"Node");
    for (const auto& [type, value, wanted, expected, result] : rows) {
        SCOPED_TRACE(std::to_string(type) + " as " + std::to_string(wanted) + ": " + value);
        std::string read(64, '?');
        uint32_t size = 64;
        EXPECT_EQ(KelnSetAttribute(node.Get(), L"A", type, value.data(), static_cast<uint32_t>(value.size())),
                  wanted == NotStored ? result : S_OK);
        if (wanted == NotStored)
            continue;
        EXPECT_EQ(KelnGetAttribute(node.Get(), L"A", &wanted, read.data(), &size, nullptr), result);
        EXPECT_EQ(read, result == S_OK ? expected + read.substr(size) : std::string(64, '?'));
    }
    EXPECT_EQ(TakeErrorText(), L"Nodwell: attribute 'A' holds text 'maybe', expected boolean");
}

TEST_F(NodeAttributes, ReadingTouchesOnlyWhatItSays)
{
    const NodeHandle node = Create(L"Node");
    node.Set(L"A", -17);
    EXPECT_EQ(KelnSetAttribute(node.Get(), L"A", KelnBinary, nullptr, 3), E_INVALIDARG);
    const auto read = [&](const wchar_t* name, uint32_t size) {
        const uint16_t wanted = KelnText;
        std::string buffer = "?????????";
        uint16_t stored = 99;
        const HRESULT result = KelnGetAttribute(node.Get(), name, &wanted, buffer.data(), &size, &stored);
        return std::tuple(result, size, stored, buffer);
    };
    EXPECT_EQ(read(L"a", 7), std::tuple(NotFound, 7U, 99, "?????????"));
    EXPECT_EQ(read(L"A", 7), std::tuple(TooSmall, 8U, 99, "?????????"));
    EXPECT_EQ(read(L"A", 8), std::tuple(S_OK, 8U, KelnInt32, Raw(u"-17") + '?'));
    EXPECT_EQ(KelnGetAttribute(node.Get(), L"A", nullptr, nullptr, nullptr, nullptr), S_OK);
    EXPECT_EQ(KelnGetAttribute(node.Get(), L"A", nullptr, std::string().data(), nullptr, nullptr), E_POINTER);
}
