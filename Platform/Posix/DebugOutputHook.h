// Where a test listens to the debugger output. Internal to the layer.
#pragma once

#include <atomic>

// While set, takes what OutputDebugStringW is given in place of standard error. Called on any thread.
extern std::atomic<void (*)(const wchar_t* text)> debugOutputHook;
