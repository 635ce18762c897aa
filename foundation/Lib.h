#pragma once

namespace Vespra::Lib {

/// Checks that the processor can run this library (it needs SSE4.1); answers false when not.
/// Creates nothing: pools and caches start when first used.
bool startup();

/// Waits for the tasks of the pixel pool and releases its threads. Call it once no other
/// code uses the library any more.
void shutdown();

} // namespace Vespra::Lib
