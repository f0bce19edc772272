#include "Common/Foundation/Handles.h"
#include "Platform/Testing/MessageModuleFile.h"
#include "Platform/Testing/TemporaryFolder.h"
#include "Tests/Platform/Recordings.h"

#include <cwchar>

namespace
{

std::wstring Message(DWORD id, DWORD language = 0, HMODULE module = nullptr)
{
    const DWORD flags = FORMAT_MESSAGE_ALLOCATE_BUFFER | FORMAT_MESSAGE_IGNORE_INSERTS |
                        (module ? FORMAT_MESSAGE_FROM_HMODULE : FORMAT_MESSAGE_FROM_SYSTEM);
    wchar_t stale[] = L"stale";
    wchar_t* text = stale;
    const DWORD length = FormatMessageW(flags, module, id, language, reinterpret_cast<LPWSTR>(&text), 0, nullptr);
    const UniqueLocalText owner(text);
    EXPECT_EQ(length == 0, text == nullptr);
    return {text ? text : L"", length};
}

} // namespace

// Texts: one or two messages. Numbers: identifier and language asked for, then those of each message; identifiers count
// from 0x80040200.
TEST(Messages, OfAModule)
{
    const std::vector<Row> rows{
#include "Tests/Platform/RecordedMessage.inl"
    };
    constexpr DWORD base = 0x80040200;
    const TemporaryFolder folder;
    const std::wstring file = (folder.Path() / "file").wstring();
    Expect(rows, [&file](const Row& row, wchar_t* buffer) {
        std::vector<MessageText> texts;
        for (std::size_t i = 0; i < row.texts.size(); ++i)
            texts.push_back({base + row.Number(2 + 2 * i), static_cast<LANGID>(row.numbers[3 + 2 * i]), row.texts[i]});
        WriteMessageModule(file, texts);
        const UniqueModule module(
            LoadLibraryExW(file.c_str(), nullptr, LOAD_LIBRARY_AS_DATAFILE | LOAD_LIBRARY_AS_IMAGE_RESOURCE));
        EXPECT_FALSE(GetProcAddress(module.get(), "text")) << "a message module is data only";
        SetLastError(0);
        const std::wstring text = Message(base + row.Number(0), row.Number(1), module.get());
        std::wcscpy(buffer, text.c_str());
        return text.size();
    });
}

TEST(Messages, OfTheSystem)
{
    for (const DWORD code : {2U,   3U,   5U,   6U,   8U,   14U,  32U,  50U,   80U,   87U,   112U,  122U,
                             123U, 126U, 127U, 183U, 206U, 234U, 259U, 1168U, 1332U, 1337U, 1722U, 1813U}) {
        const std::wstring text = Message(code);
        EXPECT_TRUE(text.size() > 5 && text.ends_with(L".\r\n") && text.find(L'\n') == text.size() - 1) << code;
        EXPECT_EQ(Message(static_cast<DWORD>(HResultFromWin32(code))), text);
    }
    EXPECT_EQ(Message(static_cast<DWORD>(E_OUTOFMEMORY), 0x0409), Message(14));
    EXPECT_EQ(Message(ERROR_NOT_FOUND), L"Element not found.\r\n");
    for (const DWORD code : {0x12345U, 0x80071234U, 0x80040299U})
        EXPECT_EQ(ErrorOf([code] { EXPECT_EQ(Message(code), L""); }), DWORD{ERROR_MR_MID_NOT_FOUND});
    EXPECT_EQ(ErrorOf([] { Message(5, 0, GetModuleHandleW(nullptr)); }), DWORD{ERROR_RESOURCE_DATA_NOT_FOUND});
}
