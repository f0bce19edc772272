#include "Host/Program/Console.h"

#include "Platform/Text.h"

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
    const bool coloured = m_isTerminal && colour != Colour::None;
    m_out << (coloured ? ColourCode(colour) : "") << Text::ToUtf8(text) << (coloured ? "\x1b[0m" : "") << std::endl;
}

void Console::Progress(std::wstring_view text)
{
    if (!m_isTerminal)
        return;
    ClearProgress();
    m_out << Text::ToUtf8(text) << std::flush;
    m_progressShown = true;
}

void Console::ClearProgress()
{
    if (m_progressShown)
        m_out << "\r\x1b[K" << std::flush;
    m_progressShown = false;
}

} // namespace Host
