// The place in the source that a log line names.
#pragma once

#include <cstdint>

struct SourceLocation
{
    const char* file;
    std::uint32_t line;

    // As a default argument: the place of the call.
    static constexpr SourceLocation Current(const char* file = __builtin_FILE(), std::uint32_t line = __builtin_LINE())
    {
        return {file, line};
    }
};
