#include "foundation/image/ImageFile.h"

#include <algorithm>
#include <cerrno>
#include <cmath>
#include <cstdio>
#include <exception>
#include <limits>
#include <memory>
#include <type_traits>

#include <OpenImageIO/filesystem.h>
#include <OpenImageIO/imageio.h>
#include <tbb/info.h>

#include "foundation/Containers.h"
#include "foundation/Str.h"
#include "foundation/io/AtomicFile.h"
#include "foundation/io/Streams.h"

namespace Vespra {
namespace {

/// Rows handed to the library at once: enough for it to compress in blocks, while the converted
/// copy of the image stays small.
constexpr std::int32_t ROWS_PER_STRIP = 64;

/// The library keeps its own pool for compressing; sized like the task scheduler's, saving next to
/// running tasks does not oversubscribe the cores.
void configureLibraryOnce() {
    static const bool configured = OIIO::attribute("threads", tbb::info::default_concurrency());
    (void)configured;
}

/// A reason for the error message: one line, without the final period that the message adds.
String asReason(const std::string& text) {
    String reason = String::fromUtf8(text).trim();
    reason = reason.getSubstr(0, reason.find(u'\n')).trim();
    while (reason.endsWith(u".")) {
        reason.erase(reason.length() - 1);
    }
    return reason.isEmpty() ? String(u"the image library gave no reason") : reason;
}

String asReason(const String& text) {
    return asReason(text.toUtf8());
}

template <class T>
T encode(float value) {
    if constexpr (std::is_floating_point_v<T>) {
        return value;
    } else {
        // In double, as 0.9f * 255 in float lands on 229.5 exactly and would round up.
        constexpr double MAX = std::numeric_limits<T>::max();
        const double clamped = std::isnan(value) ? 0. : std::clamp(double(value), 0., 1.);
        return T(clamped * MAX + 0.5);
    }
}

/// Converts the rows strip by strip and hands them over; `channels` may leave out alpha.
template <class T>
Expected<void> writePixels(OIIO::ImageOutput& output, const Abstract::BitmapIterator& pixels, int channels) {
    const std::size_t width = std::size_t(pixels.width());
    const std::size_t sourceChannels = std::size_t(pixels.channels());
    Array<float> row(width * sourceChannels);
    Array<T> strip(width * std::size_t(channels) * ROWS_PER_STRIP);
    for (std::int32_t y0 = 0; y0 < pixels.height(); y0 += ROWS_PER_STRIP) {
        const std::int32_t y1 = std::min(pixels.height(), y0 + ROWS_PER_STRIP);
        T* out = strip.data();
        for (std::int32_t y = y0; y < y1; ++y) {
            pixels.readRow(y, row.data());
            for (std::size_t x = 0; x < width; ++x) {
                for (int channel = 0; channel < channels; ++channel) {
                    *out++ = encode<T>(row[x * sourceChannels + std::size_t(channel)]);
                }
            }
        }
        if (!output.write_scanlines(y0, y1, 0, OIIO::BaseTypeFromC<T>::value, strip.data())) {
            return makeUnexpected(asReason(output.geterror()));
        }
    }
    return {};
}

OIIO::TypeDesc getStoredType(ImageFormat format, int bitDepth) {
    switch (bitDepth) {
    case 8:
        return OIIO::TypeDesc::UINT8;
    case 16:
        return format == ImageFormat::EXR ? OIIO::TypeDesc::HALF : OIIO::TypeDesc::UINT16;
    default:
        return OIIO::TypeDesc::FLOAT;
    }
}

String getCompression(ImageFormat format, const ImageSaveSettings& settings) {
    if (!settings.compression.isEmpty()) {
        return settings.compression;
    }
    switch (format) {
    case ImageFormat::EXR:
    case ImageFormat::TIFF:
        return u"zip";
    case ImageFormat::JPEG:
        return Str::getFormatted("jpeg:{}", settings.quality);
    default:
        return {};
    }
}

OIIO::ImageSpec makeSpec(const Abstract::BitmapIterator& pixels, int channels, ImageFormat format,
                         const ImageSaveSettings& settings) {
    const int bitDepth = getEffectiveBitDepth(format, settings);
    OIIO::ImageSpec spec(pixels.width(), pixels.height(), channels, getStoredType(format, bitDepth));
    if (channels == 4) {
        spec.alpha_channel = 3;
        // Tells the library that alpha is not premultiplied, so it writes the colours untouched.
        spec.attribute("oiio:UnassociatedAlpha", 1);
    }
    if (const String compression = getCompression(format, settings); !compression.isEmpty()) {
        spec.attribute("compression", compression.toUtf8());
        const int colon = compression.find(u':');
        if (format == ImageFormat::PNG && colon != String::NOT_FOUND) {
            spec.attribute("png:compressionLevel", std::stoi(compression.getSubstr(colon + 1).toUtf8()));
        }
    }
    return spec;
}

Expected<void> checkPixels(const Abstract::BitmapIterator& pixels) {
    if (pixels.width() <= 0 || pixels.height() <= 0) {
        return makeUnexpected(u"the image has no pixels");
    }
    if (pixels.channels() != 3 && pixels.channels() != 4) {
        return makeUnexpected(Str::getFormatted("{} channels given, 3 or 4 expected", pixels.channels()));
    }
    return {};
}

Expected<void> writePixelsAs(OIIO::TypeDesc type, OIIO::ImageOutput& output,
                             const Abstract::BitmapIterator& pixels, int channels) {
    switch (type.basetype) {
    case OIIO::TypeDesc::UINT8:
        return writePixels<std::uint8_t>(output, pixels, channels);
    case OIIO::TypeDesc::UINT16:
        return writePixels<std::uint16_t>(output, pixels, channels);
    default:
        // Half precision is left to the library, which rounds to nearest.
        return writePixels<float>(output, pixels, channels);
    }
}

/// The file that the library writes through, which keeps the system's reason of the first write
/// that failed. Some writers of the library answer success after failed writes and only leave a
/// message behind (PNG, BMP and TGA on a full disk), and the texts of the others leave the reason
/// out.
class CheckedFile final : public OIIO::Filesystem::IOFile {
public:
    explicit CheckedFile(std::FILE* file) : IOFile(file, Write) {}

    std::size_t write(const void* data, std::size_t size) override {
        errno = 0;
        return checked(IOFile::write(data, size), size);
    }
    std::size_t pwrite(const void* data, std::size_t size, std::int64_t offset) override {
        errno = 0;
        return checked(IOFile::pwrite(data, size, offset), size);
    }
    /// The `errno` of the first write that failed; 0 when none did.
    int failure() const { return code; }

private:
    std::size_t checked(std::size_t written, std::size_t size) {
        if (written < size && code == 0) {
            code = errno != 0 ? errno : EIO;
        }
        return written;
    }

    int code = 0;
};

/// Writes through `proxy`, which outlives `output`.
Expected<void> encode(std::unique_ptr<OIIO::ImageOutput> output, OIIO::Filesystem::IOProxy& proxy,
                      const Io::Path& file, const OIIO::ImageSpec& spec,
                      const Abstract::BitmapIterator& pixels, int channels) {
    output->set_ioproxy(&proxy);
    if (!output->open(file.std().native(), spec)) {
        return makeUnexpected(asReason(output->geterror()));
    }
    const Expected<void> written = writePixelsAs(spec.format, *output, pixels, channels);
    if (!output->close() && written) {
        return makeUnexpected(asReason(output->geterror()));
    }
    return written;
}

Expected<void> writeFile(const Io::Path& file, const Abstract::BitmapIterator& pixels, ImageFormat format,
                         const ImageSaveSettings& settings) {
    std::unique_ptr<OIIO::ImageOutput> output =
        OIIO::ImageOutput::create(getImageFormatExtension(format).toUtf8());
    if (!output) {
        return makeUnexpected(asReason(OIIO::geterror()));
    }
    const int channels = settings.alpha && pixels.channels() == 4 && output->supports("alpha") ? 4 : 3;
    const OIIO::ImageSpec spec = makeSpec(pixels, channels, format, settings);
    if (format == ImageFormat::JPEG) {
        // The JPEG library ends the whole process when the disk refuses its bytes, so a JPEG (which
        // is small) is made in memory and written to the file here.
        std::vector<unsigned char> bytes;
        OIIO::Filesystem::IOVecOutput memory(bytes);
        if (Expected<void> encoded = encode(std::move(output), memory, file, spec, pixels, channels);
            !encoded) {
            return encoded;
        }
        Io::FileOutputStream out(file);
        if (!out.write(bytes.data(), bytes.size()) || !out.close()) {
            return makeUnexpected(Io::systemErrorText(errno));
        }
        return {};
    }
    Io::Detail::FileHandle handle(std::fopen(file.std().c_str(), "wb"));
    if (!handle) {
        return makeUnexpected(Io::systemErrorText(errno));
    }
    CheckedFile checked(handle.get());
    const Expected<void> encoded = encode(std::move(output), checked, file, spec, pixels, channels);
    const int closeFailure = std::fclose(handle.release()) == 0 ? 0 : errno;
    if (checked.failure() != 0) {
        return makeUnexpected(Io::systemErrorText(checked.failure()));
    }
    if (encoded && closeFailure != 0) {
        return makeUnexpected(Io::systemErrorText(closeFailure));
    }
    return encoded;
}

/// Failures, thrown ones too, come back naming the target: people know only the name they chose.
Expected<void> writeTemporary(const Io::Path& temporary, const Io::Path& path,
                              const Abstract::BitmapIterator& pixels, ImageFormat format,
                              const ImageSaveSettings& settings) {
    String reason;
    try {
        Expected<void> written = writeFile(temporary, pixels, format, settings);
        if (written) {
            return written;
        }
        reason = written.error();
    } catch (const std::exception& exception) {
        // A source of pixels may fail while it is read (a bitmap on disk, out of memory); the save
        // fails like any other.
        reason = asReason(std::string(exception.what()));
    }
    reason.replaceAll(temporary.nativeStr(), path.nativeStr());
    return makeUnexpected(reason);
}

Expected<void> save(const Io::Path& path, const Abstract::BitmapIterator& pixels, ImageFormat format,
                    const ImageSaveSettings& settings) {
    if (Optional<String> error = validateSaveSettings(format, settings)) {
        return makeUnexpected(asReason(*error));
    }
    if (Expected<void> checked = checkPixels(pixels); !checked) {
        return checked;
    }
    configureLibraryOnce();
    // The old file stays as it was until the new one is complete.
    const Expected<void, Io::FileWriteError> written =
        Io::writeFileAtomically(path, [&](const Io::Path& temporary) {
            return writeTemporary(temporary, path, pixels, format, settings);
        });
    if (!written) {
        return makeUnexpected(written.error().reason);
    }
    return {};
}

} // namespace

Expected<bool, String> saveImage(const Io::Path& path, const Abstract::BitmapIterator& pixels,
                                 [[maybe_unused]] bool raw, ImageFormat format,
                                 const ImageSaveSettings& settings) {
    const Expected<void> result = save(path, pixels, format, settings);
    if (!result) {
        return makeUnexpected(Str::getFormatted("Cannot save image \"{}\": {}.", path, result.error()));
    }
    return true;
}

} // namespace Vespra
