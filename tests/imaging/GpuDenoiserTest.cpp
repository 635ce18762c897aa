#include <gtest/gtest.h>

#include <cmath>

#include "imaging/CreateDenoiser.h"
#include "imaging/GpuLibraries.h"
#include "imaging/OptixDenoiser.h"
#include "misc/adaptivitydenoising/HotPixelsDenoiser.h"
#include "misc/adaptivitydenoising/NlmDenoiser.h"

namespace Vespra {
namespace {

const String MISSING_PREFIX =
    u"Unable to load required DLLs. Please follow the provided link for more information "
    u"and suggestions on how to fix this issue.\nMissing DLL: ";

TEST(GpuLibrariesTest, AMissingLibraryGivesTheMessageAndTheModeIsNotOffered) {
    const char* const missing[] = {"libm.so.6", "libvespra-no-such-library.so.1", "libc.so.6"};
    const Expected<bool> loaded = loadLibraries(missing, Io::Path());
    ASSERT_FALSE(loaded.has_value());
    EXPECT_EQ(loaded.error(), MISSING_PREFIX + u"libvespra-no-such-library.so.1");
    const char* const present[] = {"libm.so.6"};
    EXPECT_TRUE(loadLibraries(present, Io::Path()).has_value());
    EXPECT_FALSE(loadLibraries(present, Io::Path(u"/nonexistent-folder")).has_value());
    EXPECT_NE(findGpuSymbol(present, "cos"), nullptr);
    EXPECT_EQ(findGpuSymbol(present, "vespraNoSuchSymbol"), nullptr);

    // This machine has no GPU runtime: the check fails with the first library's name, and the
    // factory refuses the mode with that message.
    if (isGpuDenoiserAvailable()) {
        GTEST_SKIP() << "the GPU denoiser runtime is installed here";
    }
    EXPECT_EQ(checkGpuDenoiserLibraries().error(), MISSING_PREFIX + u"liboptix.so.51");
    try {
        createDenoiser(DenoisingMode::NVIDIA_AI, Scheduler::highPriorityInstance(), nullptr, DenoisingData());
        FAIL() << "no exception";
    } catch (const Exception& error) {
        EXPECT_EQ(error.getMessage(), MISSING_PREFIX + u"liboptix.so.51");
    }
}

TEST(GpuLibrariesTest, FactoryMakesTheDenoiserOfEachMode) {
    Scheduler& scheduler = Scheduler::highPriorityInstance();
    EXPECT_EQ(createDenoiser(DenoisingMode::NONE, scheduler, nullptr, DenoisingData()), nullptr);
    EXPECT_EQ(createDenoiser(DenoisingMode::GATHER, scheduler, nullptr, DenoisingData()), nullptr);
    const AutoPtr<IDenoiser> fireflies =
        createDenoiser(DenoisingMode::FIREFLIES, scheduler, nullptr, DenoisingData());
    EXPECT_NE(dynamic_cast<HotPixelsDenoiser*>(fireflies.get()), nullptr);
    const AutoPtr<IDenoiser> full = createDenoiser(DenoisingMode::FULL, scheduler, nullptr, DenoisingData());
    EXPECT_NE(dynamic_cast<NlmDenoiser*>(full.get()), nullptr);
    EXPECT_THROW(createDenoiser(DenoisingMode(7), scheduler, nullptr, DenoisingData()), Exception);
}

TEST(GpuLibrariesTest, ErrorReportsAndConversions) {
    EXPECT_EQ(Optix::versionText(50102), String(u"5.1.2"));
    EXPECT_EQ(Optix::versionText(60005), String(u"6.0.5"));
    EXPECT_EQ(Optix::cudaMemoryErrorText(1), String(u"CUDA error: Invalid value"));
    EXPECT_EQ(Optix::cudaMemoryErrorText(3), String(u"CUDA error: Not initialized"));
    EXPECT_EQ(Optix::cudaMemoryErrorText(4), String(u"CUDA error: Deinitialized"));
    EXPECT_EQ(Optix::cudaMemoryErrorText(201), String(u"CUDA error: Invalid context"));
    EXPECT_EQ(Optix::cudaMemoryErrorText(999), String(u"CUDA error: Unknown error"));

    const String internal =
        u"Internal error in NVIDIA AI Denoiser. Please report this to Vespra support with this info:\n\n";
    bool mismatchReported = false;
    EXPECT_EQ(Optix::errorReport(50102u, u"boom", mismatchReported), internal + u"boom");
    const String mismatch = Optix::errorReport(60005u, u"boom", mismatchReported);
    EXPECT_TRUE(mismatch.contains(u"Running version: 6.0.5, expected version: 5.1.2"));
    EXPECT_TRUE(mismatchReported);
    // The second time the version differs it is an internal error.
    EXPECT_EQ(Optix::errorReport(60005u, u"boom", mismatchReported), internal + u"boom");
    EXPECT_EQ(Optix::errorReport(makeUnexpected(u"Cannot obtain optix version"), u"boom", mismatchReported),
              internal + u"Cannot obtain optix version\nboom");

    BitmapImpl<Rgb> image(2, 1);
    image(0, 0) = Rgb(-1.f, 0.f, 0.25f, 1.f);
    image(1, 0) = Rgb(4.f, 1.f, -0.5f, 2.f);
    float buffer[8];
    Optix::encodeImage(image, buffer);
    EXPECT_EQ(buffer[0], 0.f);
    EXPECT_NEAR(buffer[2], std::pow(0.25f, 1.f / 2.2f), 1e-5f);
    EXPECT_NEAR(buffer[4], std::pow(4.f, 1.f / 2.2f), 1e-4f);
    const BitmapImpl<Rgb> back = Optix::decodeImage(buffer, 2, 1);
    EXPECT_EQ(back(0, 0).r, 0.f);
    EXPECT_NEAR(back(0, 0).b, 0.25f, 1e-4f);
    EXPECT_NEAR(back(1, 0).r, 4.f, 1e-3f);
    EXPECT_EQ(back(1, 0).b, 0.f);
    Optix::encodeGuide(image, buffer);
    EXPECT_EQ(buffer[0], 0.f);
    EXPECT_EQ(buffer[6], 0.f);
    EXPECT_EQ(buffer[4], 4.f);
}

} // namespace
} // namespace Vespra
