#pragma once

#include <cstdint>

#include "foundation/EnumTable.h"

/// Enumerations of the render engine's own properties. The editor carries them in the
/// property table and in .conf files but does not act on them.
namespace Vespra {

enum class RandomType : std::int32_t { SOBOL = 0, HALTON = 1, PSEUDO_RANDOM = 2 };
inline constexpr EnumTableRow<RandomType> RANDOM_TYPE_NAMES[] = {
    {RandomType::SOBOL, u"Sobol"},
    {RandomType::HALTON, u"Halton"},
    {RandomType::PSEUDO_RANDOM, u"Pseudorandom"}};

enum class SchedulerWorkerThreadPriority : std::int32_t { LOWEST = 0, LOW = 1, NORMAL = 2 };
inline constexpr EnumTableRow<SchedulerWorkerThreadPriority> THREAD_PRIORITY_NAMES[] = {
    {SchedulerWorkerThreadPriority::LOWEST, u"Lowest"},
    {SchedulerWorkerThreadPriority::LOW, u"Low"},
    {SchedulerWorkerThreadPriority::NORMAL, u"Normal"}};

enum class AccelerationStructureType : std::int32_t { EMBREE = 0, BVH = 1 };
inline constexpr EnumTableRow<AccelerationStructureType> ACCELERATION_STRUCTURE_NAMES[] = {
    {AccelerationStructureType::EMBREE, u"Embree"}, {AccelerationStructureType::BVH, u"BVH"}};

enum class DisplaceSubdivType : std::int32_t { UNIFORM = 0, ADAPTIVE = 1 };
inline constexpr EnumTableRow<DisplaceSubdivType> DISPLACE_SUBDIV_NAMES[] = {
    {DisplaceSubdivType::UNIFORM, u"Uniform"}, {DisplaceSubdivType::ADAPTIVE, u"Adaptive"}};

enum class ImagePreFilterType : std::int32_t { NONE = 0, BOX = 1, TENT = 2, GAUSSIAN = 3 };
inline constexpr EnumTableRow<ImagePreFilterType> PRE_FILTER_NAMES[] = {
    {ImagePreFilterType::NONE, u"None"},
    {ImagePreFilterType::BOX, u"Box"},
    {ImagePreFilterType::TENT, u"Tent"},
    {ImagePreFilterType::GAUSSIAN, u"Gaussian"}};

enum class RenderEngineType : std::int32_t { PROGRESSIVE = 0, BUCKET = 1 };
inline constexpr EnumTableRow<RenderEngineType> RENDER_ENGINE_NAMES[] = {
    {RenderEngineType::PROGRESSIVE, u"Progressive"}, {RenderEngineType::BUCKET, u"Bucket"}};

enum class GiSolverType : std::int32_t { NONE = 0, PATH_TRACING = 1, PHOTON_MAP = 2, UHD_CACHE = 3, VCM = 4 };
inline constexpr EnumTableRow<GiSolverType> GI_SOLVER_NAMES[] = {{GiSolverType::NONE, u"None"},
                                                                 {GiSolverType::PATH_TRACING, u"PathTracing"},
                                                                 {GiSolverType::PHOTON_MAP, u"PhotonMap"},
                                                                 {GiSolverType::UHD_CACHE, u"UhdCache"},
                                                                 {GiSolverType::VCM, u"Vcm"}};

enum class LightSamplingMode : std::int32_t { ALL = 0, ADAPTIVE = 1 };
inline constexpr EnumTableRow<LightSamplingMode> LIGHT_SAMPLING_NAMES[] = {
    {LightSamplingMode::ALL, u"All"}, {LightSamplingMode::ADAPTIVE, u"Adaptive"}};

enum class AdaptiveCVMode : std::int32_t { OFF = 0, ON = 1 };
inline constexpr EnumTableRow<AdaptiveCVMode> ADAPTIVE_CV_NAMES[] = {{AdaptiveCVMode::OFF, u"Off"},
                                                                     {AdaptiveCVMode::ON, u"On"}};

enum class AdaptiveISMode : std::int32_t { OFF = 0, ON = 1 };
inline constexpr EnumTableRow<AdaptiveISMode> ADAPTIVE_IS_NAMES[] = {{AdaptiveISMode::OFF, u"Off"},
                                                                     {AdaptiveISMode::ON, u"On"}};

enum class AreaLightsMethod : std::int32_t { SIMPLE = 0, REPROJECT = 1 };
inline constexpr EnumTableRow<AreaLightsMethod> AREA_LIGHTS_NAMES[] = {
    {AreaLightsMethod::SIMPLE, u"Simple"}, {AreaLightsMethod::REPROJECT, u"Reproject"}};

enum class UhdCachePreset : std::int32_t { STILL = 0, ANIMATION = 1, CUSTOM = 2 };
inline constexpr EnumTableRow<UhdCachePreset> UHD_CACHE_PRESET_NAMES[] = {
    {UhdCachePreset::STILL, u"Still"},
    {UhdCachePreset::ANIMATION, u"Animation"},
    {UhdCachePreset::CUSTOM, u"Custom"}};

enum class VcmMode : std::int32_t { BIDIRECTIONAL = 0, VCM = 1 };
inline constexpr EnumTableRow<VcmMode> VCM_MODE_NAMES[] = {{VcmMode::BIDIRECTIONAL, u"Bidirectional"},
                                                           {VcmMode::VCM, u"Vcm"}};

} // namespace Vespra
