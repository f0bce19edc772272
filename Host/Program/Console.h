// The program's output.
#pragma once

#include "Platform/Program.h"

#include <cstdint>
#include <ostream>
#include <string>
#include <string_view>

namespace Host
{

// "1 row", "2 rows".
std::wstring Count(std::uint64_t count, const std::wstring& what);

enum class Colour
{
    None,
    Red,
    Green,
    Yellow,
    Bold,
};

// Lines appear at once, in a pipe too. One thread at a time.
class Console
{
public:
    Console(std::ostream& out, const Platform::TerminalStyle& style) : m_out(out), m_style(style) {}
    ~Console() { ClearProgress(); }
    Console(const Console&) = delete;
    Console& operator=(const Console&) = delete;

    // Throws Failure when it cannot be written.
    void Line(std::wstring_view text = {}, Colour colour = Colour::None);

    // Shows `text`, as far as the terminal is wide, in a line that the next output replaces.
    void Progress(std::wstring_view text);

private:
    void ClearProgress();

    std::ostream& m_out;
    const Platform::TerminalStyle m_style;
    bool m_progressShown = false;
    std::string m_failure; // why the first line that could not be written was not
};

} // namespace Host
