// What a program, unlike a module, decides about its process.
#pragma once

#include "Platform/Settings.h"

#include <cstdio>
#include <string>
#include <vector>

namespace Platform
{

// The columns of the terminal in which a person reads `stream`, which is stdout or stderr; 0 when it is none.
unsigned TerminalWidth(std::FILE* stream);

// What may be done to lines beside writing them.
struct TerminalStyle
{
    unsigned width = 0; // columns, for what is replaced in place; 0: plain lines only
    bool colours = false;
};

// As a terminal of that width (0: none) and the environment variables NO_COLOR and TERM have it.
inline TerminalStyle StyleFor(unsigned terminalWidth)
{
    if (terminalWidth == 0 || EnvironmentVariable(L"TERM") == L"dumb")
        return {};
    return {terminalWidth, EnvironmentVariable(L"NO_COLOR").value_or(L"").empty()};
}

// Whether the calling thread's last write through the standard library, which has just failed, met a pipe that nobody
// reads any more. Natively such a write ends the process, unless SIGPIPE is ignored.
bool WriteMetClosedPipe();

// The arguments behind the program's name, in UTF-8; natively the bytes as they were given.
std::vector<std::string> ProgramArguments(int argc, char** argv);

// Files and folders that the process makes from now on are for their owner and group at most; on Windows the folder's
// permissions decide. For a program's start, before there are other threads.
void KeepNewFilesFromOthers();

} // namespace Platform
