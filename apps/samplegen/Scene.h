#pragma once

#include <array>
#include <cstdint>
#include <optional>

#include "apps/samplegen/Vec3.h"

namespace Vespra::SampleGen {

/// The light-select layers; every emitter belongs to one.
enum class LightGroup : std::uint8_t { KEY, FILL, WINDOW, REST };
inline constexpr int LIGHT_GROUP_COUNT = 4;

enum class SurfaceKind : std::uint8_t { DIFFUSE, GLOSSY, EMITTER };

struct SurfaceHit {
    float distance = 0.f;
    Vec3 position;
    /// Unit normal on the side the ray came from.
    Vec3 normal;
    SurfaceKind kind = SurfaceKind::DIFFUSE;
    /// Diffuse albedo, glossy reflectance, or white for an emitter.
    Vec3 albedo;
    /// Reflectance of a glossy varnish over a diffuse surface; 0 for none.
    float varnish = 0.f;
    /// Index into `SampleScene::getLights()` of the emitter hit.
    int light = -1;
};

/// A one-sided rectangular area light.
struct QuadLight {
    Vec3 corner;
    Vec3 edgeU;
    Vec3 edgeV;
    /// The side that emits.
    Vec3 normal;
    Vec3 radiance;
    LightGroup group = LightGroup::REST;
    float area = 0.f;
    /// Chance that next-event estimation picks this light.
    float pickProbability = 0.f;
};

/// A point on a light chosen for next-event estimation.
struct LightSample {
    Vec3 position;
    /// Radiance times the light's area divided by the chance of picking it: what the sample
    /// carries before the geometric terms.
    Vec3 weightedRadiance;
    Vec3 lightNormal;
    LightGroup group = LightGroup::REST;
};

/// The one fixed scene: a room lit by a small bright lamp, a soft ceiling panel, a window
/// and a glowing screen, with a varnished wooden floor of fine grain, a polished metal ball, a red ball, a
/// cabinet, a thin shelf and a thin lamp pole. Each part is there to stress one part of the
/// editor: the grain the feature-guided denoiser, the fireflies of the ball, the pole and shelf
/// edges the filters' edge handling, the lamp bloom and glare.
class SampleScene {
public:
    /// Longer than any path inside the room; depths are divided by it.
    static constexpr float DIAMETER = 10.f;

    SampleScene();

    /// The camera ray through the film point (`x`, `y`) of a `width` by `height` frame, with
    /// y growing downwards.
    Ray cameraRay(float x, float y, int width, int height) const;
    /// Distance along the viewing axis, as a depth pass stores it.
    float viewDepth(const Ray& ray, float distance) const { return distance * dot(ray.direction, forward); }

    std::optional<SurfaceHit> intersect(const Ray& ray) const;
    /// Whether an object blocks the segment between two points inside the room. Walls and
    /// lights never do.
    bool occluded(const Vec3& from, const Vec3& to) const;

    /// Picks a light by `pick` and a point on it by `u`, `v`, all uniform in [0, 1).
    LightSample sampleLight(float pick, float u, float v) const;
    const std::array<QuadLight, LIGHT_GROUP_COUNT>& getLights() const { return lights; }

private:
    struct Sphere {
        Vec3 center;
        float radius;
        SurfaceKind kind;
        Vec3 albedo;
    };
    struct Box {
        Vec3 min;
        Vec3 max;
        Vec3 albedo;
    };
    /// Upright, open at both ends.
    struct Cylinder {
        float x;
        float z;
        float radius;
        float y0;
        float y1;
        Vec3 albedo;
    };

    Vec3 eye;
    Vec3 forward;
    Vec3 right;
    Vec3 up;
    float tanHalfFov;
    std::array<Sphere, 2> spheres;
    std::array<Box, 2> boxes;
    Cylinder pole;
    std::array<QuadLight, LIGHT_GROUP_COUNT> lights;

    /// The closest object hit nearer than `hit.distance`, written into `hit`.
    bool intersectObjects(const Ray& ray, SurfaceHit& hit) const;
    bool intersectLights(const Ray& ray, SurfaceHit& hit) const;
    /// The wall hit, without its albedo.
    SurfaceHit intersectRoom(const Ray& ray) const;
};

} // namespace Vespra::SampleGen
