#include "base/image/ExrSaver.h"

#include <OpenEXR/Iex.h>
#include <OpenEXR/ImfBoxAttribute.h>
#include <OpenEXR/ImfChannelList.h>
#include <OpenEXR/ImfDoubleAttribute.h>
#include <OpenEXR/ImfFloatAttribute.h>
#include <OpenEXR/ImfFrameBuffer.h>
#include <OpenEXR/ImfHeader.h>
#include <OpenEXR/ImfIntAttribute.h>
#include <OpenEXR/ImfOutputFile.h>
#include <OpenEXR/ImfStringAttribute.h>
#include <OpenEXR/ImfThreading.h>
#include <OpenEXR/ImfVecAttribute.h>

#include "base/image/ExrStreams.h"
#include "base/image/ExrSupport.h"
#include "base/image/VxrMetadata.h"
#include "foundation/io/AtomicFile.h"

namespace Vespra {

namespace {

std::string toUtf8(const String& value) {
    std::string utf8 = value.toUtf8();
    if (!value.isEmpty() && utf8.empty()) {
        throw Exception(u"String value \"" + value + u"\" cannot be encoded to UTF-8.");
    }
    return utf8;
}

AutoPtr<Imf::Attribute> toExrAttribute(const IAttribute& attribute) {
    if (const auto* text = attribute.as<Attribute<String>>()) {
        return makeAuto<Imf::StringAttribute>(toUtf8(text->value));
    }
    if (const auto* integer = attribute.as<Attribute<std::int32_t>>()) {
        return makeAuto<Imf::IntAttribute>(integer->value);
    }
    if (const auto* real = attribute.as<Attribute<float>>()) {
        return makeAuto<Imf::FloatAttribute>(real->value);
    }
    if (const auto* real = attribute.as<Attribute<double>>()) {
        return makeAuto<Imf::DoubleAttribute>(real->value);
    }
    if (const auto* point = attribute.as<Attribute<Pixel>>()) {
        return makeAuto<Imf::V2iAttribute>(Imath::V2i(point->value.x, point->value.y));
    }
    if (const auto* bucket = attribute.as<Attribute<Bucket>>()) {
        return makeAuto<Imf::Box2iAttribute>(Detail::toBox(bucket->value));
    }
    if (const auto* color = attribute.as<Attribute<Rgb>>()) {
        return makeAuto<Imf::V3fAttribute>(Imath::V3f(color->value.r, color->value.g, color->value.b));
    }
    VESPRA_STOP();
}

Imf::Header makeHeader(const ChannelImage& image) {
    const auto* display = image.findAttribute<Bucket>(VxrAttribute::DISPLAY_WINDOW);
    const auto* data = image.findAttribute<Bucket>(VxrAttribute::DATA_WINDOW);
    VESPRA_ASSERT(display && data);
    Imf::Header header(Detail::toBox(display->value), Detail::toBox(data->value), 1.f, Imath::V2f(0.f, 0.f),
                       1.f, Imf::INCREASING_Y, Imf::ZIP_COMPRESSION);
    for (const auto& [name, attribute] : image.attributes) {
        // OpenEXR names are plain ASCII.
        const std::string exrName = name.toAscii('_');
        if (header.find(exrName) == header.end()) {
            header.insert(exrName, *toExrAttribute(*attribute));
        }
    }
    return header;
}

/// Where OpenEXR takes pixel (x, y) of the data window `window` from.
const char* sliceBase(const void* plane, const Bucket& window) {
    const std::ptrdiff_t width = window.width();
    return static_cast<const char*>(plane) - (std::ptrdiff_t(window.y0) * width + window.x0) * 4;
}

template <class T>
void addSlice(const Channel<T>& channel, Imf::PixelType type, const Bucket& window, Imf::Header& header,
              Imf::FrameBuffer& frameBuffer) {
    // A plane of another size than the data window would be read past its end.
    VESPRA_ASSERT(channel.width == std::uint32_t(window.width()) &&
                  channel.height == std::uint32_t(window.height()));
    const std::string name = channel.name.toUtf8();
    header.channels().insert(name, Imf::Channel(type));
    // OpenEXR only reads from the frame buffer while writing.
    char* base = const_cast<char*>(sliceBase(channel.data.data(), window));
    frameBuffer.insert(name, Imf::Slice(type, base, 4, std::size_t(window.width()) * 4));
}

Imf::FrameBuffer addChannels(const ChannelImage& image, Imf::Header& header) {
    const Bucket window = image.getDataWindow();
    Imf::FrameBuffer frameBuffer;
    for (const auto& [name, channel] : image.channels) {
        if (name.isEmpty()) {
            throw Exception(u"File channels must have non-empty names.");
        }
        if (const auto* floats = channel->as<Channel<float>>()) {
            addSlice(*floats, Imf::FLOAT, window, header, frameBuffer);
        } else if (const auto* integers = channel->as<Channel<std::uint32_t>>()) {
            addSlice(*integers, Imf::UINT, window, header, frameBuffer);
        } else {
            VESPRA_STOP();
        }
    }
    return frameBuffer;
}

/// Writes the pixels into `file`; OpenEXR's texts name `path`, the file that people chose.
bool writePixels(const Imf::Header& header, const Imf::FrameBuffer& frameBuffer, int rows,
                 const Io::Path& file, const Io::Path& path) {
    Io::FileOutputStream out(file);
    if (!out.isOpen()) {
        Iex::throwErrnoExc("%T.");
    }
    {
        ExrOStreamAdapter stream(out, path);
        Imf::OutputFile output(stream, header, Imf::globalThreadCount());
        output.setFrameBuffer(frameBuffer);
        output.writePixels(rows);
    }
    if (!out.close()) {
        Iex::throwErrnoExc("%T.");
    }
    return true;
}

} // namespace

Expected<bool, String> ExrSaver::save(const ChannelImage& image, const Io::Path& path) {
    return Detail::runExrWork(path, [&] {
        Detail::setExrGlobalThreadCount(multithreaded);
        // An image that cannot be written fails here, before anything on the disk is touched.
        Imf::Header header = makeHeader(image);
        const Imf::FrameBuffer frameBuffer = addChannels(image, header);
        const int rows = image.getDataWindow().height();
        const Expected<void, Io::FileWriteError> saved =
            Io::writeFileAtomically(path, [&](const Io::Path& temporary) -> Expected<void> {
                const Expected<bool> written = Detail::runExrWork(
                    path, [&] { return writePixels(header, frameBuffer, rows, temporary, path); });
                if (!written) {
                    return makeUnexpected(written.error());
                }
                return {};
            });
        if (!saved) {
            // The system's reason in its own words, as OpenEXR gives the reasons of failed writes.
            const Io::FileWriteError& error = saved.error();
            throw Exception(error.code != 0 ? Io::systemErrorText(error.code) : error.reason);
        }
        return true;
    });
}

} // namespace Vespra
