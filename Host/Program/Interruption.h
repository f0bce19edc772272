// Ctrl-C and the like: asked for at any time, obeyed at the next good moment.
#pragma once

#include <chrono>
#include <functional>

namespace Host
{

namespace Interruption
{

// From now on the first request to end is noted; a second one ends the process as usual.
void Install();

bool IsRequested();

// Waits until `duration` has passed or an end is requested; calls `tick` with the time passed, several times a second.
void Wait(std::chrono::duration<double> duration,
          const std::function<void(std::chrono::duration<double> passed)>& tick);

} // namespace Interruption

} // namespace Host
