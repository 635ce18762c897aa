#pragma once

#include "foundation/io/Path.h"

namespace Vespra::Wx {

/// The folder in which the next file dialog starts: the folder of the file last chosen in one,
/// kept in the user's preferences, else "."; with a trailing separator.
Io::Path lastDirectoryPath();

/// Remembers the folder of `path` for the next file dialog. The preferences file is written
/// only here, so that it does not exist before a file has been chosen.
void rememberLastDirectory(const Io::Path& path);

} // namespace Vespra::Wx
