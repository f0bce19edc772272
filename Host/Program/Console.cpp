#include "Host/Program/Console.h"

#include "Host/Support/Failure.h"
#include "Platform/Text.h"

#include <atomic>
#include <cerrno>
#include <csignal>
#include <system_error>
#include <thread>

namespace Host
{

namespace
{

constexpr const char* ColourCodes[] = {"", "\x1b[31m", "\x1b[32m", "\x1b[33m", "\x1b[1m"};

std::atomic<bool> g_endRequested = false;
static_assert(std::atomic<bool>::is_always_lock_free, "set by a signal handler");

extern "C" void OnSignal(int signal)
{
    g_endRequested = true;
    std::signal(signal, SIG_DFL);
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
    m_out << (coloured ? ColourCodes[static_cast<int>(colour)] : "") << Text::ToUtf8(text)
          << (coloured ? "\x1b[0m" : "") << std::endl;
    Check();
}

void Console::Check()
{
    if (m_out)
        return;
    if (!m_failure) {
        m_failure = errno;
        m_pipeClosed = Platform::WriteMetClosedPipe();
    }
    if (m_pipeClosed)
        throw ClosedPipe();
    const std::string reason = *m_failure != 0 ? std::generic_category().message(*m_failure) : "no reason given";
    throw Failure{E_FAIL, L"the output cannot be written: " + Text::FromUtf8(reason)};
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

void Interruption::Install()
{
    g_endRequested = false;
    std::signal(SIGINT, &OnSignal);
    std::signal(SIGTERM, &OnSignal);
}

bool Interruption::IsRequested()
{
    return g_endRequested;
}

void Interruption::Wait(std::chrono::duration<double> duration,
                        const std::function<void(std::chrono::duration<double> passed)>& tick)
{
    constexpr std::chrono::milliseconds slice(50);
    const auto start = std::chrono::steady_clock::now();
    while (!IsRequested()) {
        const std::chrono::duration<double> passed = std::chrono::steady_clock::now() - start;
        tick(passed);
        if (passed >= duration)
            return;
        std::this_thread::sleep_for(std::min<std::chrono::duration<double>>(slice, duration - passed));
    }
}

} // namespace Host
