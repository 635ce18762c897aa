#pragma once

#include "foundation/String.h"

namespace Vespra::Utils {

/// Blocks the calling thread for at least `milliseconds`.
void sleep(int milliseconds);

/// Names the calling thread for debuggers and `top`. The kernel keeps at most 15 bytes, so
/// longer names are cut at a UTF-8 character boundary.
void setThreadName(const String& name);

/// The number of logical processors this process may run on (its affinity mask counts).
int getLogicalProcessorCount();

/// Lowers the calling thread's scheduling priority: a negative `priority` becomes the nice
/// value -priority (at most 19); zero or a positive value leaves the thread as it is.
/// The priority is never raised, which would need privileges.
void lowerThreadPriority(int priority);

/// Makes denormal floats read and compute as zero on the calling thread. Denormals slow
/// SSE arithmetic by two orders of magnitude and are invisible in any pixel.
void threadSetupFloats();

} // namespace Vespra::Utils
