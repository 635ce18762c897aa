#pragma once

#include "foundation/Optional.h"
#include "foundation/io/Path.h"

namespace Vespra::Utils {

/// The running program, through /proc/self/exe.
Expected<Io::Path> getExecutableFilePath();

} // namespace Vespra::Utils

namespace Vespra::Io::StandardPaths {

/// The system's folder for temporary files ($TMPDIR, else /tmp).
Expected<Path> temporary();

/// The read-only data of the program. `$VESPRA_DATA_DIR` when set; else `share/vespra` beside
/// the folder of the executable when it exists (an installed program); else the `resources`
/// folder of the nearest folder above the executable that has one, so that a build tree runs
/// without installing.
Expected<Path> dataDirectory();
/// The bundled look-up tables: `luts` in the data directory.
Expected<Path> lutBundle();
/// The denoiser's data: `optix` in the data directory.
Expected<Path> optixData();

} // namespace Vespra::Io::StandardPaths
