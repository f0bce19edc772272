#include "Platform/Program.h"

#include <cstdio>
#include <io.h>

namespace Platform
{

bool OutputIsTerminal()
{
    return _isatty(_fileno(stdout)) != 0;
}

void KeepNewFilesFromOthers() {}

} // namespace Platform
