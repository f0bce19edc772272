#include "Host/Program/Console.h"

#include "Host/Support/Failure.h"
#include "Platform/Text.h"

#include <cerrno>
#include <system_error>

namespace Host
{

namespace
{

const char* ColourCode(Colour colour)
{
    switch (colour) {
    case Colour::Red:
        return "\x1b[31m";
    case Colour::Green:
        return "\x1b[32m";
    case Colour::Yellow:
        return "\x1b[33m";
    case Colour::Bold:
        return "\x1b[1m";
    default:
        return "";
    }
}

} // namespace

std::wstring Count(std::uint64_t count, const std::wstring& what)
{
    return std::to_wstring(count) + L' ' + what + (count == 1 ? L"" : L"s");
}

void Console::Line(std::wstring_view text, Colour colour)
{
    ClearProgress();
    const bool coloured = m_style.colours && colour != Colour::None;
    errno = 0;
    m_out << (coloured ? ColourCode(colour) : "") << Text::ToUtf8(text) << (coloured ? "\x1b[0m" : "") << std::endl;
    if (m_out)
        return;
    if (m_failure.empty())
        m_failure = errno != 0 ? std::generic_category().message(errno) : "no reason given";
    throw Failure{E_FAIL, L"the output cannot be written: " + Text::FromUtf8(m_failure)};
}

void Console::Progress(std::wstring_view text)
{
    if (m_style.width == 0)
        return;
    ClearProgress();
    m_out << Text::ToUtf8(text.substr(0, m_style.width - 1)) << std::flush;
    m_progressShown = true;
}

void Console::ClearProgress()
{
    if (m_progressShown)
        m_out << "\r\x1b[K" << std::flush;
    m_progressShown = false;
}

} // namespace Host
