#pragma once

#include "foundation/Bitmap.h"
#include "foundation/Rgb.h"
#include "misc/adaptivitydenoising/FeatureConfig.h"

namespace Vespra {

/// A feature image ready for the NLM weights: normalised, perhaps prefiltered, with its
/// variance and its squared local gradient (floored by the variance).
struct Feature {
    BitmapImpl<Rgb> mean;
    BitmapImpl<Rgb> variance;
    BitmapImpl<Rgb> gradient;
    FeatureConfig config;
};

/// Value and derivative estimate of each of the three candidate filters of a pixel. While the
/// filter accumulates, the same places hold the weights and the perturbed weights.
struct TripleWeight {
    Rgb value0, derivative0;
    Rgb value1, derivative1;
    Rgb value2, derivative2;
};

} // namespace Vespra
