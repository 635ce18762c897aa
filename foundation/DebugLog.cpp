#include "foundation/DebugLog.h"

#include <cstdio>
#include <cstdlib>

#include "foundation/Str.h"

namespace Vespra::Detail {

void debugPrintImpl(const String& message) {
    if (std::getenv("VESPRA_DEBUG") != nullptr) {
        // One call per line, so that lines from several threads do not interleave.
        fmt::print(stderr, "{}\n", message);
    }
}

FunctionElapsedTime::~FunctionElapsedTime() {
    const std::chrono::duration<double, std::milli> elapsed = std::chrono::steady_clock::now() - start;
    debugPrintImpl(Str::getFormatted("Function call: {} took {:.3f} ms", name, elapsed.count()));
}

} // namespace Vespra::Detail
