// What a test asks and changes of its own process and of the calling thread.
#pragma once

#include <cstdio>
#include <filesystem>
#include <memory>
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

// Has the system's shell run a command line in UTF-8, in which programs and files may be quoted; returns the exit
// status.
int RunInShell(const std::string& commandLine);

// Opens a file that others get a sharing violation for until it is closed. Null when it cannot be opened.
std::shared_ptr<std::FILE> OpenForItself(const std::filesystem::path& path);

// What Platform::LastErrorKeeper keeps: the last error, natively errno.
void SetLastFailure(int code);
int LastFailure();

// Gives the calling thread an identity of its own, until Platform::ThreadToken takes it off. False when it cannot.
bool Impersonate();

// Makes German the calling thread's language, where texts have more than one.
void SpeakGerman();
