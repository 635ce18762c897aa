#pragma once

#include <cstdint>

#include "apps/samplegen/Pcg32.h"
#include "apps/samplegen/SampleLayout.h"
#include "apps/samplegen/Scene.h"

namespace Vespra::SampleGen {

/// Follows one camera path through the scene: next-event estimation at every diffuse vertex
/// (an area light or the sun), cosine-weighted diffuse bounces, glossy reflection of the floor's
/// varnish sampled from its lobe alone, and mirror and glass without blur. The small key light
/// seen through the mirror, the glass or the varnish is found by chance, which makes the
/// caustics and fireflies a real renderer shows.
class PathTracer {
public:
    /// Diffuse vertices that sample the lights: the first and two bounces.
    static constexpr int MAX_DIFFUSE_VERTICES = 3;
    /// Limit for chains of mirror, glass and glossy vertices.
    static constexpr int MAX_VERTICES = 10;
    /// Refractive index of the glass ball.
    static constexpr float GLASS_INDEX = 1.5f;
    /// Phong exponent of the glossy lobes: blurred reflections that still show their source.
    static constexpr float GLOSSY_EXPONENT = 80.f;
    /// Chance that a varnished surface reflects by its varnish rather than diffusely.
    static constexpr float VARNISH_PICK = 0.25f;

    explicit PathTracer(const SampleScene& scene) : scene(scene) {}

    /// Every value of one sample through film point (`x`, `y`); adds the rays it cast to
    /// `rayCount`.
    SampleValues trace(float x, float y, int width, int height, Pcg32& random, std::uint64_t& rayCount) const;

private:
    const SampleScene& scene;

    /// Continues `ray` from `hit` in a direction of the glossy lobe; false when the direction
    /// falls below the surface, which ends the path.
    static bool reflectGlossy(const SurfaceHit& hit, Ray& ray, Pcg32& random);
    /// Continues `ray` from the glass surface `hit`: reflected with the chance that Fresnel's
    /// reflectance (Schlick's form) gives, else refracted.
    static void passGlass(const SurfaceHit& hit, Ray& ray, Pcg32& random);

    /// Light from a random point of a random light, or from the sun, as the diffuse surface
    /// `hit` reflects it.
    Vec3 sampleDirect(const SurfaceHit& hit, Pcg32& random, LightGroup& group, std::uint64_t& rayCount) const;
};

} // namespace Vespra::SampleGen
