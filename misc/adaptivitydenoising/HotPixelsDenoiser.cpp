#include "misc/adaptivitydenoising/HotPixelsDenoiser.h"

#include "misc/adaptivitydenoising/NlmFilters.h"
#include "misc/adaptivitydenoising/utils/ImageOps.h"

namespace Vespra {

void HotPixelsDenoiser::filter(Optional<BitmapImpl<Rgb>>& result, BitmapImpl<Rgb>&& image,
                               BitmapImpl<Rgb>&& squared, const ElementType&,
                               Function<bool(float)>&& progress) {
    beginFilter(std::move(progress));
    result.reset();
    BitmapImpl<Rgb> colour = std::move(image);
    BitmapImpl<Rgb> smoothed;
    Float4 meanVariance;
    {
        BitmapImpl<Rgb> variance = std::move(squared);
        VESPRA_ASSERT(colour.size() == passes.size() && variance.size() == passes.size());
        meanVariance = Utils::squaredToClampedVariance(context.scheduler, variance, colour, passes);
        smoothed = Utils::blur3(context.scheduler, variance, 0.10651f, 0.78699f);
    }
    NlmInputs inputs;
    inputs.colour = &colour;
    inputs.variance = &smoothed;
    inputs.alpha = 1.f;
    inputs.epsilon = 0.01f * Detail::meanOfColours(meanVariance).x();
    inputs.colourFactor = 2.0408163f;
    BitmapImpl<Rgb> output(colour.width(), colour.height());
    if (runOutOfPlace(context, NlmOutlierRemoval(inputs, colour, 5.f, false, nullptr), output.data())) {
        result = std::move(output);
    }
    endFilter();
}

} // namespace Vespra
