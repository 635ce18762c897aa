#include <cmath>
#include <filesystem>
#include <fstream>
#include <functional>
#include <limits>
#include <stdexcept>

#include <Imath/half.h>
#include <OpenImageIO/imageio.h>
#include <gtest/gtest.h>

#include "foundation/image/ImageFile.h"
#include "foundation/io/Files.h"
#include "tests/foundation/TemporaryFolder.h"

using namespace Vespra;

namespace {

constexpr float NAN_VALUE = std::numeric_limits<float>::quiet_NaN();

/// Every lane, alpha included, meets each kind of value: below 0, 0, between, 1, above 1 and NaN.
BitmapImpl<Rgb> makeTestBitmap() {
    BitmapImpl<Rgb> bitmap(3, 2);
    bitmap(0, 0) = Rgb(-0.5f, 0.f, 0.1234f, 0.25f);
    bitmap(1, 0) = Rgb(0.6f, 0.999f, 1.f, 1.5f);
    bitmap(2, 0) = Rgb(2.5f, NAN_VALUE, 0.75f, NAN_VALUE);
    bitmap(0, 1) = Rgb(0.5f, 0.0031f, 0.3333f, -0.2f);
    bitmap(1, 1) = Rgb(NAN_VALUE, 7.f, 0.01f, 0.8f);
    bitmap(2, 1) = Rgb(0.4f, 0.9f, 1e-4f, 1.f);
    return bitmap;
}

struct ReadImage {
    int channels = 0;
    OIIO::TypeDesc format;
    String compression;
    std::vector<float> values;
};

ReadImage readImage(const Io::Path& path) {
    OIIO::ImageSpec config;
    config.attribute("oiio:UnassociatedAlpha", 1);
    auto input = OIIO::ImageInput::open(path.std().native(), &config);
    if (!input) {
        ADD_FAILURE() << "cannot read " << path.std() << ": " << OIIO::geterror();
        return {};
    }
    const OIIO::ImageSpec& spec = input->spec();
    ReadImage image{
        spec.nchannels, spec.format, String::fromUtf8(spec.get_string_attribute("compression")), {}};
    image.values.resize(spec.image_pixels() * std::size_t(spec.nchannels));
    EXPECT_TRUE(input->read_image(0, 0, 0, -1, OIIO::TypeDesc::FLOAT, image.values.data()));
    return image;
}

/// The integer a lane must be stored as, worked out in double.
std::function<float(float)> quantisedTo(double max) {
    return [max](float value) {
        const double clamped = std::isnan(value) ? 0. : value < 0.f ? 0. : value > 1.f ? 1. : value;
        return float(std::lround(clamped * max));
    };
}

float asHalf(float value) {
    return float(half(value));
}

/// Lane by lane, with NaN meeting only NaN; `stored` recovers what the file holds from what was read.
void expectPixels(
    const ReadImage& image, const BitmapImpl<Rgb>& bitmap, int channels,
    const std::function<float(float)>& expected,
    const std::function<float(float)>& stored = [](float v) { return v; }) {
    ASSERT_EQ(image.channels, channels);
    ASSERT_EQ(image.values.size(), std::size_t(bitmap.width() * bitmap.height() * channels));
    for (int y = 0; y < bitmap.height(); ++y) {
        for (int x = 0; x < bitmap.width(); ++x) {
            for (int channel = 0; channel < channels; ++channel) {
                const float want = expected(bitmap(x, y)[channel]);
                const float got =
                    stored(image.values[std::size_t((y * bitmap.width() + x) * channels + channel)]);
                if (std::isnan(want)) {
                    EXPECT_TRUE(std::isnan(got)) << x << "," << y << " channel " << channel;
                } else {
                    EXPECT_EQ(got, want) << x << "," << y << " channel " << channel;
                }
            }
        }
    }
}

/// Integer files are read back as fractions of their largest value.
void expectQuantised(const ReadImage& image, const BitmapImpl<Rgb>& bitmap, int channels, double max) {
    expectPixels(image, bitmap, channels, quantisedTo(max),
                 [max](float v) { return float(std::lround(v * max)); });
}

Expected<bool, String> save(const Io::Path& path, const BitmapImpl<Rgb>& bitmap, bool withAlpha,
                            ImageFormat format, int bitDepth = 0, const String& compression = {}) {
    return saveImage(path, RgbBitmapIterator(bitmap, withAlpha), false, format, {bitDepth, compression});
}

/// Fails on its third row, like a source that loses its data half way.
class FailingIterator : public Abstract::BitmapIterator {
public:
    std::int32_t width() const override { return 4; }
    std::int32_t height() const override { return 200; }
    std::int32_t channels() const override { return 3; }
    void readRow(std::int32_t y, float* out) const override {
        if (y == 2) {
            throw std::runtime_error("the source went away");
        }
        std::fill_n(out, 12, 0.5f);
    }
};

std::string readBytes(const Io::Path& path) {
    std::ifstream stream(path.std(), std::ios::binary);
    return std::string(std::istreambuf_iterator<char>(stream), {});
}

} // namespace

TEST(ImageFile, IntegerFormatsClampAndQuantise) {
    TemporaryFolder folder;
    const BitmapImpl<Rgb> bitmap = makeTestBitmap();
    struct Case {
        const char16_t* name;
        ImageFormat format;
        int bitDepth;
        OIIO::TypeDesc stored;
        bool sixteenBits;
    };
    for (const Case& c : {Case{u"a.png", ImageFormat::PNG, 0, OIIO::TypeDesc::UINT8, false},
                          Case{u"b.png", ImageFormat::PNG, 16, OIIO::TypeDesc::UINT16, true},
                          Case{u"c.tif", ImageFormat::TIFF, 8, OIIO::TypeDesc::UINT8, false},
                          Case{u"d.tif", ImageFormat::TIFF, 0, OIIO::TypeDesc::UINT16, true},
                          Case{u"e.tga", ImageFormat::TGA, 0, OIIO::TypeDesc::UINT8, false}}) {
        SCOPED_TRACE(String(c.name).toUtf8());
        const Io::Path path = folder.path() / c.name;
        ASSERT_EQ(save(path, bitmap, true, c.format, c.bitDepth), true);
        const ReadImage image = readImage(path);
        EXPECT_EQ(image.format, c.stored);
        expectQuantised(image, bitmap, 4, c.sixteenBits ? 65535. : 255.);
    }

    // Without alpha asked for, the file has three channels.
    const Io::Path opaque = folder.path() / u"opaque.png";
    ASSERT_EQ(save(opaque, bitmap, false, ImageFormat::PNG), true);
    expectQuantised(readImage(opaque), bitmap, 3, 255.);
    const Io::Path bmp = folder.path() / u"opaque.bmp";
    ASSERT_EQ(save(bmp, bitmap, false, ImageFormat::BMP), true);
    expectQuantised(readImage(bmp), bitmap, 3, 255.);
}

TEST(ImageFile, FloatFormatsKeepValues) {
    TemporaryFolder folder;
    const BitmapImpl<Rgb> bitmap = makeTestBitmap();

    const Io::Path tiff = folder.path() / u"float.tif";
    ASSERT_EQ(save(tiff, bitmap, true, ImageFormat::TIFF, 32), true);
    EXPECT_EQ(readImage(tiff).format, OIIO::TypeDesc::FLOAT);
    expectPixels(readImage(tiff), bitmap, 4, [](float v) { return v; });

    const Io::Path exr = folder.path() / u"float.exr";
    ASSERT_EQ(save(exr, bitmap, true, ImageFormat::EXR), true);
    const ReadImage exrImage = readImage(exr);
    EXPECT_EQ(exrImage.format, OIIO::TypeDesc::FLOAT);
    EXPECT_EQ(exrImage.compression, String(u"zip"));
    expectPixels(exrImage, bitmap, 4, [](float v) { return v; });

    const Io::Path halfExr = folder.path() / u"half.exr";
    ASSERT_EQ(save(halfExr, bitmap, false, ImageFormat::EXR, 16), true);
    const ReadImage halfImage = readImage(halfExr);
    EXPECT_EQ(halfImage.format, OIIO::TypeDesc::HALF);
    expectPixels(halfImage, bitmap, 3, asHalf);

    // RGBE keeps about two decimal digits of positive values and has no alpha; a NaN spoils its pixel.
    const Io::Path hdr = folder.path() / u"radiance.hdr";
    ASSERT_EQ(save(hdr, bitmap, true, ImageFormat::HDR), true);
    const ReadImage hdrImage = readImage(hdr);
    ASSERT_EQ(hdrImage.channels, 3);
    EXPECT_NEAR(hdrImage.values[0 * 3 + 2], 0.1234f, 0.1234f / 100);
    EXPECT_NEAR(hdrImage.values[2 * 3 + 0], 2.5f, 2.5f / 100);
    EXPECT_NEAR(hdrImage.values[5 * 3 + 1], 0.9f, 0.9f / 100);
}

TEST(ImageFile, AlphaFollowsTheSettings) {
    TemporaryFolder folder;
    const BitmapImpl<Rgb> bitmap = makeTestBitmap();
    struct Case {
        const char16_t* name;
        ImageFormat format;
        int bitDepth;
        /// The largest stored integer; 0 for float data read back as written.
        double max;
    };
    for (const Case& c :
         {Case{u"png", ImageFormat::PNG, 16, 65535.}, Case{u"tif", ImageFormat::TIFF, 8, 255.},
          Case{u"exr", ImageFormat::EXR, 32, 0.}, Case{u"tga", ImageFormat::TGA, 0, 255.}}) {
        for (const bool alpha : {false, true}) {
            SCOPED_TRACE(String(c.name).toUtf8() + (alpha ? " with alpha" : " without alpha"));
            const Io::Path path = folder.path() / (String(alpha ? u"with." : u"without.") + c.name);
            ImageSaveSettings settings;
            settings.bitDepth = c.bitDepth;
            settings.alpha = alpha;
            ASSERT_EQ(saveImage(path, RgbBitmapIterator(bitmap, true), false, c.format, settings), true);
            const ReadImage image = readImage(path);
            const int channels = alpha ? 4 : 3;
            if (c.max > 0.) {
                expectQuantised(image, bitmap, channels, c.max);
            } else {
                expectPixels(image, bitmap, channels, [](float v) { return v; });
            }
        }
    }
}

TEST(ImageFile, CompressionAndJpegQuality) {
    TemporaryFolder folder;
    BitmapImpl<Rgb> noise(64, 64);
    std::uint32_t seed = 12345;
    for (Rgb& pixel : noise.view()) {
        for (int channel = 0; channel < 3; ++channel) {
            seed = seed * 1664525u + 1013904223u;
            pixel[channel] = float(seed >> 8) / float(1 << 24);
        }
    }
    const Io::Path low = folder.path() / u"low.jpg";
    const Io::Path high = folder.path() / u"high.jpg";
    ASSERT_EQ(saveImage(low, RgbBitmapIterator(noise, true), false, ImageFormat::JPEG, {0, {}, 10}), true);
    ASSERT_EQ(saveImage(high, RgbBitmapIterator(noise, true), false, ImageFormat::JPEG, {0, {}, 95}), true);
    EXPECT_LT(std::filesystem::file_size(low.std()) * 2, std::filesystem::file_size(high.std()));
    EXPECT_EQ(readImage(high).channels, 3);

    // A flat colour survives JPEG within two steps.
    const BitmapImpl<Rgb> flat(16, 16, Rgb(0.2f, 0.5f, 0.8f));
    ASSERT_EQ(save(high, flat, false, ImageFormat::JPEG), true);
    const ReadImage flatImage = readImage(high);
    EXPECT_NEAR(flatImage.values[0], 0.2f, 2.5f / 255);
    EXPECT_NEAR(flatImage.values[1], 0.5f, 2.5f / 255);
    EXPECT_NEAR(flatImage.values[2], 0.8f, 2.5f / 255);

    const Io::Path piz = folder.path() / u"piz.exr";
    ASSERT_EQ(save(piz, noise, false, ImageFormat::EXR, 0, u"piz"), true);
    EXPECT_EQ(readImage(piz).compression, String(u"piz"));
    const Io::Path lzw = folder.path() / u"lzw.tif";
    ASSERT_EQ(save(lzw, noise, false, ImageFormat::TIFF, 0, u"lzw"), true);
    EXPECT_EQ(readImage(lzw).compression, String(u"lzw"));
    const Io::Path tiffZip = folder.path() / u"zip.tif";
    ASSERT_EQ(save(tiffZip, noise, false, ImageFormat::TIFF), true);
    EXPECT_EQ(readImage(tiffZip).compression, String(u"zip"));

    const Io::Path fast = folder.path() / u"fast.png";
    const Io::Path small = folder.path() / u"small.png";
    const BitmapImpl<Rgb> gradient = [] {
        BitmapImpl<Rgb> bitmap(256, 64);
        for (int y = 0; y < 64; ++y) {
            for (int x = 0; x < 256; ++x) {
                bitmap(x, y) = Rgb(float(x) / 255.f, float((x * y) % 7) / 255.f, 0.5f);
            }
        }
        return bitmap;
    }();
    ASSERT_EQ(save(fast, gradient, false, ImageFormat::PNG, 0, u"zip:0"), true);
    ASSERT_EQ(save(small, gradient, false, ImageFormat::PNG, 0, u"zip:9"), true);
    EXPECT_LT(std::filesystem::file_size(small.std()), std::filesystem::file_size(fast.std()));
}

TEST(ImageFile, FailuresNameTheFileAndKeepWhatExists) {
    TemporaryFolder folder;
    const BitmapImpl<Rgb> bitmap = makeTestBitmap();

    const Io::Path missing = folder.path() / u"no such folder" / u"a.png";
    EXPECT_EQ(save(missing, bitmap, false, ImageFormat::PNG).error(),
              u"Cannot save image \"" + missing.nativeStr() + u"\": the folder \"" +
                  missing.parentDirectory().nativeStr() + u"\" does not exist.");

    // The pixels are written, but a folder of the target's name refuses to be replaced.
    const Io::Path occupied = folder.path() / u"taken.png";
    std::filesystem::create_directory(occupied.std());
    const Expected<bool, String> refused = save(occupied, bitmap, false, ImageFormat::PNG);
    ASSERT_FALSE(refused);
    const String prefix = u"Cannot save image \"" + occupied.nativeStr() + u"\": ";
    EXPECT_TRUE(refused.error().startsWith(prefix)) << refused.error();
    EXPECT_GT(refused.error().length(), prefix.length() + 1);
    EXPECT_TRUE(refused.error().endsWith(u".") && !refused.error().endsWith(u".."));
    EXPECT_TRUE(Io::dirExists(occupied));
    std::filesystem::remove(occupied.std());

    const Io::Path unknown = folder.path() / u"a.xyz";
    EXPECT_EQ(save(unknown, bitmap, false, ImageFormat::UNKNOWN).error(),
              u"Cannot save image \"" + unknown.nativeStr() + u"\": The image format is unknown.");
    EXPECT_EQ(save(unknown, bitmap, false, ImageFormat::PNG, 12).error(),
              u"Cannot save image \"" + unknown.nativeStr() + u"\": PNG supports bit depths 8 and 16.");
    EXPECT_FALSE(save(folder.path() / u"empty.png", BitmapImpl<Rgb>(), false, ImageFormat::PNG));

    // A save failing half way leaves the old file as it was and no temporary file behind.
    const Io::Path existing = folder.path() / u"keep.tif";
    ASSERT_EQ(save(existing, bitmap, false, ImageFormat::TIFF), true);
    const std::string before = readBytes(existing);
    const Expected<bool, String> failed =
        saveImage(existing, FailingIterator(), false, ImageFormat::TIFF, ImageSaveSettings());
    ASSERT_FALSE(failed);
    EXPECT_EQ(failed.error(), u"Cannot save image \"" + existing.nativeStr() + u"\": the source went away.");
    EXPECT_EQ(readBytes(existing), before);

    // A successful save replaces the file, again without leftovers.
    ASSERT_EQ(save(existing, BitmapImpl<Rgb>(5, 5, Rgb(0.5f)), false, ImageFormat::TIFF), true);
    EXPECT_EQ(readImage(existing).values.size(), 5u * 5u * 3u);
    EXPECT_EQ(Io::getFiles(folder.path()).size(), 1u);
}

TEST(ImageFile, FormatsByFileName) {
    EXPECT_EQ(getImageFormatFromFileName(u"a/b.png"), ImageFormat::PNG);
    EXPECT_EQ(getImageFormatFromFileName(u"B.JPG"), ImageFormat::JPEG);
    EXPECT_EQ(getImageFormatFromFileName(u"b.JpEg"), ImageFormat::JPEG);
    EXPECT_EQ(getImageFormatFromFileName(u"b.tif"), ImageFormat::TIFF);
    EXPECT_EQ(getImageFormatFromFileName(u"b.TIFF"), ImageFormat::TIFF);
    EXPECT_EQ(getImageFormatFromFileName(u"b.exr"), ImageFormat::EXR);
    EXPECT_EQ(getImageFormatFromFileName(u"b.bmp"), ImageFormat::BMP);
    EXPECT_EQ(getImageFormatFromFileName(u"b.Tga"), ImageFormat::TGA);
    EXPECT_EQ(getImageFormatFromFileName(u"b.HDR"), ImageFormat::HDR);
    EXPECT_EQ(getImageFormatFromFileName(u"b.gif"), ImageFormat::UNKNOWN);
    EXPECT_EQ(getImageFormatFromFileName(u"png"), ImageFormat::UNKNOWN);
    EXPECT_EQ(getImageFormatFromFileName(u"b.png.txt"), ImageFormat::UNKNOWN);
    for (const char16_t* name : {u"r.vxr", u"r.VEX", u"r.vExR"}) {
        EXPECT_EQ(getImageFormatFromFileName(name), ImageFormat::EXR) << String(name);
        EXPECT_TRUE(isVespraExrFileName(name)) << String(name);
    }
    EXPECT_FALSE(isVespraExrFileName(u"r.exr"));
    EXPECT_FALSE(isVespraExrFileName(u"vxr"));

    EXPECT_EQ(getImageFormatExtension(ImageFormat::JPEG), String(u"jpg"));
    EXPECT_EQ(getImageFormatExtension(ImageFormat::TIFF), String(u"tif"));
    EXPECT_EQ(getImageFormatExtension(ImageFormat::EXR), String(u"exr"));
    EXPECT_EQ(getImageFormatExtension(ImageFormat::UNKNOWN), String());
    EXPECT_EQ(
        getImageFormatsFileDialogFilter(),
        String(u"PNG files (*.png)|*.png|JPEG files (*.jpg;*.jpeg)|*.jpg;*.jpeg|"
               u"TIFF files (*.tif;*.tiff)|*.tif;*.tiff|EXR files (*.exr)|*.exr|BMP files (*.bmp)|*.bmp|"
               u"TGA files (*.tga)|*.tga|HDR files (*.hdr)|*.hdr"));
    EXPECT_TRUE(getImageFormatsFileDialogFilter(true).startsWith(
        u"Vespra EXR files (*.vxr;*.vex;*.vexr)|*.vxr;*.vex;*.vexr|PNG files (*.png)|*.png|"));
}

TEST(ImageFile, SaveSettingsValidation) {
    const auto check = [](ImageFormat format, ImageSaveSettings settings) {
        return validateSaveSettings(format, settings).value_or(u"fine");
    };
    EXPECT_EQ(check(ImageFormat::PNG, {}), u"fine");
    EXPECT_EQ(check(ImageFormat::PNG, {16, u"zip:9"}), u"fine");
    EXPECT_EQ(check(ImageFormat::TIFF, {32, u"packbits"}), u"fine");
    EXPECT_EQ(check(ImageFormat::EXR, {16, u"dwab"}), u"fine");
    EXPECT_EQ(check(ImageFormat::TGA, {8, u"rle"}), u"fine");
    EXPECT_EQ(check(ImageFormat::PNG, {32}), u"PNG supports bit depths 8 and 16.");
    EXPECT_EQ(check(ImageFormat::TIFF, {12}), u"TIFF supports bit depths 8, 16 and 32.");
    EXPECT_EQ(check(ImageFormat::EXR, {8}), u"EXR supports bit depths 16 and 32.");
    EXPECT_EQ(check(ImageFormat::JPEG, {16}), u"JPEG supports bit depth 8.");
    EXPECT_EQ(check(ImageFormat::HDR, {8}), u"HDR supports bit depth 32.");
    EXPECT_EQ(check(ImageFormat::TIFF, {0, u"piz"}),
              u"TIFF supports the compressions none, lzw, zip and packbits.");
    EXPECT_EQ(check(ImageFormat::JPEG, {0, u"zip"}), u"JPEG has no compression to choose.");
    EXPECT_EQ(check(ImageFormat::PNG, {0, u"zip:10"}),
              u"Only the zip compression takes a level, from 0 to 9.");
    EXPECT_EQ(check(ImageFormat::EXR, {0, u"piz:3"}),
              u"Only the zip compression takes a level, from 0 to 9.");
    EXPECT_EQ(check(ImageFormat::PNG, {0, u"zip:"}), u"Only the zip compression takes a level, from 0 to 9.");
    EXPECT_EQ(check(ImageFormat::JPEG, {0, {}, 0}), u"JPEG quality must be between 1 and 100.");
    EXPECT_EQ(check(ImageFormat::JPEG, {0, {}, 101}), u"JPEG quality must be between 1 and 100.");
    EXPECT_EQ(check(ImageFormat::PNG, {0, {}, 0}), u"fine");
    EXPECT_EQ(check(ImageFormat::UNKNOWN, {}), u"The image format is unknown.");
}
