#include "Platform/Text.h"

#include "Platform/LetterCase.h"

#include <gtest/gtest.h>

namespace
{

std::string Utf16(std::wstring_view text)
{
    std::string bytes;
    Text::AppendUtf16Le(text, bytes);
    return bytes;
}

} // namespace

TEST(Text, BytesThatBelongToNoCharacterAreReplacedOneByOne)
{
    for (const std::string bytes :
         {"\x80", "\xC0\x80", "\xC1\xBF", "\xC2", "\xE0\x9F\xBF", "\xED\xA0\x80", "\xED\xBF\xBF", "\xE2\x82",
          "\xF0\x8F\xBF\xBF", "\xF0\x9F\x98", "\xF4\x90\x80\x80", "\xF5\x80\x80\x80", "\xFE\xFF"})
        EXPECT_EQ(Text::FromUtf8("a" + bytes + "b"), L'a' + std::wstring(bytes.size(), L'\uFFFD') + L'b') << bytes;
    EXPECT_EQ(Text::FromUtf8("\xE2\x82\xC2\xA9"), L"\uFFFD\uFFFD\u00A9");
    EXPECT_EQ(Text::FromUtf16Le(std::string("a\0b", 3)), L"a\uFFFD") << "half a unit";
}

TEST(Text, SurrogatePairIsOneCharacterOnEveryPlatform)
{
    const std::string pair("\x3D\xD8\x00\xDE", 4);
    const std::wstring character = L"\U0001F600";
    const std::wstring units{static_cast<wchar_t>(0xD83D), static_cast<wchar_t>(0xDE00)};
    EXPECT_EQ(Text::FromUtf16Le(pair), character);
    EXPECT_EQ(Text::FromUtf16Le(pair.substr(0, 2) + pair), units[0] + character) << "alone, before a pair";
    EXPECT_EQ(Utf16(units), pair);
    EXPECT_EQ(Text::ToUtf8(L"a\u007F\u0080\u07FF\u0800\uFFFF\U00010000\U0010FFFF" + units),
              "a\x7F\xC2\x80\xDF\xBF\xE0\xA0\x80\xEF\xBF\xBF\xF0\x90\x80\x80\xF4\x8F\xBF\xBF\xF0\x9F\x98\x80");
    EXPECT_EQ(Text::ToUtf8(units.substr(1) + units[0]), "\xEF\xBF\xBD\xEF\xBF\xBD");
}

TEST(LetterCase, IsThatOfTheLettersWhateverTheLanguage)
{
    EXPECT_EQ(ToLowerCase(L"AZ az@[`{09_"), L"az az@[`{09_");
    EXPECT_EQ(ToLowerCase(L"A\u00C4\u00C9\u00D7\u00D8\u0104\u0178\u03A3\u0414\u0531\u1E00"),
              L"a\u00E4\u00E9\u00D7\u00F8\u0105\u00FF\u03C3\u0434\u0561\u1E01");
    const std::wstring alone = L"\u00DF\u03C2\u0130\u0131\u1E9E\u212A\u4E00"; // of no pair
    EXPECT_EQ(ToLowerCase(alone), alone);
}
