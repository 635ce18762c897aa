// An image file of this system's format, or any OpenEXR file: the bytes are the whole file,
// which the loader reads from a file on /dev/shm. An image it accepts is taken on as the load
// operator takes it (channels cleaned, element list with the renderer's descriptions, the
// post-processing properties it carries) and merged with itself, which sums its render
// statistics. A file it refuses must come with a message that names it.

#include <unistd.h>

#include <cstdio>

#include "base/image/ExrLoader.h"
#include "base/image/ImageMemoryLimit.h"
#include "base/image/VxrMetadata.h"
#include "base/pipeline/Accumulator.h"
#include "base/pipeline/ImageSettings.h"
#include "fuzz/FuzzSupport.h"
#include "imaging/PostProcessData.h"
#include "settings/PropertyCatalogue.h"
#include "settings/Settings.h"

using namespace Vespra;

namespace {

constexpr std::uint64_t MAX_IMAGE_BYTES = 64 << 20;

/// A file of this process in memory-backed storage, written again for every input.
const std::string& scratchPath() {
    static const std::string path = "/dev/shm/vespra-fuzz-exr-" + std::to_string(::getpid()) + ".exr";
    return path;
}

void writeScratch(const std::uint8_t* data, std::size_t size) {
    std::FILE* file = std::fopen(scratchPath().c_str(), "wb");
    Fuzz::require(file != nullptr, "cannot write the input to /dev/shm");
    Fuzz::require(std::fwrite(data, 1, size, file) == size && std::fclose(file) == 0,
                  "cannot write the input to /dev/shm");
}

/// Reads the post-processing properties the image carries, as the load operator does, and the
/// parameters every picture is made with from them.
void readSettings(const ChannelImage& image) {
    Settings settings;
    for (const std::int32_t id : PropertyCatalogue::allImageIds()) {
        const PropertyDescriptor& row = *PropertyDescriptor::get(id);
        if (const Optional<Property> stored = Pipeline::readPropertyAttribute(image, row)) {
            Fuzz::require(!Settings::validationMessage(id, *stored),
                          "an invalid value read from an image:", row.name);
            settings.set(id, *stored);
        }
    }
    const PostProcessData data(SharedPtr<Abstract::Settings>(SharedPtr<Abstract::Settings>(), &settings));
    for (const float x : {0.f, 0.5f, 1.f}) {
        (void)data.curves(Rgb(x, x, x, 1.f));
    }
}

void mergeWithItself(const ChannelImage& image) {
    Pipeline::Accumulator accumulator([](const String& warning) { Fuzz::requireClearMessage(warning); });
    try {
        for (int copy = 0; copy < 2; ++copy) {
            Fuzz::require(accumulator.fits(image), "an image does not fit into its own merge");
            accumulator.add(image, Pipeline::MergeWeight(1.f));
        }
    } catch (const Exception& error) {
        // The load operator reports what a merge raises.
        Fuzz::requireClearMessage(error.getMessage());
        return;
    }
    const ChannelImage merged = accumulator.finish();
    Fuzz::require(merged.isVxrImage() == image.isVxrImage(), "a merge changed the format mark");
}

} // namespace

extern "C" int LLVMFuzzerInitialize(int*, char***) {
    // Images up to this size load; larger ones must be refused with a message, as those larger
    // than the memory are. The merge holds a second copy.
    setMaxImageBytes(MAX_IMAGE_BYTES);
    return 0;
}

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    writeScratch(data, size);
    const Io::Path path(String::fromUtf8(scratchPath()));
    Expected<ChannelImage, String> loaded = ExrLoader(false).load(path);
    if (!loaded) {
        Fuzz::requireClearMessage(loaded.error());
        Fuzz::require(loaded.error().contains(path.nativeStr()),
                      "a failure that does not name the file:", loaded.error());
        return 0;
    }
    ChannelImage& image = *loaded;
    image.sanitizeChannels();
    for (const ElementInfo& element : image.getElements()) {
        (void)image.getRenderElementInfo(element);
    }
    readSettings(image);
    mergeWithItself(image);
    return 0;
}
