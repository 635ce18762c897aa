#pragma once

#include "foundation/Logger.h"
#include "foundation/StandbyThread.h"
#include "misc/adaptivitydenoising/IDenoiser.h"

namespace Vespra {

namespace Optix {

/// Where the messages of the GPU denoiser send the user for help.
inline constexpr char16_t HELP_LINK[] = u"https://docs.vespra.example/image-editor/nvidia-denoiser";

/// "major.minor.micro" of a runtime version number such as 50102.
String versionText(unsigned version);

/// The text of a failed CUDA memory query.
String cudaMemoryErrorText(int code);

/// The message for the user of a failure `text`, given the running version or the failure to
/// get it. A version other than the expected one is reported once a process (`mismatchReported`);
/// every other failure is an internal error.
String errorReport(const Expected<unsigned>& runningVersion, const String& text, bool& mismatchReported);

/// The stage expects a display-referred image: pow(max(0, x), 1/2.2) per lane.
void encodeImage(const BitmapImpl<Rgb>& image, float* buffer);
/// Albedo and normals go up as max(0, x).
void encodeGuide(const BitmapImpl<Rgb>& image, float* buffer);
/// Back to linear: pow(max(0, x), 2.2) per lane.
BitmapImpl<Rgb> decodeImage(const float* buffer, int width, int height);

} // namespace Optix

/// The "NVIDIA AI denoiser" mode: hands an image with its albedo and normals to the GPU
/// runtime's denoising stage. Every runtime call runs on one thread of its own. Only the library
/// check throws; other failures go to the logger and leave the result empty.
class OptixDenoiser : public IDenoiser {
public:
    /// Throws the library check's message when the runtime is missing. The context is made on
    /// the denoiser's thread while the caller goes on.
    OptixDenoiser(SharedPtr<Abstract::Logger> logger, DenoisingData&& data);
    ~OptixDenoiser() override;

    /// `squared`, `elementType` and `progress` are not used: the stage can neither report nor stop.
    void filter(Optional<BitmapImpl<Rgb>>& result, BitmapImpl<Rgb>&& image, BitmapImpl<Rgb>&& squared,
                const ElementType& elementType, Function<bool(float)>&& progress) override;

private:
    class OptixContext;

    void initialize(DenoisingData& data);
    Optional<BitmapImpl<Rgb>> denoise(const BitmapImpl<Rgb>& image);
    void report(const String& text);

    AutoPtr<OptixContext> impl;
    SharedPtr<Abstract::Logger> logger;
    StandbyThread thread;
};

} // namespace Vespra
