#include "Platform/Testing/MessageModuleFile.h"
#include "Platform/Testing/TemporaryFolder.h"
#include "Platform/Text.h"
#include "Tests/Platform/Recordings.h"

#include <algorithm>
#include <fstream>

namespace
{

class RecordedAnswers : public testing::Test
{
protected:
    RecordedAnswers()
    {
        SetEnvironmentVariableW(L"KestrineFive", L"alpha");
        SetEnvironmentVariableW(L"KESTRINE_EMPTY", L"");
        SetEnvironmentVariableW(L"KESTRINE_NESTED", L"<%KestrineFive%>");
        SetEnvironmentVariableW(L"KESTRINE_GONE", L"x");
        SetEnvironmentVariableW(L"KESTRINE_GONE", nullptr);
    }

    TemporaryFolder m_folder;
    const std::wstring m_file = (m_folder.Path() / "file").wstring();
};

} // namespace

// Texts: content, section, key, default. Numbers: size; 1 for a file in UTF-16LE with byte-order mark.
TEST_F(RecordedAnswers, GetPrivateProfileString)
{
    const std::vector<Row> rows{
#include "Tests/Platform/RecordedIni.inl"
    };
    const auto call = [this](const Row& row, wchar_t* buffer) {
        std::filesystem::remove(m_file);
        if (row.texts[0]) {
            std::string utf16 = "\xFF\xFE";
            Text::AppendUtf16Le(row.texts[0], utf16);
            std::ofstream(std::filesystem::path(m_file), std::ios::binary)
                << (row.numbers[1] ? utf16 : Text::ToUtf8(row.texts[0]));
        }
        return GetPrivateProfileStringW(row.texts[1], row.texts[2], row.texts[3], buffer, row.Number(0),
                                        m_file.c_str());
    };
    Expect(rows, call, [](const Row& row, auto) { return row.numbers[0] > 0; });
}

// Texts: value, decimal separator, thousands separator. Numbers: digits, leading zero, grouping, negative order, size.
TEST_F(RecordedAnswers, GetNumberFormat)
{
    const std::vector<Row> rows{
#include "Tests/Platform/RecordedNumberFormat.inl"
    };
    const auto call = [](const Row& row, wchar_t* buffer) {
        const NUMBERFMTW format{row.Number(0),
                                row.Number(1),
                                row.Number(2),
                                const_cast<LPWSTR>(row.texts[1]),
                                const_cast<LPWSTR>(row.texts[2]),
                                row.Number(3)};
        const int length = GetNumberFormatW(LOCALE_INVARIANT, 0, row.texts[0], &format, buffer, row.numbers[4]);
        return static_cast<unsigned>(length);
    };
    Expect(rows, call, [](const Row& row, auto result) { return result > 0 && row.numbers[4] > 0; });
}

// Texts: directory, file.
TEST_F(RecordedAnswers, PathCombine)
{
    const std::vector<Row> rows{
#include "Tests/Platform/RecordedPathCombine.inl"
    };
    const auto call = [](const Row& row, wchar_t* buffer) {
        return PathCombineW(buffer, row.texts[0], row.texts[1]) == buffer;
    };
    Expect(rows, call, [](const Row&, auto) { return true; });
}

// Text: name. Number: size.
TEST_F(RecordedAnswers, GetEnvironmentVariable)
{
    const std::vector<Row> rows{
#include "Tests/Platform/RecordedEnvironment.inl"
    };
    const auto call = [](const Row& row, wchar_t* buffer) {
        return GetEnvironmentVariableW(row.texts[0], buffer, row.Number(0));
    };
    Expect(rows, call, [](const Row& row, auto result) { return result > 0 && result < row.Number(0); });
}

// Text: source. Number: size.
TEST_F(RecordedAnswers, ExpandEnvironmentStrings)
{
    const std::vector<Row> rows{
#include "Tests/Platform/RecordedExpand.inl"
    };
    const auto call = [](const Row& row, wchar_t* buffer) {
        return ExpandEnvironmentStringsW(row.texts[0], buffer, row.Number(0));
    };
    Expect(rows, call, [](const Row& row, auto result) { return result <= row.Number(0); });
}

// Texts: one or two messages. Numbers: identifier and language asked for, then those of each message; identifiers count
// from 0x80040200.
TEST_F(RecordedAnswers, FormatMessage)
{
    const std::vector<Row> rows{
#include "Tests/Platform/RecordedMessage.inl"
    };
    constexpr DWORD flags =
        FORMAT_MESSAGE_ALLOCATE_BUFFER | FORMAT_MESSAGE_IGNORE_INSERTS | FORMAT_MESSAGE_FROM_HMODULE;
    constexpr DWORD base = 0x80040200;
    const auto call = [this](const Row& row, wchar_t* buffer) {
        std::vector<MessageText> texts;
        for (std::size_t i = 0; i < row.texts.size(); ++i)
            texts.push_back({base + row.Number(2 + 2 * i), static_cast<LANGID>(row.numbers[3 + 2 * i]), row.texts[i]});
        WriteMessageModule(m_file, texts);
        HMODULE module =
            LoadLibraryExW(m_file.c_str(), nullptr, LOAD_LIBRARY_AS_DATAFILE | LOAD_LIBRARY_AS_IMAGE_RESOURCE);
        wchar_t* text = nullptr;
        const DWORD length = FormatMessageW(flags, module, base + row.Number(0), row.Number(1),
                                            reinterpret_cast<LPWSTR>(&text), 0, nullptr);
        const DWORD error = GetLastError();
        std::copy_n(text ? text : L"", length + 1, buffer);
        LocalFree(text);
        EXPECT_FALSE(GetProcAddress(module, "text")) << "a message module is data only";
        FreeLibrary(module);
        SetLastError(error);
        return length;
    };
    Expect(rows, call, [](const Row&, auto result) { return result > 0; });
}
