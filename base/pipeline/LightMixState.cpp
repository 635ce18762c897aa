#include "base/pipeline/LightMixState.h"

#include <algorithm>

#include "foundation/ColorSpace.h"
#include "settings/PropertyIds.h"

namespace Vespra::Pipeline {

LightMixState LightMixState::fromSettings(const Abstract::Settings& settings) {
    const Property enabled = settings.get(PropertyId::LIGHTMIX_ENABLED_LAYERS);
    const Property intensities = settings.get(PropertyId::LIGHTMIX_INTENSITIES);
    const Property colors = settings.get(PropertyId::LIGHTMIX_COLORS);
    const ArrayView<const bool> switches = enabled.asBoolArray();
    const ArrayView<const float> multipliers = intensities.asFloatArray();
    const Array<Rgb> tints = colors.asRgbArray();
    Array<Layer> layers(std::max({switches.size(), multipliers.size(), tints.size()}));
    for (std::size_t i = 0; i < layers.size(); ++i) {
        Layer& layer = layers[i];
        layer.enabled = i >= switches.size() || switches[i];
        layer.intensity = i < multipliers.size() ? multipliers[i] : 1.f;
        layer.color = i < tints.size() ? tints[i] : Rgb::white();
    }
    return LightMixState(std::move(layers));
}

LightMixState::Layer LightMixState::layer(std::size_t index) const {
    return layers && index < layers->size() ? (*layers)[index] : Layer();
}

Rgb LightMixState::wideGamutFactor(std::size_t index) const {
    const Layer chosen = layer(index);
    if (!chosen.enabled) {
        return Rgb(0.f, 0.f, 0.f, 0.f);
    }
    Rgb factor = TM_LIN_RGB_TO_LIN_WIDE_RGB * (chosen.color * chosen.intensity);
    factor.a = 0.f;
    return factor;
}

bool LightMixState::operator==(const LightMixState& other) const {
    if (!layers || !other.layers) {
        return true;
    }
    return std::ranges::equal(*layers, *other.layers, [](const Layer& a, const Layer& b) {
        return a.enabled == b.enabled && a.intensity == b.intensity && a.color == b.color;
    });
}

} // namespace Vespra::Pipeline
