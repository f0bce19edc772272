// What a test can ask about its own process.
#pragma once

#include <string>

// The threads that the process has now, the calling one included. A thread that was joined just before may still count
// for a moment.
unsigned CountProcessThreads();

// The handles that the process has open; elsewhere than on Windows the file descriptors. Hosts in C call it as well.
extern "C" unsigned CountProcessHandles();

// Modules as a host in C loads and unloads them. `path` in the encoding of the system's file names.
extern "C"
{
    void* OpenModule(const char* path); // null: failed
    void (*FindExport(void* module, const char* name))(void);
    void CloseModule(void* module);
    int IsModuleAt(const void* address);
}

// Whether the Windows around it is Wine, which answers differently in places.
bool RunsUnderWine();

// Has the system's shell run a command line in UTF-8, in which programs and files may be quoted; returns the exit
// status.
int RunInShell(const std::string& commandLine);
