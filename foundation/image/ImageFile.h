#pragma once

#include "foundation/Optional.h"
#include "foundation/String.h"
#include "foundation/image/BitmapIterator.h"
#include "foundation/image/ImageFormat.h"
#include "foundation/io/Path.h"

namespace Vespra {

/// Writes the pixels as they are: float formats keep the values exactly (HDR as its format allows),
/// integer formats clamp to 0..1 (NaN -> 0) and quantise with rounding to nearest. Alpha is written
/// only where the format has it (not JPEG, not HDR) and `settings.alpha` asks for it, and as given,
/// never premultiplied or divided.
///
/// `raw` marks data that must not get a display transform. The pixels arrive already display-encoded,
/// so raw and display data are both written as given; the flag stays so that callers keep saying which
/// kind they pass.
///
/// Answers true, or a readable error text naming the file, e.g. "Cannot save image \"<path>\": <reason>."
/// Never throws. Writes to a temporary file next to the target and renames it at the end, so a failed
/// save never destroys an existing file.
Expected<bool, String> saveImage(const Io::Path& path, const Abstract::BitmapIterator& pixels, bool raw,
                                 ImageFormat format, const ImageSaveSettings& settings);

} // namespace Vespra
