// The program's output.
#pragma once

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

// Lines appear at once, in a pipe too. Colours and progress are for terminals only. One thread at a time.
class Console
{
public:
    Console(std::ostream& out, bool isTerminal) : m_out(out), m_isTerminal(isTerminal) {}
    ~Console() { ClearProgress(); }
    Console(const Console&) = delete;
    Console& operator=(const Console&) = delete;

    void Line(std::wstring_view text = {}, Colour colour = Colour::None);

    // Shows `text` in a line that the next output replaces.
    void Progress(std::wstring_view text);

private:
    void ClearProgress();

    std::ostream& m_out;
    const bool m_isTerminal;
    bool m_progressShown = false;
};

} // namespace Host
