// What a test can ask about its own process.
#pragma once

#include <string>

// The threads that the process has now, the calling one included. A thread that was joined just before may still count
// for a moment.
unsigned CountProcessThreads();

// The handles that the process has open; elsewhere than on Windows the file descriptors. For hosts in C, too.
extern "C" unsigned CountProcessHandles();

// Whether the Windows around it is Wine, which answers differently in places.
bool RunsUnderWine();

// Has the system's shell run a command line, in which programs and files may be quoted; returns the exit status.
int RunInShell(const std::string& commandLine);
