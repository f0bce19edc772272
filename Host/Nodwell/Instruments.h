// The library's side of the test controls.
#pragma once

#include "Platform/Types.h"

#include <atomic>
#include <cstdint>

namespace Instruments
{

inline std::atomic<uint64_t> liveNodes = 0;
inline std::atomic<uint64_t> openHandles = 0;
inline std::atomic<bool> faultPlanned = false;

// True when the running call is to fail, with `result`. To be asked once per call, while a fault is planned.
bool TakeFault(HRESULT& result) noexcept;

} // namespace Instruments
