#include <filesystem>
#include <fstream>
#include <limits>

#include <gtest/gtest.h>

#include "base/image/ExrLoader.h"
#include "base/image/ExrSaver.h"
#include "tests/foundation/TemporaryFolder.h"

using namespace Vespra;

namespace {

const String INVALID_IMAGE =
    u"File stores an invalid image.\n\nIt either does not have all required and properly defined attributes "
    u"(data and display windows, gamma), or its pixel data are incomplete.";

String failureOf(const Io::Path& path) {
    const Expected<ChannelImage, String> loaded = ExrLoader(false).load(path);
    EXPECT_FALSE(loaded.has_value());
    return loaded ? String() : loaded.error();
}

} // namespace

TEST(ExrGamma, AGammaThatIsNoNumberMakesTheImageInvalid) {
    // Found by fuzzing: a gamma of minus infinity loaded, and then the image fitted no merge, not
    // even one with itself, which said that its windows were the trouble.
    const std::filesystem::path fuzzed = "fuzz/regressions/exr/gamma-minus-infinity.exr";
    ASSERT_TRUE(std::filesystem::exists(fuzzed));
    EXPECT_EQ(failureOf(Io::Path(fuzzed)),
              u"Cannot operate with image file \"" + Io::Path(fuzzed).nativeStr() + u"\". " + INVALID_IMAGE);

    TemporaryFolder folder;
    const Io::Path path = folder.path() / Io::Path(u"gamma.exr");
    for (const float gamma :
         {std::numeric_limits<float>::quiet_NaN(), std::numeric_limits<float>::infinity()}) {
        ChannelImage image(Bucket::fromSize(4, 2), Bucket::fromSize(4, 2), gamma);
        for (const char16_t* name : {u"R", u"G", u"B"}) {
            image.addChannel<float>(name).resize(4, 2);
        }
        ASSERT_TRUE(ExrSaver(false).save(image, path).has_value());
        EXPECT_EQ(failureOf(path),
                  u"Cannot operate with image file \"" + path.nativeStr() + u"\". " + INVALID_IMAGE);
    }
}

TEST(ExrGamma, AnyFiniteGammaLoads) {
    TemporaryFolder folder;
    const Io::Path path = folder.path() / Io::Path(u"gamma.exr");
    ChannelImage image(Bucket::fromSize(4, 2), Bucket::fromSize(4, 2), 2.2f);
    for (const char16_t* name : {u"R", u"G", u"B"}) {
        image.addChannel<float>(name).resize(4, 2);
    }
    ASSERT_TRUE(ExrSaver(false).save(image, path).has_value());
    const Expected<ChannelImage, String> loaded = ExrLoader(false).load(path);
    ASSERT_TRUE(loaded.has_value()) << loaded.error().toUtf8();
    EXPECT_EQ(loaded->findAttribute<float>(u"gamma")->value, 2.2f);
}
