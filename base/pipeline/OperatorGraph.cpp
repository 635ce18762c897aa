#include "base/pipeline/OperatorGraph.h"

#include "foundation/Scheduler.h"
#include "imaging/BloomGlare.h"

namespace Vespra::Pipeline {

namespace {

/// The priority of the pool that serves interactive pulls: below normal, so that the
/// windows stay responsive.
constexpr int PIXEL_POOL_PRIORITY = -2;

} // namespace

OperatorGraph::OperatorGraph(Abstract::Settings& settings) : settings(&settings), bloomGlare(bloomAndGlare) {
    for (auto* withSettings : std::initializer_list<Abstract::Settings**>{
             &load.settings, &denoise.settings, &blendDenoised.settings, &lightMix.settings, &bloomGlare.settings,
             &colorMap.settings, &sharpenBlur.settings, &saveVxr.settings, &saveVxrCli.settings}) {
        *withSettings = &settings;
    }
    denoise.upstream = {&load};
    blendDenoised.upstream = {&load, &denoise};
    lightMix.imageInfo = &load;
    lightMix.upstream = {&blendDenoised};
    bloomGlare.imageInfo = &load;
    bloomGlare.upstream = {&lightMix};
    blendBloomGlare.upstream = {&lightMix, &bloomGlare};
    colorMap.upstream = {&blendBloomGlare};
    sharpenBlur.upstream = {&colorMap};
    monoToColor.upstream = {&sharpenBlur};
    zoom.upstream = {&monoToColor};
    for (SaveVxrOperatorBase* saver : std::initializer_list<SaveVxrOperatorBase*>{&saveVxr, &saveVxrCli}) {
        saver->imageInfo = &load;
        saver->upstream = {&load, &denoise};
    }
    saveSeparate.upstream = {&zoom};
    Scheduler::highPriorityInstance().setWorkerThreadsPriority(PIXEL_POOL_PRIORITY);
}

} // namespace Vespra::Pipeline
