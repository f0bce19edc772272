#include "Platform/Testing/TemporaryFolder.h"
#include "Platform/Text.h"
#include "Tests/Platform/Recordings.h"

#include <fstream>

namespace
{

class Settings : public testing::Test
{
protected:
    Settings()
    {
        SetEnvironmentVariableW(L"KESTRINEFIVE", L"another spelling's");
        SetEnvironmentVariableW(L"KestrineFive", L"alpha");
        SetEnvironmentVariableW(L"KESTRINE_EMPTY", L"");
        SetEnvironmentVariableW(L"KESTRINE_NESTED", L"<%KestrineFive%>");
        SetEnvironmentVariableW(L"KESTRINE_GONE", L"x");
        SetEnvironmentVariableW(L"KESTRINE_GONE", nullptr);
    }

    static std::wstring Value(const std::wstring& path)
    {
        wchar_t buffer[100];
        return {buffer, GetPrivateProfileStringW(L"s", L"k", L"default", buffer, 100, path.c_str())};
    }

    TemporaryFolder m_folder;
    const std::filesystem::path m_file = m_folder.Path() / "file";
};

} // namespace

// Texts: content, section, key, default. Numbers: size; 1 for a file in UTF-16LE with byte-order mark.
TEST_F(Settings, IniFile)
{
    const std::vector<Row> rows{
#include "Tests/Platform/RecordedIni.inl"
    };
    const auto call = [this](const Row& row, wchar_t* buffer) {
        std::filesystem::remove(m_file);
        if (row.texts[0]) {
            std::string utf16 = "\xFF\xFE";
            Text::AppendUtf16Le(row.texts[0], utf16);
            std::ofstream(m_file, std::ios::binary) << (row.numbers[1] ? utf16 : Text::ToUtf8(row.texts[0]));
        }
        const std::wstring path = m_file.wstring();
        return GetPrivateProfileStringW(row.texts[1], row.texts[2], row.texts[3], buffer, row.Number(0), path.c_str());
    };
    Expect(rows, call, [](const Row& row, auto) { return row.numbers[0] > 0; });
}

TEST_F(Settings, IniFileIsReadAnewByPathsWithBothSlashes)
{
    for (const wchar_t* value : {L"1", L"2"}) {
        std::ofstream(m_file) << "[s]\nk=" << Text::ToUtf8(value) << '\n';
        for (const wchar_t* name : {L"/file", L"\\file"})
            EXPECT_EQ(Value(m_folder.Path().wstring() + name), value);
    }
    EXPECT_EQ(Value(m_folder.Path().wstring()), L"default") << "a folder has no values";
    const auto old = std::filesystem::current_path();
    std::filesystem::current_path(m_folder.Path());
    EXPECT_EQ(Value(L".\\file"), L"2");
    EXPECT_EQ(Value(L"file"), L"default") << "not of the current folder";
    std::filesystem::current_path(old);
}

// Texts: value, decimal separator, thousands separator. Numbers: digits, leading zero, grouping, negative order, size.
TEST_F(Settings, NumberFormat)
{
    const std::vector<Row> rows{
#include "Tests/Platform/RecordedNumberFormat.inl"
    };
    const auto call = [](const Row& row, wchar_t* buffer) {
        wchar_t* const marks[]{const_cast<LPWSTR>(row.texts[1]), const_cast<LPWSTR>(row.texts[2])};
        const NUMBERFMTW format{row.Number(0), row.Number(1), row.Number(2), marks[0], marks[1], row.Number(3)};
        return GetNumberFormatW(LOCALE_INVARIANT, 0, row.texts[0], &format, buffer, row.numbers[4]);
    };
    Expect(rows, call, [](const Row& row, auto result) { return result > 0 && row.numbers[4] > 0; });
}

// Texts: directory, file.
TEST_F(Settings, CombinedPath)
{
    const std::vector<Row> rows{
#include "Tests/Platform/RecordedPathCombine.inl"
    };
    const auto call = [](const Row& row, wchar_t* path) {
        return PathCombineW(path, row.texts[0], row.texts[1]) == path;
    };
    Expect(rows, call, [](const Row&, auto) { return true; });
}

// Text: name. Number: size.
TEST_F(Settings, EnvironmentVariable)
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
TEST_F(Settings, ExpandedEnvironmentVariables)
{
    const std::vector<Row> rows{
#include "Tests/Platform/RecordedExpand.inl"
    };
    const auto call = [](const Row& row, wchar_t* buffer) {
        return ExpandEnvironmentStringsW(row.texts[0], buffer, row.Number(0));
    };
    Expect(rows, call, [](const Row& row, auto result) { return result <= row.Number(0); });
}
