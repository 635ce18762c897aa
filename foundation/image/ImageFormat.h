#pragma once

#include <cstdint>

#include "foundation/Optional.h"
#include "foundation/String.h"
#include "foundation/io/Path.h"

namespace Vespra {

enum class ImageFormat : std::uint32_t { UNKNOWN = 0, PNG, JPEG, TIFF, EXR, BMP, TGA, HDR };

/// Settings of a save: bitDepth 0 means the format's sensible default (PNG 8, JPEG 8, TIFF 16, EXR 32 float
/// [16 = half], BMP/TGA 8, HDR 32); valid other values per format: PNG 8/16, TIFF 8/16/32 (32 = float),
/// EXR 16/32. compression empty = the format's default (EXR "zip", TIFF "zip", PNG default level);
/// quality 1..100 for JPEG (default 95).
///
/// A compression is a method, for "zip" optionally followed by a level: "zip:6". The methods are
/// PNG: zip; TIFF: none, lzw, zip, packbits; EXR: none, rle, zips, zip, piz, pxr24, b44, b44a, dwaa, dwab;
/// TGA: none, rle. JPEG, BMP and HDR have no choice.
///
/// alpha: write the alpha channel where the format has one; false writes colour only.
struct ImageSaveSettings {
    int bitDepth = 0;
    String compression;
    int quality = 95;
    bool alpha = true;

    bool operator==(const ImageSaveSettings&) const = default;
};

/// By extension, case-insensitive: .png .jpg .jpeg .tif .tiff .exr .vxr .vex .vexr(->EXR) .bmp .tga .hdr;
/// else UNKNOWN.
ImageFormat getImageFormatFromFileName(const Io::Path& path);

/// The extensions .vxr, .vex, .vexr (case-insensitive): the system's own multi-channel format.
bool isVespraExrFileName(const Io::Path& path);

/// The wildcard filter of a save/open dialog listing the formats, e.g.
/// "PNG files (*.png)|*.png|JPEG files (*.jpg;*.jpeg)|*.jpg;*.jpeg|...". With
/// `vespraExrFirst` the system's own multi-channel format leads the list, for a save that
/// may keep the whole image.
String getImageFormatsFileDialogFilter(bool vespraExrFirst = false);

/// The usual extension of a format ("png", "jpg", "tif", "exr", ...); empty for UNKNOWN.
String getImageFormatExtension(ImageFormat format);

/// The bit depth a save really uses: `bitDepth` of the settings, or the format's default for 0.
int getEffectiveBitDepth(ImageFormat format, const ImageSaveSettings& settings);

/// Checks `settings` against the format; the text says what is wrong (e.g. "PNG supports bit depths 8 and
/// 16."). Nothing when the settings are fine.
Optional<String> validateSaveSettings(ImageFormat format, const ImageSaveSettings& settings);

} // namespace Vespra
