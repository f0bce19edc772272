// Tables of arguments with what the system answers: a number, the system's error, a text. A failing row shows the
// platform's own answer; a new row gets its answer from a run on Windows.
#pragma once

#include "Platform/Testing/Process.h"
#include "Platform/Types.h"

#include <gtest/gtest.h>
#include <optional>
#include <string>
#include <tuple>
#include <vector>

using Answer = std::tuple<std::size_t, DWORD, std::wstring>;

struct Row
{
    std::vector<const wchar_t*> texts;
    std::vector<int> numbers;
    Answer answer;
    std::optional<Answer> wine = std::nullopt; // where it is not what Windows is documented to answer
};

inline Answer Failed(HRESULT hr)
{
    return {0, static_cast<DWORD>(hr & 0xFFFF), L""};
}

// `call` gets a row and returns the platform's answer.
template <class Call>
void Expect(const std::vector<Row>& rows, Call call)
{
    for (const Row& row : rows)
        EXPECT_EQ(call(row), row.wine && RunsUnderWine() ? *row.wine : row.answer) << "row " << &row - rows.data();
}
