#pragma once

#include <cstddef>

#include "foundation/Containers.h"
#include "misc/adaptivitydenoising/NlmFeature.h"
#include "misc/adaptivitydenoising/utils/PixelMath.h"

namespace Vespra::Detail {

/// The feature side of an NLM weight for pixel p and neighbour q: the largest over the features
/// that take part and over their four lanes of
///   invK2 * ((f(p) - f(q))² - varianceScale * (min(v(p), v(q)) + v(p))) / max(minGradient * gradientScale *
///   dist, g(p)),
/// starting at -1, turned into e^-max. The division is a product with the smaller of two
/// reciprocals, one per pixel (`pixelFactor`) and one per neighbour distance (`beginOffset`).
class FeatureWeights {
public:
    static constexpr int MAX_FEATURES = 4;

    FeatureWeights() = default;
    FeatureWeights(ArrayView<const Feature> features, float gradientScale) {
        for (const Feature& feature : features) {
            if (!feature.config.has(FeatureConfig::IN_WEIGHTS) || count == MAX_FEATURES) {
                continue;
            }
            Item& item = items[std::size_t(count++)];
            item.mean = feature.mean.data();
            item.variance = feature.variance.data();
            item.gradient = feature.gradient.data();
            item.invK2 = feature.config.invK2;
            item.varianceScale = feature.config.varianceScale;
            item.minNormaliser = feature.config.minGradient * Float4(gradientScale);
            item.limit = item.invK2 / item.minNormaliser;
        }
    }

    int size() const { return count; }

    /// For the three-way filter, whose normaliser grows with the distance between p and q.
    void beginOffset(float distance) {
        for (int i = 0; i < count; ++i) {
            items[std::size_t(i)].limit =
                items[std::size_t(i)].invK2 / (items[std::size_t(i)].minNormaliser * Float4(distance));
        }
    }

    /// invK2 / g(p) of feature `i`.
    Float4 pixelFactor(int i, std::size_t p) const {
        const Item& item = items[std::size_t(i)];
        return item.invK2 / loadPixel(item.gradient, p);
    }

    /// The weight, in all lanes; `factors` holds `pixelFactor` of every feature for p.
    Float4 weight(std::size_t p, std::size_t q, const Float4* factors) const {
        return negativeExp(term(p, q, factors));
    }

    /// The largest feature term, in all lanes, before it becomes a weight.
    Float4 term(std::size_t p, std::size_t q, const Float4* factors) const {
        Float4 largest(-1.f);
        for (int i = 0; i < count; ++i) {
            const Item& item = items[std::size_t(i)];
            const Float4 vp = loadPixel(item.variance, p);
            const Float4 difference = loadPixel(item.mean, p) - loadPixel(item.mean, q);
            const Float4 numerator =
                difference * difference - item.varianceScale * (min(vp, loadPixel(item.variance, q)) + vp);
            largest = max(largest, numerator * min(item.limit, factors[i]));
        }
        return maxOfLanes(largest);
    }

    struct Item {
        const Rgb* mean = nullptr;
        const Rgb* variance = nullptr;
        const Rgb* gradient = nullptr;
        Float4 invK2;
        Float4 varianceScale;
        Float4 minNormaliser;
        Float4 limit;
    };

    /// Feature `i` as it stands, for kernels that evaluate `term` over many pixels at once.
    const Item& item(int i) const { return items[std::size_t(i)]; }

private:
    StaticArray<Item, MAX_FEATURES> items{};
    int count = 0;
};

} // namespace Vespra::Detail
