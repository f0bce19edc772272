#include "Platform/Program.h"

#include <sys/stat.h>
#include <unistd.h>

namespace Platform
{

bool OutputIsTerminal()
{
    return isatty(STDOUT_FILENO) != 0;
}

void KeepNewFilesFromOthers()
{
    umask(umask(0077) | 0027);
}

} // namespace Platform
