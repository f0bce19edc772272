#include "Platform/Text.h"

#include <gtest/gtest.h>
#include <random>

namespace
{

std::string Utf16(std::wstring_view text)
{
    std::string bytes;
    Text::AppendUtf16Le(text, bytes);
    return bytes;
}

std::wstring Wide(char32_t c)
{
    std::wstring text;
    Text::AppendWide(c, text);
    return text;
}

} // namespace

TEST(Utf8, IsWrittenInItsShortestForm)
{
    EXPECT_EQ(Text::ToUtf8(L"a\u007F\u0080\u07FF\u0800\uFFFF"), "a\x7F\xC2\x80\xDF\xBF\xE0\xA0\x80\xEF\xBF\xBF");
    EXPECT_EQ(Text::ToUtf8(Wide(0x10000) + Wide(0x10FFFF)), "\xF0\x90\x80\x80\xF4\x8F\xBF\xBF");
    EXPECT_EQ(Text::ToUtf8(std::wstring(L"a\0b", 3)), std::string("a\0b", 3));
}

TEST(Utf8, BytesThatBelongToNoCharacterAreReplacedOneByOne)
{
    for (const std::string bytes :
         {"\x80", "\xBF\xBF", "\xC0\x80", "\xC1\xBF", "\xC2", "\xE0\x9F\xBF", "\xED\xA0\x80", "\xED\xBF\xBF",
          "\xE2\x82", "\xF0\x8F\xBF\xBF", "\xF0\x9F\x98", "\xF4\x90\x80\x80", "\xF5\x80\x80\x80", "\xFE\xFF"})
        EXPECT_EQ(Text::FromUtf8("a" + bytes + "b"), L'a' + std::wstring(bytes.size(), L'\uFFFD') + L'b') << bytes;
    EXPECT_EQ(Text::FromUtf8("\xE2\x82\xC2\xA9"), L"\uFFFD\uFFFD\u00A9") << "the next character is not swallowed";
    EXPECT_EQ(Text::FromUtf8("\xED\x9F\xBF\xEE\x80\x80"), L"\uD7FF\uE000");
}

TEST(Utf16, SurrogatePairIsOneCharacterOnEveryPlatform)
{
    const std::string pair("\x3D\xD8\x00\xDE", 4);
    const std::wstring units{static_cast<wchar_t>(0xD83D), static_cast<wchar_t>(0xDE00)};
    EXPECT_EQ(Text::FromUtf16Le(pair), Wide(0x1F600));
    EXPECT_EQ(Text::FromUtf8("\xF0\x9F\x98\x80"), Wide(0x1F600));
    for (const std::wstring& text : {Wide(0x1F600), units}) {
        EXPECT_EQ(Utf16(text), pair);
        EXPECT_EQ(Text::ToUtf8(text), "\xF0\x9F\x98\x80");
    }
}

TEST(Utf16, SurrogatesWithoutPartnerPass)
{
    // Low alone, high at the end, high before a pair.
    for (const std::string& bytes : {std::string("\x00\xDC\x61\x00", 4), std::string("\x61\x00\x3D\xD8", 4),
                                     std::string("\x3D\xD8\x3D\xD8\x00\xDE", 6)}) {
        EXPECT_EQ(Utf16(Text::FromUtf16Le(bytes)), bytes);
        EXPECT_NE(Text::ToUtf8(Text::FromUtf16Le(bytes)).find("\xEF\xBF\xBD"), std::string::npos);
    }
    EXPECT_EQ(Text::FromUtf16Le(std::string("a\0b", 3)), L"a\uFFFD") << "half a unit";
}

TEST(TextConversion, RandomTextComesBack)
{
    const auto seed = std::random_device{}();
    SCOPED_TRACE(seed);
    std::mt19937 random(seed);
    for (int round = 0; round < 200; ++round) {
        std::wstring text;
        std::string bytes;
        while (text.size() < 50) {
            // All lengths of UTF-8 alike.
            const auto c = static_cast<char32_t>(random() >> (11 + random() % 21));
            if (c <= 0x10FFFF && !Text::IsHighSurrogate(c) && !Text::IsLowSurrogate(c))
                Text::AppendWide(c, text);
            bytes += {static_cast<char>(random()), static_cast<char>(random())};
        }
        EXPECT_EQ(Text::FromUtf8(Text::ToUtf8(text)), text);
        EXPECT_EQ(Text::FromUtf16Le(Utf16(text)), text);
        EXPECT_EQ(Utf16(Text::FromUtf16Le(bytes)), bytes);
        const std::wstring cleaned = Text::FromUtf8(bytes);
        EXPECT_EQ(Text::FromUtf8(Text::ToUtf8(cleaned)), cleaned);
    }
}
