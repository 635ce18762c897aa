#include <cmath>
#include <fstream>
#include <limits>

#include <OpenEXR/ImfChannelList.h>
#include <OpenEXR/ImfFrameBuffer.h>
#include <OpenEXR/ImfHeader.h>
#include <OpenEXR/ImfInputFile.h>
#include <OpenEXR/ImfIntAttribute.h>
#include <OpenEXR/ImfOutputFile.h>
#include <OpenEXR/ImfStringAttribute.h>
#include <gtest/gtest.h>

#include "base/image/ExrLoader.h"
#include "base/image/ExrSaver.h"
#include "tests/foundation/TemporaryFolder.h"

using namespace Vespra;

namespace {

const String INVALID_IMAGE =
    u"File stores an invalid image.\n\nIt either does not have all required and properly defined attributes "
    u"(data and display windows, gamma), or its pixel data are incomplete.";
const String NO_BEAUTY =
    u"File stores an image without a valid beauty element.\n\nIt is either incomplete, or "
    u"not stored with a floating-point precision.";

/// An image with every attribute type and both channel types; pixel values follow the position.
ChannelImage richImage(const Bucket& displayWindow, const Bucket& dataWindow) {
    ChannelImage image(displayWindow, dataWindow, 2.2f);
    image.setAttribute<std::int32_t>(u"vespra.stats.passes", -7);
    image.setAttribute<float>(u"vespra.stats.rayspersample", std::numeric_limits<float>::quiet_NaN());
    image.setAttribute<double>(u"precise", 0.1);
    image.setAttribute<Bucket>(u"region", {-3, 4, 10, 5});
    image.setAttribute<Rgb>(u"tint", Rgb(0.25f, -1.f, 1e30f));
    image.setAttribute<Pixel>(u"origin", {-5, 6});
    image.setAttribute<String>(u"label", u"Grüße aus 東京 — \"quoted\"");
    image.setAttribute<String>(u"empty", String());
    const Pixel size = dataWindow.size();
    for (const char16_t* name : {u"R", u"G", u"B", u"Shadows.R", u"ZDepth"}) {
        Channel<float>& channel = image.addChannel<float>(name);
        channel.resize(size);
        for (std::size_t i = 0; i < channel.data.size(); ++i) {
            channel.data[i] = float(i) * 0.5f - float(name[0]);
        }
    }
    Channel<std::uint32_t>& ids = image.addChannel<std::uint32_t>(u"id");
    ids.resize(size);
    for (std::size_t i = 0; i < ids.data.size(); ++i) {
        ids.data[i] = 0xfffffff0u + std::uint32_t(i % 16);
    }
    return image;
}

void expectSameChannels(const ChannelImage& loaded, const ChannelImage& saved) {
    ASSERT_EQ(loaded.channels.size(), saved.channels.size());
    for (const auto& [name, channel] : saved.channels) {
        SCOPED_TRACE(name.toUtf8());
        ASSERT_TRUE(loaded.channels.contains(name));
        if (const auto* floats = channel->as<Channel<float>>()) {
            ASSERT_NE(loaded.findChannel<float>(name), nullptr);
            EXPECT_EQ(loaded.findChannel<float>(name)->data, floats->data);
        } else {
            ASSERT_NE(loaded.findChannel<std::uint32_t>(name), nullptr);
            EXPECT_EQ(loaded.findChannel<std::uint32_t>(name)->data,
                      channel->as<Channel<std::uint32_t>>()->data);
        }
    }
}

/// Writes R, G, B (or the given names) of one type with OpenEXR itself, for files this
/// system's saver never makes.
void writeWithOpenExr(const Io::Path& path, const Imath::Box2i& display, const Imath::Box2i& data,
                      std::initializer_list<const char*> names, Imf::PixelType type, int sampling = 1) {
    Imf::Header header(display, data);
    const int width = data.max.x - data.min.x + 1;
    const int height = data.max.y - data.min.y + 1;
    std::vector<float> zeros(std::size_t(width) * std::size_t(height));
    Imf::FrameBuffer frameBuffer;
    for (const char* name : names) {
        header.channels().insert(name, Imf::Channel(type, sampling, sampling));
        char* base = reinterpret_cast<char*>(zeros.data()) -
                     (data.min.y / sampling * width + data.min.x / sampling) * 4;
        frameBuffer.insert(name, Imf::Slice(type, base, 4, std::size_t(width) * 4, sampling, sampling));
    }
    Imf::OutputFile file(path.nativeStr().toUtf8().c_str(), header);
    file.setFrameBuffer(frameBuffer);
    file.writePixels(height);
}

void writeBytes(const Io::Path& path, const std::string& bytes) {
    std::ofstream(path.std(), std::ios::binary) << bytes;
}

std::string readBytes(const Io::Path& path) {
    std::ifstream file(path.std(), std::ios::binary);
    return std::string(std::istreambuf_iterator<char>(file), {});
}

String quoted(const Io::Path& path) {
    return u"\"" + path.nativeStr() + u"\"";
}

} // namespace

TEST(ExrFile, EveryAttributeTypeAndChannelTypeRoundTrips) {
    TemporaryFolder folder;
    const Bucket dataWindow{10, 20, 30, 40};
    for (const Bucket displayWindow : {Bucket{0, 0, 50, 60}, Bucket{12, 25, 20, 39}, dataWindow}) {
        for (const bool multithreaded : {false, true}) {
            const ChannelImage image = richImage(displayWindow, dataWindow);
            const Io::Path path = folder.path() / Io::Path(u"round trip ü.vxr");
            ASSERT_EQ(ExrSaver(multithreaded).save(image, path), true);
            const auto loaded = ExrLoader(multithreaded).load(path);
            ASSERT_TRUE(loaded.has_value()) << loaded.error();

            for (const auto& [name, attribute] : image.attributes) {
                SCOPED_TRACE(name.toUtf8());
                ASSERT_TRUE(loaded->attributes.contains(name));
                EXPECT_TRUE(loaded->attributes.at(name)->equals(*attribute));
            }
            // OpenEXR's own header fields of the types an image holds come along.
            EXPECT_EQ(loaded->attributes.size(), image.attributes.size() + 2);
            EXPECT_EQ(loaded->findAttribute<float>(u"pixelAspectRatio")->value, 1.f);
            EXPECT_EQ(loaded->findAttribute<float>(u"screenWindowWidth")->value, 1.f);
            expectSameChannels(*loaded, image);
        }
    }
}

TEST(ExrFile, AChannelFilterReadsOnlyTheChannelsItAccepts) {
    TemporaryFolder folder;
    const ChannelImage image = richImage({0, 0, 50, 60}, {10, 20, 30, 40});
    const Io::Path path = folder.path() / Io::Path(u"filtered.vxr");
    ASSERT_EQ(ExrSaver(false).save(image, path), true);
    Stack<String> offered;
    const auto loaded =
        ExrLoader(true, [&offered](const String& name) {
            offered.push(name);
            return name == u"G" || name.startsWith(u"Shadows.") || name == u"R" || name == u"B";
        }).load(path);
    ASSERT_TRUE(loaded.has_value()) << loaded.error();

    // Every channel of the file was offered, in the file's order.
    EXPECT_EQ(offered, (Stack<String>{u"B", u"G", u"R", u"Shadows.R", u"ZDepth", u"id"}));
    ASSERT_EQ(loaded->channels.size(), 4u);
    for (const char16_t* name : {u"R", u"G", u"B", u"Shadows.R"}) {
        SCOPED_TRACE(String(name).toUtf8());
        ASSERT_NE(loaded->findChannel<float>(name), nullptr);
        EXPECT_EQ(loaded->findChannel<float>(name)->data, image.findChannel<float>(name)->data);
    }
    // The attributes come whole.
    for (const auto& [name, attribute] : image.attributes) {
        SCOPED_TRACE(name.toUtf8());
        ASSERT_TRUE(loaded->attributes.contains(name));
        EXPECT_TRUE(loaded->attributes.at(name)->equals(*attribute));
    }

    // Without the beauty's channels there is no image to show.
    const auto withoutBeauty =
        ExrLoader(false, [](const String& name) { return name == u"ZDepth"; }).load(path);
    ASSERT_FALSE(withoutBeauty.has_value());
    EXPECT_EQ(withoutBeauty.error(), u"Cannot operate with image file " + quoted(path) + u". " + NO_BEAUTY);
}

TEST(ExrFile, WritesTheWindowsInclusiveAndNamesInAscii) {
    TemporaryFolder folder;
    ChannelImage image = richImage({0, 0, 40, 50}, {10, 20, 30, 40});
    image.setAttribute<String>(u"Größe", u"groß");
    image.setAttribute<std::int32_t>(u"Gr__e", 1); // the same name in ASCII: the first one wins
    const Io::Path path = folder.path() / Io::Path(u"windows.vxr");
    ASSERT_EQ(ExrSaver(true).save(image, path), true);

    Imf::InputFile file(path.nativeStr().toUtf8().c_str());
    const Imf::Header& header = file.header();
    EXPECT_EQ(header.dataWindow(), Imath::Box2i(Imath::V2i(10, 20), Imath::V2i(29, 39)));
    EXPECT_EQ(header.displayWindow(), Imath::Box2i(Imath::V2i(0, 0), Imath::V2i(39, 49)));
    EXPECT_EQ(header.compression(), Imf::ZIP_COMPRESSION);
    EXPECT_EQ(header.lineOrder(), Imf::INCREASING_Y);
    EXPECT_EQ(header.channels().findChannel("id")->type, Imf::UINT);
    EXPECT_EQ(header.channels().findChannel("Shadows.R")->type, Imf::FLOAT);
    ASSERT_NE(header.findTypedAttribute<Imf::IntAttribute>("Gr__e"), nullptr);
    EXPECT_EQ(header.findTypedAttribute<Imf::IntAttribute>("Gr__e")->value(), 1);
    EXPECT_EQ(header.findTypedAttribute<Imf::StringAttribute>("label")->value(),
              "Gr\xc3\xbc\xc3\x9f"
              "e aus \xe6\x9d\xb1\xe4\xba\xac \xe2\x80\x94 \"quoted\"");
}

TEST(ExrFile, HalfChannelsReadAsFloatsAndPlainExrIsNoVxrImage) {
    TemporaryFolder folder;
    const Io::Path path = folder.path() / Io::Path(u"half.exr");
    {
        Imf::Header header(4, 1);
        std::vector<half> values = {half(0.5f), half(-2.f), half(65504.f), half(1e-7f)};
        Imf::FrameBuffer frameBuffer;
        for (const char* name : {"R", "G", "B"}) {
            header.channels().insert(name, Imf::Channel(Imf::HALF));
            frameBuffer.insert(name, Imf::Slice(Imf::HALF, reinterpret_cast<char*>(values.data()), 2, 8));
        }
        Imf::OutputFile file(path.nativeStr().toUtf8().c_str(), header);
        file.setFrameBuffer(frameBuffer);
        file.writePixels(1);
    }
    const auto loaded = ExrLoader(true).load(path);
    ASSERT_TRUE(loaded.has_value()) << loaded.error();
    const Stack<float> expected = {0.5f, -2.f, 65504.f, float(half(1e-7f))};
    EXPECT_EQ(loaded->findChannel<float>(u"G")->data, expected);
    EXPECT_EQ(loaded->findAttribute<float>(u"gamma")->value, 1.f);
    EXPECT_FALSE(loaded->isVxrImage());
}

TEST(ExrFile, BrokenFilesGiveReadableTexts) {
    TemporaryFolder folder;
    const auto failure = [](const Io::Path& path) {
        const auto loaded = ExrLoader(true).load(path);
        return loaded.has_value() ? String(u"(loaded)") : loaded.error();
    };

    const Io::Path missing = folder.path() / Io::Path(u"missing.vxr");
    EXPECT_EQ(failure(missing),
              u"Cannot operate with image file " + quoted(missing) + u". No such file or directory.");

    const Io::Path empty = folder.path() / Io::Path(u"empty.vxr");
    writeBytes(empty, "");
    EXPECT_EQ(failure(empty), u"Cannot read image file " + quoted(empty) +
                                  u". Early end of file: read 0 out of 4 requested bytes.");

    const Io::Path text = folder.path() / Io::Path(u"text.exr");
    writeBytes(text, std::string(200, 'x'));
    EXPECT_EQ(failure(text),
              u"Cannot read image file " + quoted(text) + u". File is not a supported image file.");

    const Io::Path whole = folder.path() / Io::Path(u"whole.vxr");
    ASSERT_EQ(ExrSaver(false).save(richImage({0, 0, 64, 64}, {0, 0, 64, 64}), whole), true);
    const std::string bytes = readBytes(whole);
    const Io::Path truncated = folder.path() / Io::Path(u"truncated.vxr");
    writeBytes(truncated, bytes.substr(0, bytes.size() * 3 / 4));
    const String pixelsCut = failure(truncated);
    EXPECT_TRUE(
        pixelsCut.startsWith(u"Error reading pixel data from image file " + quoted(truncated) + u". "))
        << pixelsCut;
    EXPECT_TRUE(pixelsCut.endsWith(u".")) << pixelsCut;
    // The loader checks the header's sizes against the file before OpenEXR reads it.
    writeBytes(truncated, bytes.substr(0, 100));
    EXPECT_EQ(failure(truncated), u"Cannot operate with image file " + quoted(truncated) +
                                      u". File stores a damaged header.\n\nThe file ends inside its header.");
}

TEST(ExrFile, FilesThatDoNotFitTheImageModelAreRefused) {
    TemporaryFolder folder;
    const Io::Path path = folder.path() / Io::Path(u"odd.exr");
    const auto failure = [&] {
        const auto loaded = ExrLoader(false).load(path);
        return loaded.has_value() ? String(u"(loaded)") : loaded.error();
    };
    // The loader's own texts get the file named in front, like any other failure.
    const String invalid = u"Cannot operate with image file " + quoted(path) + u". " + INVALID_IMAGE;
    const String noBeauty = u"Cannot operate with image file " + quoted(path) + u". " + NO_BEAUTY;
    const Imath::Box2i inner(Imath::V2i(2, 2), Imath::V2i(5, 5));
    const Imath::Box2i outer(Imath::V2i(0, 0), Imath::V2i(7, 7));
    const Imath::Box2i shifted(Imath::V2i(4, 4), Imath::V2i(9, 9));

    writeWithOpenExr(path, outer, outer, {"R", "G", "B", "Z"}, Imf::FLOAT, 2);
    EXPECT_EQ(failure(), invalid) << "subsampled channels do not cover the data window";
    writeWithOpenExr(path, shifted, inner, {"R", "G", "B"}, Imf::FLOAT);
    EXPECT_EQ(failure(), invalid) << "windows that only overlap";
    writeWithOpenExr(path, outer, inner, {"Y"}, Imf::HALF);
    EXPECT_EQ(failure(), noBeauty);
    writeWithOpenExr(path, outer, inner, {"R", "G", "B"}, Imf::UINT);
    EXPECT_EQ(failure(), noBeauty) << "integer colour";

    writeWithOpenExr(path, inner, outer, {"R", "G", "B"}, Imf::HALF);
    const auto smallDisplay = ExrLoader(false).load(path);
    ASSERT_TRUE(smallDisplay.has_value()) << smallDisplay.error();
    EXPECT_EQ(smallDisplay->getDisplayWindow(), (Bucket{2, 2, 6, 6}));
    EXPECT_EQ(smallDisplay->getDataWindow(), (Bucket{0, 0, 8, 8}));
}

TEST(ExrFile, SaveFailuresAreReadable) {
    TemporaryFolder folder;
    const ChannelImage image = richImage({0, 0, 4, 4}, {0, 0, 4, 4});
    const Io::Path noFolder = folder.path() / Io::Path(u"no/such/folder.vxr");
    EXPECT_EQ(ExrSaver(true).save(image, noFolder).error(),
              u"Cannot operate with image file " + quoted(noFolder) + u". No such file or directory.");

    ChannelImage unnamed = image;
    unnamed.addChannel<float>(String()).resize(4, 4);
    EXPECT_EQ(ExrSaver(true).save(unnamed, folder.path() / Io::Path(u"a.vxr")).error(),
              u"Cannot operate with image file " + quoted(folder.path() / Io::Path(u"a.vxr")) +
                  u". File channels must have non-empty names.");

    ChannelImage misfit = image;
    misfit.findChannel<float>(u"R")->resize(3, 4);
    const auto result = ExrSaver(true).save(misfit, folder.path() / Io::Path(u"b.vxr"));
    ASSERT_FALSE(result.has_value());
    EXPECT_TRUE(result.error().contains(u"STOP@base/image/ExrSaver.cpp(")) << result.error();
}
