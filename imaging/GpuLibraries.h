#pragma once

#include "foundation/Containers.h"
#include "foundation/Optional.h"
#include "foundation/String.h"
#include "foundation/io/Path.h"

namespace Vespra {

/// The runtime of the GPU denoiser, in the order it is loaded; the CUDA driver comes after it.
inline constexpr const char* GPU_DENOISER_LIBRARIES[] = {"liboptix.so.51", "libcudnn.so.7",
                                                         "libcudart.so.9.0", "liboptix_denoiser.so.51"};
inline constexpr char CUDA_DRIVER_LIBRARY[] = "libcuda.so.1";

/// What the user reads when a library of the GPU denoiser cannot be loaded.
String getMissingLibraryMessage(const String& name);

/// Loads the libraries `names` from `directory` (the system's search where it is empty) and keeps
/// them loaded; answers the message of the first that fails.
Expected<bool> loadLibraries(ArrayView<const char* const> names, const Io::Path& directory);

/// Loads the GPU denoiser's runtime and the CUDA driver, once a process; the result is kept.
/// The runtime comes from the denoiser's data folder unless one of its libraries is already
/// loaded, in which case the system's search finds the set that another component brought.
const Expected<bool>& checkGpuDenoiserLibraries();

/// Whether the "NVIDIA AI denoiser" mode can be offered.
inline bool isGpuDenoiserAvailable() {
    return checkGpuDenoiserLibraries().has_value();
}

/// The address of `symbol` in the first loaded library of `names` that has it, or null.
void* findGpuSymbol(ArrayView<const char* const> names, const char* symbol);

} // namespace Vespra
