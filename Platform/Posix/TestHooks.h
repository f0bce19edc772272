// What a test sees and changes of a process. Internal to the platform and to tests.
#pragma once

#include <atomic>

// While set, takes the debugger output in place of standard error. Called on any thread.
extern std::atomic<void (*)(const wchar_t* text)> debugOutputHook;

// Whether the calling thread acts under another identity than the process's.
extern thread_local bool threadHasIdentity;
