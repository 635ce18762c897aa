#pragma once

#include "foundation/Bitmap.h"
#include "foundation/Optional.h"
#include "foundation/Pixel.h"
#include "foundation/Rgb.h"
#include "foundation/String.h"
#include "foundation/io/Path.h"

namespace Vespra::Thumbnailer {

/// Exit statuses of the thumbnailer.
inline constexpr int EXIT_OK = 0;
inline constexpr int EXIT_FAILED = 1;
inline constexpr int EXIT_USAGE = 2;

/// How many pulled pixels, along each side, go into one thumbnail pixel at most when the image
/// is reduced: enough to smooth the noise of a render without pulling the whole frame.
inline constexpr int SUPERSAMPLING = 4;

/// The picture of a thumbnail: display values, alpha in the fourth lane when `hasAlpha`.
struct Thumbnail {
    BitmapImpl<Rgb> pixels;
    bool hasAlpha = false;
};

/// The size of the thumbnail of an image of `source` pixels: the image's own size when its
/// longer side is at most `maxSide` (never enlarged), else the same aspect with the longer side
/// exactly `maxSide` and the other rounded, at least 1.
Pixel thumbnailSize(Pixel source, int maxSide);

/// The zoom (source pixels per pulled pixel) at which the graph is pulled for a thumbnail of an
/// image of `source` pixels: the largest whole number that still leaves `SUPERSAMPLING` pulled
/// pixels along the longer side for each of the `maxSide` thumbnail pixels, at least 1.
int pullZoom(Pixel source, int maxSide);

/// Whether the thumbnail needs a channel of that name: those of the beauty element and of its
/// denoised version, which is all that the beauty's post-processing reads.
bool isBeautyChannel(const String& channelName);

/// The beauty element of a render or an OpenEXR file, through the post-processing settings the
/// file carries, as the batch tool shows it, reduced so that its longer side is at most
/// `maxSide`. Values are clamped to 0..1, as an 8-bit file holds them, before they are
/// averaged. Reads only the beauty's channels. Failures come back as a readable text.
Expected<Thumbnail, String> renderThumbnail(const Io::Path& input, int maxSide);

/// `renderThumbnail` written as an 8-bit PNG file to `output`, whatever its extension.
Expected<bool, String> writeThumbnail(const Io::Path& input, const Io::Path& output, int maxSide);

} // namespace Vespra::Thumbnailer
