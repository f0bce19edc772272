#include "Host/Nodwell/TestControls.h"

#include "Host/Nodwell/Instruments.h"
#include "Platform/Threads.h"

#include <mutex>

namespace
{

struct CallFaults
{
    Platform::Mutex lock; // guards the rest
    uint64_t countdown = 0;
    HRESULT result = S_OK;
    bool sticky = false;
    uint64_t fired = 0;
} s_plan;

} // namespace

bool Instruments::TakeFault(HRESULT& result) noexcept
{
    const std::lock_guard guard(s_plan.lock);
    if (s_plan.countdown == 0 || --s_plan.countdown != 0)
        return false;
    if (s_plan.sticky)
        s_plan.countdown = 1;
    else
        faultPlanned.store(false, std::memory_order_relaxed);
    ++s_plan.fired;
    result = s_plan.result;
    return true;
}

uint64_t NodwellLiveNodes()
{
    return Instruments::liveNodes.load(std::memory_order_relaxed);
}

uint64_t NodwellOpenHandles()
{
    return Instruments::openHandles.load(std::memory_order_relaxed);
}

void NodwellFailCall(uint64_t countdown, HRESULT result, int sticky)
{
    const std::lock_guard guard(s_plan.lock);
    s_plan.countdown = countdown;
    s_plan.result = result;
    s_plan.sticky = sticky != 0;
    s_plan.fired = 0;
    Instruments::faultPlanned.store(countdown != 0, std::memory_order_relaxed);
}

uint64_t NodwellFaultsFired()
{
    const std::lock_guard guard(s_plan.lock);
    return s_plan.fired;
}
