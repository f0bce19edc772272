#include "Platform/Modules.h"
#include "Platform/Testing/MessageModuleFile.h"
#include "Platform/Testing/TemporaryFolder.h"

#include <gtest/gtest.h>

using namespace Platform;

namespace
{

struct Row
{
    std::uint32_t asked;            // identifiers count from 0x80040200
    std::vector<MessageText> texts; // identifier, language, text
    const wchar_t* answer;          // of an English system; null: none
};

} // namespace

TEST(Messages, OfAModule)
{
    const std::vector<Row> rows{
#include "Tests/Platform/RecordedMessage.inl"
    };
    constexpr std::uint32_t base = 0x80040200;
    const TemporaryFolder folder;
    for (Row row : rows) {
        for (MessageText& text : row.texts)
            text.id += base;
        WriteMessageModule(folder.Path() / "file", row.texts);
        MessageModule module;
        ASSERT_EQ(MessageModule::Load((folder.Path() / "file").wstring(), module), S_OK);
        const auto found = module.Find(base + row.asked);
        EXPECT_EQ(found, row.answer ? std::optional<std::wstring>(row.answer) : std::nullopt)
            << testing::PrintToString(row.texts[0].text) << " in " << row.texts[0].language;
    }
}

TEST(Messages, OfTheSystem)
{
    for (const std::uint32_t code : {2U,   3U,   5U,   6U,   8U,   14U,  32U,  50U,   80U,   87U,   112U,  122U,
                                     123U, 126U, 127U, 183U, 206U, 234U, 259U, 1168U, 1332U, 1337U, 1722U, 1813U}) {
        const std::wstring text = FindSystemMessage(code).value_or(L"");
        EXPECT_TRUE(text.size() > 5 && text.ends_with(L".\r\n") && text.find(L'\n') == text.size() - 1) << code;
        EXPECT_EQ(FindSystemMessage(static_cast<std::uint32_t>(HResultFromWin32(code))), text);
    }
    EXPECT_EQ(FindSystemMessage(static_cast<std::uint32_t>(E_OUTOFMEMORY)), FindSystemMessage(14));
    EXPECT_EQ(FindSystemMessage(ERROR_NOT_FOUND), L"Element not found.\r\n");
    for (const std::uint32_t code : {0x12345U, 0x80071234U, 0x80040299U})
        EXPECT_EQ(FindSystemMessage(code), std::nullopt);
}
