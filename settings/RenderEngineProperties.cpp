#include <limits>

#include "settings/PropertyTableBuilder.h"
#include "settings/RenderEngineEnums.h"

namespace Vespra::Detail {

namespace {

constexpr std::int32_t INT_MAX_VALUE = std::numeric_limits<std::int32_t>::max();
constexpr float FLOAT_MAX_VALUE = 1e10f;

template <class E, std::size_t N>
EnumTable<E> table(const EnumTableRow<E> (&rows)[N]) {
    return EnumTable<E>(rows, N);
}

} // namespace

// The render engine's rows get ids from 1 upwards in the order below, clear of the editor's.
void addRenderEngineDescriptors(PropertyTableBuilder& b) {
    std::int32_t id = 1;
    const auto i = [&](const char16_t* key, std::int32_t value, std::int32_t min, std::int32_t max) {
        b.addInt(id++, key, value, min, max);
    };
    const auto f = [&](const char16_t* key, float value, float min, float max) {
        b.addFloat(id++, key, value, min, max);
    };
    const auto flag = [&](const char16_t* key, bool value) { b.addBool(id++, key, value); };
    const auto text = [&](const char16_t* key, const char16_t* value) { b.addString(id++, key, value); };
    const auto e = [&](const char16_t* key, auto rows, auto value) { b.addEnum(id++, key, rows, value); };

    text(u"system.sceneReportFile", u"");
    flag(u"system.showPrevisualizations", true);
    flag(u"system.isInteractive", false);
    flag(u"system.vfbHistoryAutosave", false);
    flag(u"system.vfbSpinningSmiley", true);
    flag(u"system.vfbStatusBarVisible", true);
    text(u"system.vfbDuplicateButtonName", u"");
    b.addArray(id++, u"system.vfbRegions", PropertyType::INT_ARRAY);
    flag(u"system.vfbRegions.enabled", false);
    text(u"system.vfbTitle", u"");
    i(u"geometry.minInstanceSaving", 50000, 0, INT_MAX_VALUE);
    f(u"geometry.maxNormalDiff", 0.55f, 0.f, 1.f);
    e(u"geometry.accelerationStructure", table(ACCELERATION_STRUCTURE_NAMES),
      AccelerationStructureType::EMBREE);
    flag(u"geometry.embree.lowMemory", false);
    flag(u"geometry.embree.highQuality", false);
    flag(u"geometry.embree.precise", false);
    f(u"geometry.bvh.costIteration", 1.f, 0.f, FLOAT_MAX_VALUE);
    f(u"geometry.bvh.costTriangle", 1.f, 0.f, FLOAT_MAX_VALUE);
    i(u"geometry.bvh.leafSizeMin", 2, 1, 64);
    i(u"geometry.bvh.leafSizeMax", 6, 1, 64);
    e(u"geometry.displace.subdivType", table(DISPLACE_SUBDIV_NAMES), DisplaceSubdivType::ADAPTIVE);
    flag(u"geometry.displace.useAutoBump", true);
    f(u"geometry.displace.maxSizeScreen", 2.f, 0.01f, 10000.f);
    f(u"geometry.displace.maxSizeWorld", 1.f, 1e-6f, FLOAT_MAX_VALUE);
    flag(u"geometry.displace.filterMap", true);
    flag(u"geometry.displace.smoothNormals", true);
    f(u"geometry.displace.maxSizeScreenOutFrustumMultiplier", 4.f, 1.f, 10000.f);
    i(u"geometry.hairSubdivs", 3, 0, 64);
    i(u"progressive.passLimit", 0, 0, INT_MAX_VALUE);
    f(u"progressive.timeLimit", 0.f, 0.f, FLOAT_MAX_VALUE);
    i(u"progressive.interlacingLevel", 1, 1, 8);
    e(u"image.prefilter.type", table(PRE_FILTER_NAMES), ImagePreFilterType::TENT);
    f(u"image.prefilter.width", 1.5f, 0.1f, 20.f);
    text(u"renderStamp", u"%vespra | Time: %time | Passes: %pass");
    flag(u"renderstamp.use", false);
    i(u"renderstamp.fontSize", 12, 4, 200);
    flag(u"shading.enable", true);
    flag(u"shading.enableAa", true);
    e(u"shading.renderEngine", table(RENDER_ENGINE_NAMES), RenderEngineType::PROGRESSIVE);
    e(u"shading.primarySolver", table(GI_SOLVER_NAMES), GiSolverType::PATH_TRACING);
    e(u"shading.secondarySolver", table(GI_SOLVER_NAMES), GiSolverType::UHD_CACHE);
    f(u"shading.maxSampleIntensity", 20.f, 0.f, FLOAT_MAX_VALUE);
    i(u"shading.giToAaRatio", 8, 1, 256);
    b.addVec3(id++, u"shading.exitColor", Vec3Value(0.f, 0.f, 0.f));
    i(u"shading.maxRayDepth", 25, 1, 1000);
    flag(u"shading.fbSampleClamp", false);
    flag(u"shading.disableMotionBlur", false);
    i(u"shading.dispersionSamples", 8, 1, 64);
    flag(u"shading.firstPassWithoutAa", true);
    f(u"lights.samplesMult", 2.f, 0.001f, 10000.f);
    f(u"lights.texturedRes", 0.3f, 0.0001f, 1.f);
    e(u"lights.samplingMode", table(LIGHT_SAMPLING_NAMES), LightSamplingMode::ADAPTIVE);
    i(u"lights.envResolution", 1000, 1, 100000);
    e(u"lights.areaMethod", table(AREA_LIGHTS_NAMES), AreaLightsMethod::REPROJECT);
    i(u"lights.solver", 0, 0, 3);
    i(u"lights.enviroSolver", 0, 0, 3);
    f(u"lights.enviroSubdivThreshold", 0.005f, 0.f, 1.f);
    f(u"lights.enviroDistance", 0.f, 0.f, FLOAT_MAX_VALUE);
    f(u"lights.normalDepSamplerPreference", 0.5f, 0.f, 1.f);
    f(u"lights.portalSampleFraction", 0.75f, 0.f, 1.f);
    f(u"lights.solverFracLocal", 0.33f, 0.f, 1.f);
    f(u"lights.solverFractGlobal", 0.33f, 0.f, 1.f);
    flag(u"lights.useAdaptiveSolver", false);
    e(u"lights.hiesolverVisibilityIS", table(ADAPTIVE_IS_NAMES), AdaptiveISMode::ON);
    e(u"lights.hiesolverVisibilityCV", table(ADAPTIVE_CV_NAMES), AdaptiveCVMode::ON);
    i(u"lights.hiesolverCacheLightLimit", 1000, 1, INT_MAX_VALUE);
    i(u"lights.hiesolverInitCutEnd", 100, 1, INT_MAX_VALUE);
    i(u"lights.hiesolverSceneSubdiv", 16, 1, 1024);
    i(u"lights.hiesolverSceneCoarseSubdiv", 4, 1, 1024);
    f(u"lights.hiesolverCutError", 0.02f, 0.f, 1.f);
    i(u"lights.hiesolverCutSize", 64, 1, 100000);
    i(u"lights.hiesolverClusteringAlgorithm", 0, 0, 3);
    i(u"lights.hiesolverClusteringMetric", 0, 0, 3);
    i(u"lights.hiesolverClusteringStructure", 0, 0, 3);
    i(u"lights.hiesolverClusteringStart", 0, 0, 3);
    i(u"lights.hiesolverTurnOnLimit", 32, 0, INT_MAX_VALUE);
    f(u"lights.scalesolverCutError", 0.02f, 0.f, 1.f);
    i(u"lights.scalesolverCutSize", 64, 1, 100000);
    i(u"lights.scalesolverClusteringAlgorithm", 0, 0, 3);
    i(u"lights.scalesolverClusteringMetric", 0, 0, 3);
    i(u"lights.scalesolverClusteringStructure", 0, 0, 3);
    i(u"lights.scalesolverClusteringStart", 0, 0, 3);
    flag(u"adaptivity.enable", false);
    f(u"adaptivity.interval", 1.f, 0.1f, 10000.f);
    f(u"adaptivity.targetError", 0.02f, 0.0001f, 1.f);
    text(u"metadata.filename", u"");
    text(u"metadata.framename", u"");
    text(u"metadata.cameraname", u"");
    text(u"metadata.scenedumpAdditional", u"");
    flag(u"gi.uhdCache.save", false);
    i(u"gi.uhdCache.precalcMode", 0, 0, 2);
    text(u"gi.uhdCache.file", u"");
    flag(u"gi.uhdCache.doViz", false);
    f(u"gi.uhdcache.precision", 1.f, 0.01f, 100.f);
    f(u"gi.uhdcache.precompDensity", 1.f, 0.01f, 100.f);
    i(u"gi.uhdcache.interpolationCount", 3, 1, 64);
    i(u"gi.uhdcache.recordQuality", 512, 1, 65536);
    f(u"gi.uhdcache.normalSensitivity", 2.f, 0.f, 100.f);
    f(u"gi.uhdcache.glossThreshold", 0.9f, 0.f, 1.f);
    f(u"gi.uhdcache.strictness", 0.075f, 0.f, 1.f);
    flag(u"gi.uhdcache.correlatePrecomp", true);
    flag(u"gi.uhdcache.recomputeAlbedo", true);
    e(u"gi.uhdcache.preset", table(UHD_CACHE_PRESET_NAMES), UhdCachePreset::STILL);
    i(u"gi.photons.emitted", 5000000, 1, INT_MAX_VALUE);
    flag(u"gi.photons.storeDirect", true);
    i(u"gi.photons.depth", 10, 1, 1000);
    i(u"gi.photons.lookupCount", 50, 1, 10000);
    i(u"gi.photons.filter", 0, 0, 2);
    i(u"gi.vpl.emittedCount", 1000000, 1, INT_MAX_VALUE);
    i(u"gi.vpl.usedCount", 150, 1, 100000);
    i(u"gi.vpl.progressiveBatch", 150, 1, 100000);
    f(u"gi.vpl.clamping", 50.f, 0.f, FLOAT_MAX_VALUE);
    i(u"gi.ppm.ptSamplesPerIter", 1, 1, 1000);
    i(u"gi.ppm.photonsPerIter", 5000000, 1, INT_MAX_VALUE);
    f(u"gi.ppm.alpha", 0.666f, 0.01f, 1.f);
    f(u"gi.ppm.initialRadius", 2.f, 0.0001f, FLOAT_MAX_VALUE);
    flag(u"gi.vcm.mis", true);
    e(u"gi.vcm.mode", table(VCM_MODE_NAMES), VcmMode::VCM);
    f(u"terminator.maxDifference", 0.f, 0.f, 1.f);
    f(u"terminator.shadowShift", 0.f, 0.f, 1.f);
    f(u"terminator.bumpShadowSharpness", 0.f, 0.f, 1.f);
    f(u"terminator.bumpShadowShift", 0.f, 0.f, 1.f);
    flag(u"denoise.duringRender", false);
    f(u"geometry.shadowBias", 0.0001f, 0.f, 1.f);
    f(u"gi.uhdcache.dirSensitivity", 2.f, 0.f, 100.f);
    f(u"gi.uhdcache.msi", 10.f, 0.f, FLOAT_MAX_VALUE);
    text(u"metadata.outputFilename", u"");
    i(u"system.drMaxDumpPixels", 0, 0, INT_MAX_VALUE);
    flag(u"system.drRenderStripOnly", false);
    i(u"system.numThreads", 0, -256, 256);
    e(u"system.randomSampler", table(RANDOM_TYPE_NAMES), RandomType::SOBOL);
    i(u"system.randomSeed", 1234, 0, INT_MAX_VALUE);
    e(u"system.threadPriority", table(THREAD_PRIORITY_NAMES), SchedulerWorkerThreadPriority::LOW);
    i(u"system.vfbHistoryMaxSizeMb", 2048, 0, INT_MAX_VALUE);
    i(u"system.vfbUpdateInterval", 1000, 10, 100000);
}

} // namespace Vespra::Detail
