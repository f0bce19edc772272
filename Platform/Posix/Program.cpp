#include "Platform/Program.h"

#include <cerrno>
#include <sys/ioctl.h>
#include <sys/stat.h>
#include <unistd.h>

namespace Platform
{

unsigned TerminalWidth(std::FILE* stream)
{
    constexpr unsigned usual = 80; // of a terminal that does not say
    winsize size{};
    if (isatty(fileno(stream)) == 0)
        return 0;
    return ioctl(fileno(stream), TIOCGWINSZ, &size) == 0 && size.ws_col != 0 ? size.ws_col : usual;
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
