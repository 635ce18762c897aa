#pragma once

#include <array>
#include <cstdint>
#include <optional>

#include "apps/samplegen/Vec3.h"

namespace Vespra::SampleGen {

/// The light-select layers; every emitter belongs to one. `REST` holds the emitters that are
/// in no group of their own.
enum class LightGroup : std::uint8_t { KEY, FILL, WINDOW, REST };
inline constexpr int LIGHT_GROUP_COUNT = 4;

/// DIFFUSE may carry a glossy varnish; MIRROR reflects and GLASS reflects or refracts without
/// any blur; EMITTER ends a path.
enum class SurfaceKind : std::uint8_t { DIFFUSE, MIRROR, GLASS, EMITTER };

/// The objects of the scene, each with its own identifier. The denoising feature stores the
/// identifier of the first surface that is not a mirror or glass, divided by `OBJECT_ID_RANGE`.
namespace ObjectId {
inline constexpr int FLOOR = 1;
inline constexpr int CEILING = 2;
inline constexpr int BACK_WALL = 3;
inline constexpr int LEFT_WALL = 4;
inline constexpr int RIGHT_WALL = 5;
inline constexpr int FRONT_WALL = 6;
inline constexpr int MIRROR_BALL = 7;
inline constexpr int GLASS_BALL = 8;
inline constexpr int RED_BALL = 9;
/// Two cabinets side by side, touching, of the same colour: only their identifiers tell them apart.
inline constexpr int LEFT_CABINET = 10;
inline constexpr int RIGHT_CABINET = 11;
inline constexpr int SHELF = 12;
/// The thin rods: the lamp pole, the four rods of the rack, then the neon wire.
inline constexpr int FIRST_ROD = 13;
/// The area lights, in the order of `SampleScene::getLights()`.
inline constexpr int FIRST_LIGHT = 24;
} // namespace ObjectId
inline constexpr float OBJECT_ID_RANGE = 32.f;

struct SurfaceHit {
    float distance = 0.f;
    Vec3 position;
    /// Unit normal on the side the ray came from.
    Vec3 normal;
    SurfaceKind kind = SurfaceKind::DIFFUSE;
    /// Diffuse albedo, mirror reflectance, the tint of glass, or white for an emitter.
    Vec3 albedo;
    /// Reflectance of a glossy varnish over a diffuse surface; 0 for none.
    float varnish = 0.f;
    /// Glass: whether the ray enters the object (false: it leaves it).
    bool entering = true;
    /// Emitters: the radiance, its group, and whether the light sampling of diffuse surfaces
    /// already finds this emitter (the area lights) or only a path that hits it does (the neon).
    Vec3 emission;
    LightGroup group = LightGroup::REST;
    bool sampledDirectly = false;
    int object = 0;
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

/// A point on a light chosen for next-event estimation, or the sun.
struct LightSample {
    Vec3 position;
    /// Area lights: radiance times area over the chance of the pick, what the sample carries
    /// before the geometric terms. The sun: its irradiance over the chance of the pick.
    Vec3 weightedRadiance;
    Vec3 lightNormal;
    LightGroup group = LightGroup::REST;
    /// The sun: light from the one direction `position` holds, through the window only.
    bool directional = false;
};

inline constexpr int AREA_LIGHT_COUNT = 4;

/// The one fixed scene: a room lit by a small bright lamp, a soft ceiling panel, a window with the
/// sky and a low sun, and a glowing screen. Each part is there to make one thing hard for the
/// editor's filters:
/// - a fine high-contrast checker floor under a glossy varnish and a fine noise plaster on the
///   back wall: high-frequency albedo that the denoiser must keep;
/// - thin dark rods and a thin bright neon wire, less than a pixel wide at moderate sizes;
/// - a mirror ball and a glass ball under the small lamp: caustics and fireflies, found only
///   by paths that hit the lamp by chance;
/// - a hard-edged sun patch on the floor, far above 1, whose light reaches the rest of the
///   room only by the few paths that bounce through it;
/// - the neon wire, an emitter that belongs to no light group and that no light sampling
///   finds;
/// - two touching cabinets of the same colour and orientation that only the object identifier
///   separates.
class SampleScene {
public:
    SampleScene();

    /// The camera ray through the film point (`x`, `y`) of a `width` by `height` frame, with
    /// y growing downwards.
    Ray cameraRay(float x, float y, int width, int height) const;
    /// Distance along the viewing axis, as a depth pass stores it.
    float viewDepth(const Ray& ray, float distance) const { return distance * dot(ray.direction, forward); }

    std::optional<SurfaceHit> intersect(const Ray& ray) const;
    /// Whether an object blocks the segment between two points inside the room. Walls and
    /// area lights never do.
    bool occluded(const Vec3& from, const Vec3& to) const;
    /// Whether the sun reaches `point` (inside the room) through the window, unblocked.
    bool seesSun(const Vec3& point) const;

    /// Picks a light by `pick` and a point on it by `u`, `v`, all uniform in [0, 1).
    LightSample sampleLight(float pick, float u, float v) const;
    const std::array<QuadLight, AREA_LIGHT_COUNT>& getLights() const { return lights; }

private:
    struct Sphere {
        Vec3 center;
        float radius;
        SurfaceKind kind;
        Vec3 albedo;
        int object;
    };
    struct Box {
        Vec3 min;
        Vec3 max;
        Vec3 albedo;
        int object;
    };
    /// Open at both ends, along the coordinate axis `axis`.
    struct Cylinder {
        int axis;
        /// The centre line's coordinates on the two other axes, in axis order.
        float u;
        float v;
        float radius;
        float from;
        float to;
        Vec3 albedo;
        /// Radiance for the neon wire, else zero.
        Vec3 emission;
        int object;
    };

    Vec3 eye;
    Vec3 forward;
    Vec3 right;
    Vec3 up;
    float tanHalfFov;
    std::array<Sphere, 3> spheres;
    std::array<Box, 3> boxes;
    std::array<Cylinder, 6> cylinders;
    std::array<QuadLight, AREA_LIGHT_COUNT> lights;
    /// Unit vector towards the sun, and what it gives a surface facing it.
    Vec3 sunDirection;
    Vec3 sunIrradiance;
    float sunPickProbability;

    /// The closest object hit nearer than `hit.distance`, written into `hit`.
    bool intersectObjects(const Ray& ray, SurfaceHit& hit) const;
    bool intersectLights(const Ray& ray, SurfaceHit& hit) const;
    /// The wall hit, without its albedo.
    SurfaceHit intersectRoom(const Ray& ray) const;
};

} // namespace Vespra::SampleGen
