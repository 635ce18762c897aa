#include <random>
#include <string>

#include <gtest/gtest.h>

#include "base/image/ExrLoader.h"
#include "base/image/ExrSaver.h"
#include "foundation/io/Streams.h"
#include "tests/foundation/FileSystemFaults.h"
#include "tests/foundation/TemporaryFolder.h"

using namespace Vespra;
using TestFiles::listNames;
using TestFiles::readBytes;

namespace {

/// A beauty of random values, which no compression makes much smaller: 12 bytes a pixel.
ChannelImage noiseImage(int width, int height, std::uint32_t seed) {
    const Bucket window = Bucket::fromSize(width, height);
    ChannelImage image(window, window, 1.f);
    std::mt19937 random(seed);
    std::uniform_real_distribution<float> value(0.f, 4.f);
    for (const char16_t* name : {u"R", u"G", u"B"}) {
        Channel<float>& channel = image.addChannel<float>(name);
        channel.resize(window.size());
        for (float& v : channel.data) {
            v = value(random);
        }
    }
    return image;
}

String quoted(const Io::Path& path) {
    return u"\"" + path.nativeStr() + u"\"";
}

const Stack<float>& red(const ChannelImage& image) {
    return image.findChannel<float>(u"R")->data;
}

} // namespace

TEST(ExrSaverAtomic, AFullDiskKeepsTheOldRenderAndSaysSo) {
    const SmallFileSystem disk(64 * 1024);
    if (!disk.mounted()) {
        GTEST_SKIP() << "No full disk to test with: " << disk.whyNot();
    }
    const Io::Path path = disk.path() / Io::Path(u"existing.vxr");
    ASSERT_EQ(ExrSaver(true).save(noiseImage(8, 8, 1), path), true);
    const std::string old = readBytes(path);

    // About 780 KB, more than the disk holds.
    const auto failed = ExrSaver(true).save(noiseImage(256, 256, 2), path);
    ASSERT_FALSE(failed);
    // OpenEXR tells which part failed; the file named is the one chosen, not the temporary one.
    EXPECT_TRUE(failed.error().contains(quoted(path) + u". ")) << failed.error();
    EXPECT_TRUE(failed.error().endsWith(u". No space left on device.")) << failed.error();
    EXPECT_EQ(readBytes(path), old);
    EXPECT_EQ(listNames(disk.path()), std::vector<std::string>{"existing.vxr"});
    EXPECT_TRUE(ExrLoader(false).load(path).has_value());
}

TEST(ExrSaverAtomic, ASaveFailingHalfWayKeepsTheOldRender) {
    TemporaryFolder folder;
    const Io::Path path = folder.path() / Io::Path(u"existing.vxr");
    ASSERT_EQ(ExrSaver(false).save(noiseImage(8, 8, 1), path), true);
    const std::string old = readBytes(path);
    {
        // OpenEXR gets well into the pixels before the limit stops it.
        const FileSizeLimit limit(64 * 1024);
        const auto failed = ExrSaver(true).save(noiseImage(256, 256, 2), path);
        ASSERT_FALSE(failed);
        EXPECT_TRUE(failed.error().contains(quoted(path) + u". ")) << failed.error();
        EXPECT_TRUE(failed.error().endsWith(u". File too large.")) << failed.error();
    }
    EXPECT_EQ(readBytes(path), old);
    EXPECT_EQ(listNames(folder.path()), std::vector<std::string>{"existing.vxr"});
}

TEST(ExrSaverAtomic, SavingOverTheFileThatWasLoadedWorks) {
    TemporaryFolder folder;
    const Io::Path path = folder.path() / Io::Path(u"render.vxr");
    ASSERT_EQ(ExrSaver(false).save(noiseImage(64, 48, 3), path), true);
    const std::string old = readBytes(path);

    Expected<ChannelImage, String> loaded = ExrLoader(true).load(path);
    ASSERT_TRUE(loaded.has_value()) << loaded.error();
    for (float& v : loaded->findChannel<float>(u"R")->data) {
        v = -v;
    }
    // A reader that still has the file open, as one reading lazily would.
    Io::FileInputStream reader(path);
    ASSERT_TRUE(reader.isOpen());

    ASSERT_EQ(ExrSaver(true).save(*loaded, path), true);
    const Expected<ChannelImage, String> again = ExrLoader(false).load(path);
    ASSERT_TRUE(again.has_value()) << again.error();
    EXPECT_EQ(red(*again), red(*loaded));
    EXPECT_EQ(listNames(folder.path()), std::vector<std::string>{"render.vxr"});

    std::string stillOld(old.size(), '\0');
    EXPECT_EQ(reader.read(stillOld.data(), stillOld.size()), old.size());
    EXPECT_EQ(stillOld, old);
}

TEST(ExrSaverAtomic, AReadOnlyFolderIsRefusedInTheSystemsWords) {
    TemporaryFolder folder;
    const Io::Path locked = folder.path() / Io::Path(u"locked");
    std::filesystem::create_directory(locked.std());
    const Io::Path path = locked / Io::Path(u"render.vxr");
    const WriteProtection protection(locked);
    if (!protection.works()) {
        GTEST_SKIP() << "The folder stays writable for this user.";
    }
    EXPECT_EQ(ExrSaver(true).save(noiseImage(8, 8, 1), path).error(),
              u"Cannot operate with image file " + quoted(path) + u". Permission denied.");
    EXPECT_TRUE(listNames(locked).empty());
}
