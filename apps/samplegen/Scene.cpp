#include "apps/samplegen/Scene.h"

#include <cmath>
#include <numbers>

#include "apps/samplegen/Pcg32.h"

namespace Vespra::SampleGen {

namespace {

constexpr Vec3 ROOM_MIN{-3.f, 0.f, -4.f};
constexpr Vec3 ROOM_MAX{3.f, 2.8f, 2.5f};
/// The floor's varnish mirrors the small key light as a blurred highlight: the fireflies of
/// every diffuse surface that sees the floor.
constexpr float FLOOR_VARNISH = 0.06f;
/// Keeps a ray from hitting the surface it leaves.
constexpr float RAY_EPSILON = 1e-4f;

constexpr float hashToUnit(std::uint64_t value) {
    return float(mixBits(value) >> 40) * 0x1p-24f;
}

/// Oiled planks with a grain a few millimetres apart, finer than a pixel at the back of the
/// room: the high-frequency albedo that the denoiser must keep.
Vec3 floorAlbedo(const Vec3& p) {
    constexpr float PLANK_WIDTH = 0.14f;
    constexpr float BOARD_LENGTH = 1.2f;
    const float plank = std::floor(p.x / PLANK_WIDTH);
    const auto plankIndex = std::uint64_t(std::int64_t(plank) + 1000);
    const float shiftedZ = p.z + 1.7f * hashToUnit(plankIndex);
    const auto board = std::uint64_t(std::int64_t(std::floor(shiftedZ / BOARD_LENGTH)) + 1000);
    const float tone = 0.3f + 0.3f * hashToUnit(plankIndex * 7919u + board);
    const float grain = 0.5f + 0.5f * std::sin(p.x * 900.f + 3.f * std::sin(shiftedZ * 4.f + plank));
    const float gap = p.x - plank * PLANK_WIDTH < 0.004f ? 0.3f : 1.f;
    return Vec3{1.f, 0.68f, 0.42f} * (tone * (0.8f + 0.2f * grain) * gap);
}

/// The albedo of the wall whose inward normal is `normal`.
Vec3 wallAlbedo(const Vec3& normal, const Vec3& p) {
    if (normal.y > 0.5f) {
        return floorAlbedo(p);
    }
    if (normal.y < -0.5f) {
        return {0.8f, 0.8f, 0.8f};
    }
    if (normal.z > 0.5f) {
        return {0.55f, 0.6f, 0.68f};
    }
    return {0.75f, 0.7f, 0.62f};
}

QuadLight makeLight(Vec3 corner, Vec3 edgeU, Vec3 edgeV, Vec3 radiance, LightGroup group) {
    const Vec3 normal = cross(edgeU, edgeV);
    const float area = std::sqrt(dot(normal, normal));
    return {corner, edgeU, edgeV, normal * (1.f / area), radiance, group, area, 0.f};
}

/// Lights are picked by their power, with a share spread evenly so that a dim one still gets
/// samples.
void setPickProbabilities(std::array<QuadLight, LIGHT_GROUP_COUNT>& lights) {
    constexpr float EVEN_SHARE = 0.2f;
    float total = 0.f;
    for (const QuadLight& light : lights) {
        total += dot(light.radiance, Vec3{0.2126f, 0.7152f, 0.0722f}) * light.area;
    }
    for (QuadLight& light : lights) {
        const float power = dot(light.radiance, Vec3{0.2126f, 0.7152f, 0.0722f}) * light.area;
        light.pickProbability = (1.f - EVEN_SHARE) * power / total + EVEN_SHARE / float(lights.size());
    }
}

} // namespace

SampleScene::SampleScene()
    : eye{0.f, 1.35f, 2.2f}, forward(normalize(Vec3{-0.1f, 0.9f, -2.f} - eye)),
      right(normalize(cross(forward, Vec3{0.f, 1.f, 0.f}))), up(cross(right, forward)),
      tanHalfFov(std::tan(30.f * std::numbers::pi_v<float> / 180.f)),
      spheres{{{{-0.9f, 0.55f, -1.6f}, 0.55f, SurfaceKind::GLOSSY, {0.9f, 0.9f, 0.92f}},
               {{1.5f, 0.4f, -0.6f}, 0.4f, SurfaceKind::DIFFUSE, {0.7f, 0.12f, 0.08f}}}},
      boxes{{{{0.3f, 0.f, -3.f}, {1.6f, 0.9f, -2.2f}, {0.45f, 0.5f, 0.42f}},
             {{-2.4f, 1.6f, -4.f}, {-0.9f, 1.63f, -3.7f}, {0.85f, 0.85f, 0.82f}}}},
      pole{1.35f, -1.25f, 0.008f, 0.f, 2.08f, {0.12f, 0.12f, 0.12f}},
      lights{{makeLight({1.1f, 2.1f, -1.5f}, {0.2f, 0.f, 0.f}, {0.f, 0.f, 0.2f}, {360.f, 324.f, 270.f},
                        LightGroup::KEY),
              makeLight({-1.2f, 2.79f, -1.3f}, {2.4f, 0.f, 0.f}, {0.f, 0.f, 1.6f}, {0.9f, 1.f, 1.2f},
                        LightGroup::FILL),
              makeLight({-2.99f, 0.9f, -3.2f}, {0.f, 1.4f, 0.f}, {0.f, 0.f, 2.2f}, {4.f, 3.5f, 2.8f},
                        LightGroup::WINDOW),
              makeLight({-0.6f, 1.1f, -3.99f}, {0.8f, 0.f, 0.f}, {0.f, 0.5f, 0.f}, {0.5f, 0.8f, 1.2f},
                        LightGroup::REST)}} {
    setPickProbabilities(lights);
}

Ray SampleScene::cameraRay(float x, float y, int width, int height) const {
    const float aspect = float(width) / float(height);
    const float u = (2.f * x / float(width) - 1.f) * tanHalfFov * aspect;
    const float v = (1.f - 2.f * y / float(height)) * tanHalfFov;
    return {eye, normalize(forward + right * u + up * v)};
}

std::optional<SurfaceHit> SampleScene::intersect(const Ray& ray) const {
    SurfaceHit hit = intersectRoom(ray);
    if (!(hit.distance > 0.f)) {
        return std::nullopt;
    }
    const bool objectHit = intersectObjects(ray, hit);
    if (!intersectLights(ray, hit) && !objectHit) {
        // Only now: most rays that reach the walls' distance end at something nearer.
        hit.albedo = wallAlbedo(hit.normal, hit.position);
        hit.varnish = hit.normal.y > 0.5f ? FLOOR_VARNISH : 0.f;
    }
    if (dot(hit.normal, ray.direction) > 0.f) {
        hit.normal = -hit.normal;
    }
    return hit;
}

bool SampleScene::occluded(const Vec3& from, const Vec3& to) const {
    const Vec3 offset = to - from;
    const float distance = std::sqrt(dot(offset, offset));
    SurfaceHit hit;
    hit.distance = distance * (1.f - 1e-3f);
    return intersectObjects({from, offset * (1.f / distance)}, hit);
}

LightSample SampleScene::sampleLight(float pick, float u, float v) const {
    std::size_t index = 0;
    while (index + 1 < lights.size() && pick >= lights[index].pickProbability) {
        pick -= lights[index].pickProbability;
        ++index;
    }
    const QuadLight& light = lights[index];
    return {light.corner + light.edgeU * u + light.edgeV * v,
            light.radiance * (light.area / light.pickProbability), light.normal, light.group};
}

bool SampleScene::intersectObjects(const Ray& ray, SurfaceHit& hit) const {
    bool found = false;
    const auto accept = [&](float distance, SurfaceKind kind, const Vec3& albedo) {
        found = true;
        hit.distance = distance;
        hit.position = ray.origin + ray.direction * distance;
        hit.kind = kind;
        hit.albedo = albedo;
        hit.varnish = 0.f;
        hit.light = -1;
    };
    for (const Sphere& sphere : spheres) {
        const Vec3 toOrigin = ray.origin - sphere.center;
        const float b = dot(toOrigin, ray.direction);
        const float discriminant = b * b - dot(toOrigin, toOrigin) + sphere.radius * sphere.radius;
        const float distance = discriminant > 0.f ? -b - std::sqrt(discriminant) : -1.f;
        if (distance > RAY_EPSILON && distance < hit.distance) {
            accept(distance, sphere.kind, sphere.albedo);
            hit.normal = (hit.position - sphere.center) * (1.f / sphere.radius);
        }
    }
    for (const Box& box : boxes) {
        float near = -1e30f;
        float far = 1e30f;
        int nearAxis = 0;
        for (int axis = 0; axis < 3; ++axis) {
            const float inverse = 1.f / ray.direction[axis];
            float t0 = (box.min[axis] - ray.origin[axis]) * inverse;
            float t1 = (box.max[axis] - ray.origin[axis]) * inverse;
            if (t0 > t1) {
                std::swap(t0, t1);
            }
            if (t0 > near) {
                near = t0;
                nearAxis = axis;
            }
            far = std::min(far, t1);
        }
        if (near <= far && near > RAY_EPSILON && near < hit.distance) {
            accept(near, SurfaceKind::DIFFUSE, box.albedo);
            const float sign = ray.direction[nearAxis] > 0.f ? -1.f : 1.f;
            hit.normal = {nearAxis == 0 ? sign : 0.f, nearAxis == 1 ? sign : 0.f, nearAxis == 2 ? sign : 0.f};
        }
    }
    const float dx = ray.origin.x - pole.x;
    const float dz = ray.origin.z - pole.z;
    const float a = ray.direction.x * ray.direction.x + ray.direction.z * ray.direction.z;
    const float b = dx * ray.direction.x + dz * ray.direction.z;
    const float discriminant = b * b - a * (dx * dx + dz * dz - pole.radius * pole.radius);
    if (a > 0.f && discriminant > 0.f) {
        const float distance = (-b - std::sqrt(discriminant)) / a;
        const float y = ray.origin.y + ray.direction.y * distance;
        if (distance > RAY_EPSILON && distance < hit.distance && y >= pole.y0 && y <= pole.y1) {
            accept(distance, SurfaceKind::DIFFUSE, pole.albedo);
            hit.normal = Vec3{hit.position.x - pole.x, 0.f, hit.position.z - pole.z} * (1.f / pole.radius);
        }
    }
    return found;
}

bool SampleScene::intersectLights(const Ray& ray, SurfaceHit& hit) const {
    bool found = false;
    for (std::size_t index = 0; index < lights.size(); ++index) {
        const QuadLight& light = lights[index];
        const float facing = dot(ray.direction, light.normal);
        if (facing >= 0.f) {
            continue;
        }
        const float distance = dot(light.corner - ray.origin, light.normal) / facing;
        if (distance <= RAY_EPSILON || distance >= hit.distance) {
            continue;
        }
        const Vec3 local = ray.origin + ray.direction * distance - light.corner;
        const float u = dot(local, light.edgeU) / dot(light.edgeU, light.edgeU);
        const float v = dot(local, light.edgeV) / dot(light.edgeV, light.edgeV);
        if (u >= 0.f && u <= 1.f && v >= 0.f && v <= 1.f) {
            hit = {distance,  light.corner + local, light.normal, SurfaceKind::EMITTER, {1.f, 1.f, 1.f}, 0.f,
                   int(index)};
            found = true;
        }
    }
    return found;
}

SurfaceHit SampleScene::intersectRoom(const Ray& ray) const {
    SurfaceHit hit;
    hit.distance = 1e30f;
    int wallAxis = 0;
    for (int axis = 0; axis < 3; ++axis) {
        if (ray.direction[axis] == 0.f) {
            continue;
        }
        const float bound = ray.direction[axis] > 0.f ? ROOM_MAX[axis] : ROOM_MIN[axis];
        const float distance = (bound - ray.origin[axis]) / ray.direction[axis];
        if (distance < hit.distance) {
            hit.distance = distance;
            wallAxis = axis;
        }
    }
    const bool maxSide = ray.direction[wallAxis] > 0.f;
    hit.position = ray.origin + ray.direction * hit.distance;
    const float sign = maxSide ? -1.f : 1.f;
    hit.normal = {wallAxis == 0 ? sign : 0.f, wallAxis == 1 ? sign : 0.f, wallAxis == 2 ? sign : 0.f};
    return hit;
}

} // namespace Vespra::SampleGen
