#pragma once

#include "base/pipeline/BlendBloomGlareOperator.h"
#include "base/pipeline/BlendDenoisedOperator.h"
#include "base/pipeline/BloomGlareOperator.h"
#include "base/pipeline/ColorMapOperator.h"
#include "base/pipeline/DenoiseOperator.h"
#include "base/pipeline/LightMixOperator.h"
#include "base/pipeline/LoadOperator.h"
#include "base/pipeline/MonoToColorOperator.h"
#include "base/pipeline/SaveSeparateOperator.h"
#include "base/pipeline/SaveVxrOperator.h"
#include "base/pipeline/SharpenBlurOperator.h"
#include "base/pipeline/ZoomOperator.h"

namespace Vespra::Pipeline {

/// The one fixed graph of operators: load, denoise, blend denoised, LightMix, bloom and
/// glare, blend bloom and glare, colour map, sharpen/blur, mono to colour, zoom; the savers
/// tap it at the head (whole image with settings) and at the tail (what the user sees).
/// Members are declared in construction order; destruction runs the other way, so every
/// worker stops before anything it pulls from goes.
class OperatorGraph {
public:
    explicit OperatorGraph(Abstract::Settings& settings);
    OperatorGraph(const OperatorGraph&) = delete;
    OperatorGraph& operator=(const OperatorGraph&) = delete;

    Abstract::Settings* settings;
    LoadOperator load;
    DenoiseOperator denoise;
    BlendDenoisedOperator blendDenoised;
    LightMixOperator lightMix;
    BloomGlareOperator bloomGlare;
    BlendBloomGlareOperator blendBloomGlare;
    ColorMapOperator<ColorMapping> colorMap;
    SharpenBlurOperator sharpenBlur;
    MonoToColorOperator monoToColor;
    ZoomOperator zoom;
    SaveVxrOperator saveVxr;
    SaveVxrOperatorCli saveVxrCli;
    SaveSeparateOperator saveSeparate;
};

} // namespace Vespra::Pipeline
