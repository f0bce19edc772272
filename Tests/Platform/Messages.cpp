#include "Tests/Platform/ErrorOf.h"

#include <gtest/gtest.h>
#include <string>

namespace
{

std::wstring Message(DWORD id, DWORD source = FORMAT_MESSAGE_FROM_SYSTEM, DWORD language = 0, DWORD size = 0)
{
    wchar_t stale[] = L"stale";
    wchar_t* text = stale;
    const DWORD length = FormatMessageW(FORMAT_MESSAGE_ALLOCATE_BUFFER | FORMAT_MESSAGE_IGNORE_INSERTS | source,
                                        nullptr, id, language, reinterpret_cast<LPWSTR>(&text), size, nullptr);
    EXPECT_EQ(length == 0, text == nullptr);
    const std::wstring message(text ? text : L"", length);
    EXPECT_EQ(LocalFree(text), nullptr);
    return message;
}

std::wstring WrappedMessage(DWORD error)
{
    return Message(static_cast<DWORD>(HResultFromWin32(error)));
}

} // namespace

TEST(SystemMessages, CommonCodesHaveText)
{
    for (const int code : {0,    2,    3,    5,    6,    8,     14,
                           32,   50,   80,   87,   112,  122,   123,
                           126,  127,  183,  193,  206,  234,   259,
                           267,  1008, 1168, 1332, 1337, 1338,  1355,
                           1460, 1722, 1789, 1813, 1815, 11001, int{E_NOTIMPL}}) {
        const std::wstring text = Message(static_cast<DWORD>(code));
        EXPECT_TRUE(text.size() > 5 && text.ends_with(L".\r\n") && text.find(L'\n') == text.size() - 1) << code;
    }
    EXPECT_EQ(Message(ERROR_NOT_FOUND), L"Element not found.\r\n");
    EXPECT_EQ(Message(ERROR_NOT_FOUND, FORMAT_MESSAGE_FROM_SYSTEM, 0x0409, 500), L"Element not found.\r\n");
}

TEST(SystemMessages, WrappedErrorHasTheErrorsText)
{
    for (const DWORD error : {2U, 5U, 14U, 87U, 1168U})
        EXPECT_EQ(WrappedMessage(error), Message(error));
    EXPECT_EQ(Message(static_cast<DWORD>(E_OUTOFMEMORY)), Message(14));
}

TEST(SystemMessages, UnknownCodeIsAnError)
{
    for (const DWORD code : {0x12345U, 0x80071234U, 0x80040299U})
        EXPECT_EQ(ErrorOf([code] { EXPECT_EQ(Message(code), L""); }), DWORD{ERROR_MR_MID_NOT_FOUND});
    EXPECT_EQ(ErrorOf([] { EXPECT_EQ(Message(5, FORMAT_MESSAGE_FROM_HMODULE), L""); }),
              DWORD{ERROR_RESOURCE_DATA_NOT_FOUND})
        << "this program has no messages";
}
