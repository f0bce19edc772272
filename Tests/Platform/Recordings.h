// Tables of arguments with what the real functions answered: result, last error, text. A failing row shows the
// platform's own answer; a new row gets its answer from a run on Windows.
#pragma once

#include "Platform/Testing/Process.h"
#include "Tests/Platform/ErrorOf.h"

#include <gtest/gtest.h>
#include <optional>
#include <string>
#include <tuple>
#include <vector>

using Answer = std::tuple<unsigned long long, DWORD, std::wstring>;

struct Row
{
    std::vector<const wchar_t*> texts;
    std::vector<int> numbers;
    Answer answer;
    std::optional<Answer> wine = std::nullopt; // where it is not what Windows is documented to answer

    DWORD Number(std::size_t i) const { return static_cast<DWORD>(numbers[i]); }
};

inline bool Succeeded(const Row&, unsigned long long result)
{
    return result != 0;
}

// `call` gets a row and a buffer and returns the result; the text counts where `hasText` says so.
template <class Call, class HasText = decltype(&Succeeded)>
void Expect(const std::vector<Row>& rows, Call call, HasText hasText = &Succeeded)
{
    for (const Row& row : rows) {
        std::wstring buffer(300, L'#');
        unsigned long long result = 0;
        const DWORD error = ErrorOf([&] { result = static_cast<unsigned long long>(call(row, buffer.data())); });
        const Answer answer{result, error, hasText(row, result) ? buffer.c_str() : L""};
        EXPECT_EQ(answer, row.wine && RunsUnderWine() ? *row.wine : row.answer) << "row " << &row - rows.data();
    }
}
