#pragma once

#include <cstddef>

// The plain loops of the patch sweep, compiled for several vector widths (VectorClones.h). They
// see pixels as runs of floats, four a pixel, so the same loop serves the filters that weigh
// each lane apart and those that weigh by the mean over the colours.

namespace Vespra::Detail::Sweep {

/// out[i] = `pairDistanceLane` of the floats a[i], b[i], va[i], vb[i], for `floats` floats.
void pairDistances(float* out, const float* a, const float* b, const float* va, const float* vb, int floats,
                   float alpha, float epsilon);

/// out[x] = the sum of the colour lanes of pixel x of `in`, for `count` pixels.
void colourSums(float* out, const float* in, int count);

/// out[i] = the sum of in[i + k * step] for k in [from, to], added to out[i] if `accumulate`,
/// for `floats` floats.
void addRange(float* out, const float* in, std::ptrdiff_t step, int from, int to, int floats,
              bool accumulate);

/// The box sums of a distance image of floats, rows `stride` apart, over patches of side
/// 2 * half + 1 and, when `smallHalf` differs, 2 * smallHalf + 1: first along the rows, into
/// `largeRows` and `smallRows` (`regionCount` floats), then down the columns, into `patch` and
/// `smallPatch` (`tileCount` floats), each patch sum times its factor. The same terms in the same
/// order as the `addRange` passes that make them one by one, so the same numbers: a row sum of
/// the small patch from 0, the large one adding its outer terms to it, the columns from 0.
/// Answers false, doing nothing, for patch sides that it does not know; the filters use 3, 5
/// and 7.
bool fusedPatchSums(const float* in, float* smallRows, float* largeRows, float* smallPatch, float* patch,
                    int half, int smallHalf, int regionCount, int tileCount, int stride, float smallFactor,
                    float factor);

/// The lane-wise NLM step: w = e^-(factor * distances[i]) is added to weights[i], and w times
/// image[i] to sums[i], for `floats` floats.
void addLaneWeights(float* weights, float* sums, const float* distances, const float* image, float factor,
                    int floats);

} // namespace Vespra::Detail::Sweep
