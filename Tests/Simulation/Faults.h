// Calls that the module makes outside itself: into the host, the node library and the ports, and for memory. They are
// counted by name, and one of them can be made to fail, once or from then on.
#pragma once

#include "Platform/Types.h"

#include <cstdint>
#include <map>
#include <new>
#include <string>

namespace Simulation
{

inline constexpr HRESULT Injected = static_cast<HRESULT>(0x8004F001);

struct Faults
{
    bool armed = false; // calls count, and can fail
    std::map<std::string, std::uint64_t> calls;
    std::string function;    // that is to fail
    std::uint64_t first = 0; // its first call that fails
    bool forGood = false;    // all later ones fail as well
    std::uint64_t struck = 0;
    std::uint64_t reports = 0; // of failures, in the log, the debugger output and results
};
extern Faults faults;

// While it lives, the calling thread runs the module's code, or what the module has called beside the host.
class Side
{
public:
    explicit Side(bool isModule);
    ~Side();
    Side(const Side&) = delete;
    Side& operator=(const Side&) = delete;

private:
    const bool m_before;
};

// Counts a call that the module makes. True: it is to fail.
bool Strikes(const char* service, const char* function);
// The same for one that others make as well.
bool StrikesModule(const char* function);

// Counts a failure that is reported.
inline HRESULT Shows(HRESULT hr = Injected)
{
    faults.reports += hr < 0;
    return hr;
}

// Calls an interface of the module, as a host does that withstands a shortage of memory.
template <class Call>
HRESULT CallModule(Call call)
{
    const Side module(true);
    try {
        return Shows(call());
    } catch (const std::bad_alloc&) {
        return Shows(E_OUTOFMEMORY);
    }
}

} // namespace Simulation
