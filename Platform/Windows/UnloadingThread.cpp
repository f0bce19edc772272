// The thread that unloads a DLL leaves nothing of the DLL's own compiler run-time behind: what that keeps for a thread
// (two handles among it) is freed when the thread ends, but the run-time is gone by then.
#include "Platform/Windows/LastError.h"

// The run-time's callback for threads that end.
extern "C" const PIMAGE_TLS_CALLBACK __xl_f;

namespace
{

struct Unloading
{
    ~Unloading() { __xl_f(nullptr, DLL_THREAD_DETACH, nullptr); }
};

// Constructed first, so it is destroyed last.
__attribute__((init_priority(101))) const Unloading unloading;

} // namespace
