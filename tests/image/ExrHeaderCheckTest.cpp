#include <filesystem>
#include <fstream>
#include <string>

#include <gtest/gtest.h>

#include "base/image/ExrHeaderCheck.h"
#include "base/image/ExrLoader.h"
#include "base/image/ImageMemoryLimit.h"
#include "base/image/ExrSaver.h"
#include "tests/foundation/TemporaryFolder.h"

using namespace Vespra;

namespace {

std::string readBytes(const std::filesystem::path& path) {
    std::ifstream file(path, std::ios::binary);
    EXPECT_TRUE(file.good()) << path;
    return std::string(std::istreambuf_iterator<char>(file), std::istreambuf_iterator<char>());
}

class ExrHeaderCheck : public ::testing::Test {
protected:
    Io::Path path(const char* name) const { return folder.path() / Io::Path(String::fromUtf8(name)); }

    Io::Path write(const char* name, const std::string& bytes) const {
        std::ofstream(path(name).std(), std::ios::binary) << bytes;
        return path(name);
    }

    /// A picture of `width` x `height` pixels in R, G and B, saved by the saver.
    std::string savedImage(std::int32_t width, std::int32_t height) const {
        ChannelImage image(Bucket::fromSize(width, height), Bucket::fromSize(width, height), 1.f);
        for (const char16_t* name : {u"R", u"G", u"B"}) {
            image.addChannel<float>(name).resize(std::uint32_t(width), std::uint32_t(height));
        }
        EXPECT_TRUE(ExrSaver(false).save(image, path("saved.exr")).has_value());
        return readBytes(path("saved.exr").std());
    }

    static String failureOf(const Io::Path& file) {
        const Expected<ChannelImage, String> loaded = ExrLoader(false).load(file);
        EXPECT_FALSE(loaded.has_value());
        return loaded ? String() : loaded.error();
    }

    void TearDown() override { setMaxImageBytes(0); }

    TemporaryFolder folder;
};

/// Sets the last row of the data window of a saved file, as a damaged header would give it.
void setLastRow(std::string& bytes, std::int32_t row) {
    const std::string key("dataWindow\0box2i\0", 17);
    const std::size_t at = bytes.find(key);
    ASSERT_NE(at, std::string::npos);
    // The attribute's size, then x0, y0, x1 and y1.
    const std::size_t lastRow = at + key.size() + 4 + 12;
    for (int i = 0; i < 4; ++i) {
        bytes[lastRow + std::size_t(i)] = char((std::uint32_t(row) >> (8 * i)) & 0xff);
    }
}

} // namespace

TEST_F(ExrHeaderCheck, AnAttributeLongerThanTheFileIsRefusedBeforeOpenExrAllocatesIt) {
    // Found by fuzzing: a string attribute in a file of 547 bytes claimed 2003042323 bytes, and
    // OpenEXR allocated them all before reading them.
    const Io::Path fuzzed =
        write("fuzzed.exr", readBytes("fuzz/regressions/exr/string-attribute-claims-2-gib.exr"));
    EXPECT_EQ(failureOf(fuzzed), u"Cannot operate with image file \"" + fuzzed.nativeStr() +
                                     u"\". File stores a damaged header.\n\nIts attribute \"capDate\" claims "
                                     u"2003042323 bytes, more than the 520 bytes left in the file.");
}

TEST_F(ExrHeaderCheck, AHeaderCutShortIsRefused) {
    const std::string whole = savedImage(8, 4);
    // Inside the name of the first attribute, and inside the channel list.
    for (const std::size_t length : {12, 40}) {
        const Io::Path cut = write("cut.exr", whole.substr(0, length));
        EXPECT_EQ(failureOf(cut),
                  u"Cannot operate with image file \"" + cut.nativeStr() +
                      u"\". File stores a damaged header.\n\nThe file ends inside its header.");
    }
}

TEST_F(ExrHeaderCheck, MoreRowsThanTheFileCanHoldChunksForAreRefused) {
    std::string bytes = savedImage(8, 4);
    // ZIP packs 16 rows into a chunk, and each chunk has an 8-byte entry in the table after the
    // header: 16 million rows need an 8 MB table.
    setLastRow(bytes, 16'000'000 - 1);
    const Io::Path damaged = write("tall.exr", bytes);
    const String failure = failureOf(damaged);
    EXPECT_TRUE(
        failure.startsWith(u"Cannot operate with image file \"" + damaged.nativeStr() +
                           u"\". File stores incomplete pixel data.\n\nIts pixels are stored in 1000000 "
                           u"chunks, and the table of where they lie alone needs more than the "))
        << failure.toUtf8();
    EXPECT_TRUE(failure.endsWith(u" bytes that follow the header.")) << failure.toUtf8();
}

TEST_F(ExrHeaderCheck, AnImageLargerThanTheLimitIsRefusedAndOneWithinItLoads) {
    const Io::Path saved = write("image.exr", savedImage(1024, 512));
    // Three planes of 1024 x 512 floats: 6 MiB.
    setMaxImageBytes(3 * 1024 * 512 * 4);
    EXPECT_TRUE(ExrLoader(false).load(saved).has_value());
    setMaxImageBytes(4 << 20);
    EXPECT_EQ(failureOf(saved),
              u"Cannot operate with image file \"" + saved.nativeStr() +
                  u"\". File stores an image too large to load.\n\nIts 3 channels of 1024 x 512 "
                  u"pixels need 6.0 MiB of memory, more than the 4.0 MiB an image may take.");
}
