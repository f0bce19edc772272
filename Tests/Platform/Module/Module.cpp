// A module for the tests of modules to load and unload.
#include "Platform/Threads.h"

#include <atomic>
#include <chrono>
#include <thread>

// Nobody waits for the thread, which goes on in the module's code behind `started`.
extern "C" void StartThread(std::atomic<bool>* started)
{
    Platform::WorkerThread([started] {
        *started = true;
        std::this_thread::sleep_for(std::chrono::milliseconds(2));
    }).Detach();
}
