// The person at the terminal: what they see, and when they want an end.
#pragma once

#include "Platform/Program.h"

#include <chrono>
#include <cstdint>
#include <functional>
#include <optional>
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

// Nobody reads the output any more: there is nobody to complain to.
struct ClosedPipe : std::exception
{};

// The program's output. Lines appear at once, in a pipe as well. One thread at a time.
class Console
{
public:
    Console(std::ostream& out, const Platform::TerminalStyle& style) : m_out(out), m_style(style) {}
    ~Console() { ClearProgress(); }
    Console(const Console&) = delete;
    Console& operator=(const Console&) = delete;

    // Throws ClosedPipe, or Failure when it cannot be written for another reason.
    void Line(std::wstring_view text = {}, Colour colour = Colour::None);
    // The same for what was written directly, with errno as it was left.
    void Check();

    // Shows `text`, as far as the terminal is wide, in a line that the next output replaces.
    void Progress(std::wstring_view text);

private:
    void ClearProgress();

    std::ostream& m_out;
    const Platform::TerminalStyle m_style;
    bool m_progressShown = false;
    std::optional<int> m_failure; // errno of the first line that could not be written
    bool m_pipeClosed = false;    // why it could not
};

// Ctrl-C and the like: the end is requested at any time, and the program ends when it next can.
namespace Interruption
{

// From now on the first request to end is noted; a second one ends the process as usual.
void Install();

bool IsRequested();

// Waits until `duration` has passed or an end is requested; calls `tick` with the time passed, several times a second.
void Wait(std::chrono::duration<double> duration,
          const std::function<void(std::chrono::duration<double> passed)>& tick);

} // namespace Interruption

} // namespace Host
