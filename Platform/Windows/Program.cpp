#include "Platform/Program.h"

#include "Platform/Text.h"
#include "Platform/Windows/LastError.h"

#include <cerrno>
#include <cstdlib>
#include <io.h>
#include <memory>
#include <shellapi.h>

namespace Platform
{

unsigned TerminalWidth(std::FILE* stream)
{
    CONSOLE_SCREEN_BUFFER_INFO info{};
    if (!GetConsoleScreenBufferInfo(reinterpret_cast<HANDLE>(_get_osfhandle(_fileno(stream))), &info))
        return 0;
    return static_cast<unsigned>(info.srWindow.Right - info.srWindow.Left + 1);
}

// The run-time library makes EINVAL of some of the system's codes.
bool WriteMetClosedPipe()
{
    return errno == EPIPE || _doserrno == ERROR_NO_DATA || _doserrno == ERROR_PIPE_NOT_CONNECTED;
}

std::vector<std::string> ProgramArguments(int, char**)
{
    int count = 0;
    const std::unique_ptr<LPWSTR, decltype(&LocalFree)> wide(CommandLineToArgvW(GetCommandLineW(), &count), &LocalFree);
    std::vector<std::string> arguments;
    for (int i = 1; wide && i < count; ++i)
        arguments.push_back(Text::ToUtf8(wide.get()[i]));
    return arguments;
}

void KeepNewFilesFromOthers() {}

} // namespace Platform
