#include <random>

#include <gtest/gtest.h>

#include "foundation/image/ImageFile.h"
#include "tests/foundation/FileSystemFaults.h"

using namespace Vespra;
using TestFiles::listNames;
using TestFiles::readBytes;

namespace {

/// Random colours, which no compression makes much smaller.
BitmapImpl<Rgb> noise(int width, int height) {
    BitmapImpl<Rgb> bitmap(width, height);
    std::mt19937 random(5);
    std::uniform_real_distribution<float> value(0.f, 1.f);
    for (int y = 0; y < height; ++y) {
        for (int x = 0; x < width; ++x) {
            bitmap(x, y) = Rgb(value(random), value(random), value(random));
        }
    }
    return bitmap;
}

Expected<bool, String> save(const Io::Path& path, const BitmapImpl<Rgb>& bitmap, ImageFormat format) {
    return saveImage(path, RgbBitmapIterator(bitmap, false), false, format, ImageSaveSettings());
}

} // namespace

TEST(ImageFileFullDisk, APictureThatDoesNotFitLeavesTheOldOne) {
    const SmallFileSystem disk(64 * 1024);
    if (!disk.mounted()) {
        GTEST_SKIP() << "No full disk to test with: " << disk.whyNot();
    }
    // Each library reports a full disk in its own way, or not at all, and the JPEG one would end
    // the process.
    for (const ImageFormat format :
         {ImageFormat::PNG, ImageFormat::EXR, ImageFormat::TIFF, ImageFormat::JPEG}) {
        const Io::Path path = disk.path() / (u"picture." + getImageFormatExtension(format));
        ASSERT_EQ(save(path, noise(8, 8), format), true);
        const std::string old = readBytes(path);

        // Hundreds of kilobytes of noise.
        const Expected<bool, String> failed = save(path, noise(256, 256), format);
        ASSERT_FALSE(failed) << path.nativeStr();
        EXPECT_EQ(failed.error(),
                  u"Cannot save image \"" + path.nativeStr() + u"\": No space left on device.");
        EXPECT_EQ(readBytes(path), old);
        EXPECT_EQ(listNames(disk.path()), std::vector<std::string>{path.fileName().toUtf8()});
        std::filesystem::remove(path.std());
    }
}
