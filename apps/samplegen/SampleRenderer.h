#pragma once

#include <cstdint>

#include "base/image/ChannelImage.h"
#include "foundation/Bucket.h"
#include "foundation/Pointers.h"

namespace Vespra::SampleGen {

/// What one render node renders of the sample scene.
struct RenderJob {
    /// The frame: the display window.
    int width = 0;
    int height = 0;
    /// The part of the frame rendered and stored; within the frame.
    Bucket dataWindow;
    /// The passes [firstPass, firstPass + passCount) of the sequence that `seed` defines. A
    /// pixel's samples depend only on the seed, the pass and the pixel's place in the frame,
    /// so nodes that split the passes of a frame together render the very samples of the
    /// whole frame.
    int firstPass = 0;
    int passCount = 1;
    int samplesPerPass = 1;
    std::uint64_t seed = 1;
};

/// A job that renders the whole frame of `width` by `height`: `passes` passes from the first of
/// the sequence of `seed`.
RenderJob wholeFrameJob(int width, int height, int passes, std::uint64_t seed = 1);

/// How many times the passes of a noisy run its ground truth takes.
inline constexpr int REFERENCE_PASS_FACTOR = 64;

/// The ground truth for `job`: the same frame with `REFERENCE_PASS_FACTOR` times the passes,
/// from a stream of samples independent of `job`'s.
RenderJob referenceJob(const RenderJob& job);

/// Renders `job` into an image laid out as the renderer writes its files: the mean of the
/// passes of every element, the mean of their squares for the denoisable ones, the passes
/// as the merge weight, the element descriptions and the render statistics. `progress`, when
/// set, gets the fraction of rows done from whichever thread finished one.
ChannelImage renderSampleImage(const RenderJob& job, const Function<void(float)>& progress = {});

} // namespace Vespra::SampleGen
