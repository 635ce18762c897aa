#pragma once

#include <cstddef>

#include "foundation/Containers.h"
#include "foundation/Optional.h"
#include "foundation/Rgb.h"
#include "settings/Settings.h"

namespace Vespra::Pipeline {

/// The switch, intensity and colour of every light-mix layer, in the order of the image's
/// layers, as a value that can be compared.
class LightMixState {
public:
    struct Layer {
        Rgb color = Rgb::white();
        float intensity = 1.f;
        bool enabled = true;
    };

    /// An empty state, which equals any other.
    LightMixState() = default;
    explicit LightMixState(Array<Layer> layers) : layers(std::move(layers)) {}

    /// The three LightMix arrays of `settings`, each padded to the longest with the defaults
    /// of a layer: on, at intensity 1, white.
    static LightMixState fromSettings(const Abstract::Settings& settings);

    const Optional<Array<Layer>>& getLayers() const { return layers; }
    /// Layer `index`, or the default layer beyond the known ones.
    Layer layer(std::size_t index) const;
    /// What layer `index` multiplies its light by, as a colour of the wide gamut: colour times
    /// intensity taken into that space, or black when the layer is off. The fourth lane is 0.
    Rgb wideGamutFactor(std::size_t index) const;

    /// States of equally many layers compare switch, intensity and colour of each; an empty
    /// state equals anything.
    bool operator==(const LightMixState& other) const;

private:
    Optional<Array<Layer>> layers;
};

} // namespace Vespra::Pipeline
