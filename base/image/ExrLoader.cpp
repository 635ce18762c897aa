#include "base/image/ExrLoader.h"

#include <cerrno>
#include <cmath>
#include <cstring>
#include <filesystem>

#include <Imath/half.h>
#include <OpenEXR/Iex.h>
#include <OpenEXR/ImfAttribute.h>
#include <OpenEXR/ImfBoxAttribute.h>
#include <OpenEXR/ImfChannelList.h>
#include <OpenEXR/ImfDoubleAttribute.h>
#include <OpenEXR/ImfFloatAttribute.h>
#include <OpenEXR/ImfFrameBuffer.h>
#include <OpenEXR/ImfHeader.h>
#include <OpenEXR/ImfInputFile.h>
#include <OpenEXR/ImfIntAttribute.h>
#include <OpenEXR/ImfStringAttribute.h>
#include <OpenEXR/ImfThreading.h>
#include <OpenEXR/ImfVecAttribute.h>

#include "base/image/ExrHeaderCheck.h"
#include "base/image/ExrStreams.h"
#include "base/image/ExrSupport.h"
#include "base/image/VxrMetadata.h"
#include "foundation/ParallelFor.h"

namespace Vespra {

namespace {

constexpr char16_t EMPTY_DATA_WINDOW[] = u"File stores no pixel data.\n\nIts data window is defined empty.";
constexpr char16_t INVALID_IMAGE[] =
    u"File stores an invalid image.\n\nIt either does not have all required and properly defined attributes "
    u"(data and display windows, gamma), or its pixel data are incomplete.";
constexpr char16_t NO_BEAUTY[] = u"File stores an image without a valid beauty element.\n\nIt is either "
                                 u"incomplete, or not stored with a floating-point precision.";

template <class ExrValue, class T, class Convert>
void addAttribute(ChannelImage& image, const String& name, const Imf::Attribute& attribute, Convert convert) {
    const auto* typed = dynamic_cast<const Imf::TypedAttribute<ExrValue>*>(&attribute);
    if (!typed) {
        throw Exception(u"Unexpected attribute type.");
    }
    if (!image.attributes.emplace(name, makeAuto<Attribute<T>>(name, convert(typed->value()))).second) {
        throw Exception(u"File stores duplicate attributes.");
    }
}

template <class T>
void addAttribute(ChannelImage& image, const String& name, const Imf::Attribute& attribute) {
    addAttribute<T, T>(image, name, attribute, [](const T& value) { return value; });
}

/// Attributes of the types an image can hold; all others are not the image's business.
void readAttribute(ChannelImage& image, const String& name, const Imf::Attribute& attribute) {
    const std::string_view type = attribute.typeName();
    if (type == "string") {
        addAttribute<std::string, String>(image, name, attribute, String::fromUtf8);
    } else if (type == "int") {
        addAttribute<std::int32_t>(image, name, attribute);
    } else if (type == "float") {
        addAttribute<float>(image, name, attribute);
    } else if (type == "double") {
        addAttribute<double>(image, name, attribute);
    } else if (type == "v2i") {
        addAttribute<Imath::V2i, Pixel>(image, name, attribute, [](const Imath::V2i& v) {
            return Pixel{v.x, v.y};
        });
    } else if (type == "box2i") {
        addAttribute<Imath::Box2i, Bucket>(image, name, attribute, Detail::toBucket);
    } else if (type == "v3f") {
        addAttribute<Imath::V3f, Rgb>(image, name, attribute,
                                      [](const Imath::V3f& v) { return Rgb(v.x, v.y, v.z); });
    }
}

/// Where OpenEXR puts pixel (x, y) of the data window `window`: the plane's first element is the
/// window's origin.
char* sliceBase(void* plane, const Imath::Box2i& window) {
    const std::ptrdiff_t width = std::ptrdiff_t(window.max.x) - window.min.x + 1;
    return static_cast<char*>(plane) - (std::ptrdiff_t(window.min.y) * width + window.min.x) * 4;
}

/// The planes OpenEXR decodes into, and those that receive halves to widen afterwards.
struct PixelTargets {
    Imf::FrameBuffer frameBuffer;
    Stack<Channel<float>*> halfChannels;
};

template <class T>
void addChannel(ChannelImage& image, const char* name, const Imf::Channel& format, const Imath::Box2i& window,
                PixelTargets& targets) {
    Channel<T>& channel = image.addChannel<T>(String::fromUtf8(name));
    const auto width = std::uint32_t(std::int64_t(window.max.x) - window.min.x + 1);
    const auto height = std::uint32_t(std::int64_t(window.max.y) - window.min.y + 1);
    if (format.xSampling != 1 || format.ySampling != 1) {
        // A subsampled plane holds fewer pixels than the data window, which the image cannot
        // represent; its size makes the validation refuse the file.
        channel.resize(width / std::uint32_t(format.xSampling), height / std::uint32_t(format.ySampling));
        return;
    }
    channel.resize(width, height);
    const std::size_t rowBytes = std::size_t(width) * 4;
    targets.frameBuffer.insert(name,
                               Imf::Slice(format.type, sliceBase(channel.data.data(), window), 4, rowBytes));
    if constexpr (std::is_same_v<T, float>) {
        if (format.type == Imf::HALF) {
            targets.halfChannels.push(&channel);
        }
    }
}

PixelTargets readChannels(const Imf::Header& header, const ExrLoader::ChannelFilter& filter,
                          ChannelImage& image) {
    PixelTargets targets;
    for (auto it = header.channels().begin(); it != header.channels().end(); ++it) {
        const String name = String::fromUtf8(it.name());
        if (filter && !filter(name)) {
            continue;
        }
        if (image.channels.contains(name)) {
            throw Exception(u"File stores duplicate channels.");
        }
        if (it.channel().type == Imf::UINT) {
            addChannel<std::uint32_t>(image, it.name(), it.channel(), header.dataWindow(), targets);
        } else {
            addChannel<float>(image, it.name(), it.channel(), header.dataWindow(), targets);
        }
    }
    return targets;
}

bool hasValidWindows(const ChannelImage& image) {
    const auto* display = image.findAttribute<Bucket>(VxrAttribute::DISPLAY_WINDOW);
    const auto* data = image.findAttribute<Bucket>(VxrAttribute::DATA_WINDOW);
    return display && data && !display->value.isEmpty() && !data->value.isEmpty() &&
           (display->value.contains(data->value) || data->value.contains(display->value));
}

bool isValid(const ChannelImage& image) {
    // A gamma that is no number would make the image fit no merge, not even with itself.
    const auto* gamma = image.findAttribute<float>(VxrAttribute::GAMMA);
    if (!hasValidWindows(image) || !gamma || !std::isfinite(gamma->value) || image.channels.empty()) {
        return false;
    }
    const Pixel size = image.getDataWindow().size();
    return std::ranges::all_of(image.channels, [&](const auto& item) {
        return item.second->getWidth() == std::uint32_t(size.x) &&
               item.second->getHeight() == std::uint32_t(size.y);
    });
}

/// Widens the halves that OpenEXR left in the low 16 bits of each 32-bit cell.
void widenHalves(Channel<float>& channel) {
    for (float& cell : channel.data) {
        std::uint32_t bits = 0;
        std::memcpy(&bits, &cell, sizeof(bits));
        half value;
        value.setBits(std::uint16_t(bits));
        cell = float(value);
    }
}

ChannelImage readImage(const Io::Path& path, const ExrLoader::ChannelFilter& filter) {
    Io::FileInputStream file(path);
    if (!file.isOpen()) {
        Iex::throwErrnoExc("%T.");
    }
    // OpenEXR believes the sizes in a header; a damaged one must not make it allocate gigabytes.
    std::error_code sizeError;
    const std::uintmax_t fileSize = std::filesystem::file_size(path.std(), sizeError);
    if (!sizeError) {
        Detail::checkExrHeaders(file, fileSize);
        if (!file.seek(0)) {
            Iex::throwErrnoExc("%T.");
        }
    }
    ExrIStreamAdapter stream(file, path);
    Imf::InputFile input(stream, Imf::globalThreadCount());
    const Imf::Header& header = input.header();
    const Imath::Box2i& window = header.dataWindow();
    if (window.max.x < window.min.x || window.max.y < window.min.y) {
        throw Exception(EMPTY_DATA_WINDOW);
    }
    ChannelImage image;
    for (auto it = header.begin(); it != header.end(); ++it) {
        readAttribute(image, String::fromUtf8(it.name()), it.attribute());
    }
    PixelTargets targets = readChannels(header, filter, image);
    if (!image.findAttribute<float>(VxrAttribute::GAMMA)) {
        image.setAttribute(VxrAttribute::GAMMA, 1.f);
    }
    if (!isValid(image)) {
        throw Exception(INVALID_IMAGE);
    }
    if (!image.hasRgbElement(String())) {
        throw Exception(NO_BEAUTY);
    }
    input.setFrameBuffer(targets.frameBuffer);
    input.readPixels(window.min.y, window.max.y);
    parallelFor(Scheduler::highPriorityInstance(), 0, int(targets.halfChannels.size()), 1,
                [&](int index) { widenHalves(*targets.halfChannels[std::size_t(index)]); });
    return image;
}

} // namespace

Expected<ChannelImage, String> ExrLoader::load(const Io::Path& path) {
    return Detail::runExrWork(path, [&] {
        Detail::setExrGlobalThreadCount(multithreaded);
        return readImage(path, filter);
    });
}

} // namespace Vespra
