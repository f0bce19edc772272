#include "Platform/Program.h"

#include <cerrno>
#include <sys/ioctl.h>
#include <sys/stat.h>
#include <unistd.h>

namespace
{

unsigned TerminalWidth(int file)
{
    constexpr unsigned usual = 80; // of a terminal that does not say
    winsize size{};
    if (isatty(file) == 0)
        return 0;
    return ioctl(file, TIOCGWINSZ, &size) == 0 && size.ws_col != 0 ? size.ws_col : usual;
}

} // namespace

namespace Platform
{

unsigned OutputTerminalWidth()
{
    return TerminalWidth(STDOUT_FILENO);
}

unsigned ErrorTerminalWidth()
{
    return TerminalWidth(STDERR_FILENO);
}

bool WriteMetClosedPipe()
{
    return errno == EPIPE;
}

std::vector<std::string> ProgramArguments(int argc, char** argv)
{
    return {argv + (argc > 0 ? 1 : 0), argv + argc};
}

void KeepNewFilesFromOthers()
{
    umask(umask(0077) | 0027);
}

} // namespace Platform
