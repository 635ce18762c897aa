#include "foundation/Lib.h"

#include "foundation/Scheduler.h"

namespace Vespra::Lib {

bool startup() {
    return __builtin_cpu_supports("sse4.1");
}

void shutdown() {
    Scheduler::releaseHighPriorityInstance();
}

} // namespace Vespra::Lib
