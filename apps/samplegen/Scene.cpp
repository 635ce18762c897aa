#include "apps/samplegen/Scene.h"

#include <cmath>
#include <numbers>

#include "apps/samplegen/Pcg32.h"

namespace Vespra::SampleGen {

namespace {

constexpr Vec3 ROOM_MIN{-3.f, 0.f, -4.f};
constexpr Vec3 ROOM_MAX{3.f, 2.8f, 2.5f};
/// The window in the left wall, which the sky quad fills and the sun shines through: y and z.
constexpr float WINDOW_Y0 = 0.9f;
constexpr float WINDOW_Y1 = 2.3f;
constexpr float WINDOW_Z0 = -3.2f;
constexpr float WINDOW_Z1 = -1.f;
/// The floor's varnish mirrors the small key light as a blurred highlight: the fireflies of
/// every diffuse surface that sees the floor.
constexpr float FLOOR_VARNISH = 0.06f;
/// Keeps a ray from hitting the surface it leaves.
constexpr float RAY_EPSILON = 1e-4f;
/// The radiance of the neon wire, magenta.
constexpr Vec3 NEON{6.f, 1.5f, 7.f};
/// Share of next-event estimation samples that go to the sun.
constexpr float SUN_PICK = 0.35f;

constexpr float hashToUnit(std::uint64_t value) {
    return float(mixBits(value) >> 40) * 0x1p-24f;
}

std::uint64_t cellIndex(float coordinate, float size) {
    return std::uint64_t(std::int64_t(std::floor(coordinate / size)) + (std::int64_t(1) << 20));
}

/// Tiles of 2.5 cm in black and white: a few pixels each at the back of the room at 640 by 360,
/// and finer than the noise of a few passes can show.
Vec3 floorAlbedo(const Vec3& p) {
    constexpr float SQUARE = 0.025f;
    const bool light = ((cellIndex(p.x, SQUARE) + cellIndex(p.z, SQUARE)) & 1u) != 0;
    return light ? Vec3{0.8f, 0.77f, 0.72f} : Vec3{0.035f, 0.035f, 0.04f};
}

/// Plaster of random grains of 1.2 cm: about a pixel on the back wall at 640 by 360.
Vec3 plasterAlbedo(const Vec3& p) {
    constexpr float GRAIN = 0.012f;
    const float grain = hashToUnit(cellIndex(p.x, GRAIN) * 0x100000001b3ull ^ cellIndex(p.y, GRAIN));
    return Vec3{0.55f, 0.6f, 0.68f} * (0.45f + 0.9f * grain);
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
        return plasterAlbedo(p);
    }
    if (normal.z < -0.5f) {
        return {0.55f, 0.6f, 0.68f};
    }
    return {0.75f, 0.7f, 0.62f};
}

int wallObject(int axis, bool maxSide) {
    static constexpr int WALLS[3][2] = {{ObjectId::LEFT_WALL, ObjectId::RIGHT_WALL},
                                        {ObjectId::FLOOR, ObjectId::CEILING},
                                        {ObjectId::BACK_WALL, ObjectId::FRONT_WALL}};
    return WALLS[axis][maxSide ? 1 : 0];
}

QuadLight makeLight(Vec3 corner, Vec3 edgeU, Vec3 edgeV, Vec3 radiance, LightGroup group) {
    const Vec3 normal = cross(edgeU, edgeV);
    const float area = std::sqrt(dot(normal, normal));
    return {corner, edgeU, edgeV, normal * (1.f / area), radiance, group, area, 0.f};
}

/// The area lights share what the sun leaves by their power, with a part spread evenly so that
/// a dim one still gets samples.
void setPickProbabilities(std::array<QuadLight, AREA_LIGHT_COUNT>& lights) {
    constexpr float EVEN_SHARE = 0.2f;
    float total = 0.f;
    for (const QuadLight& light : lights) {
        total += dot(light.radiance, Vec3{0.2126f, 0.7152f, 0.0722f}) * light.area;
    }
    for (QuadLight& light : lights) {
        const float power = dot(light.radiance, Vec3{0.2126f, 0.7152f, 0.0722f}) * light.area;
        light.pickProbability =
            (1.f - SUN_PICK) * ((1.f - EVEN_SHARE) * power / total + EVEN_SHARE / float(lights.size()));
    }
}

/// The unit vector of `length` along `axis`.
Vec3 axisVector(int axis, float length) {
    return {axis == 0 ? length : 0.f, axis == 1 ? length : 0.f, axis == 2 ? length : 0.f};
}

} // namespace

SampleScene::SampleScene()
    : eye{0.f, 1.35f, 2.2f}, forward(normalize(Vec3{-0.1f, 0.9f, -2.f} - eye)),
      right(normalize(cross(forward, Vec3{0.f, 1.f, 0.f}))), up(cross(right, forward)),
      tanHalfFov(std::tan(30.f * std::numbers::pi_v<float> / 180.f)),
      spheres{
          {{{-0.9f, 0.55f, -1.6f}, 0.55f, SurfaceKind::MIRROR, {0.92f, 0.92f, 0.94f}, ObjectId::MIRROR_BALL},
           {{0.55f, 0.38f, -0.5f}, 0.38f, SurfaceKind::GLASS, {0.98f, 0.98f, 0.97f}, ObjectId::GLASS_BALL},
           {{1.85f, 0.4f, -1.2f}, 0.4f, SurfaceKind::DIFFUSE, {0.7f, 0.12f, 0.08f}, ObjectId::RED_BALL}}},
      boxes{{{{0.3f, 0.f, -3.f}, {0.95f, 0.9f, -2.2f}, {0.45f, 0.5f, 0.42f}, ObjectId::LEFT_CABINET},
             {{0.95f, 0.f, -3.f}, {1.6f, 0.9f, -2.2f}, {0.45f, 0.5f, 0.42f}, ObjectId::RIGHT_CABINET},
             {{-2.4f, 1.6f, -4.f}, {-0.9f, 1.63f, -3.7f}, {0.85f, 0.85f, 0.82f}, ObjectId::SHELF}}},
      cylinders{{// The lamp pole, under the key light.
                 {1, 1.35f, -1.25f, 0.004f, 0.f, 2.08f, {0.12f, 0.12f, 0.12f}, {}, ObjectId::FIRST_ROD},
                 // A rack of black rods before the glowing screen.
                 {1, -0.5f, -3.5f, 0.0035f, 0.95f, 1.75f, {0.04f, 0.04f, 0.04f}, {}, ObjectId::FIRST_ROD + 1},
                 {1, -0.3f, -3.5f, 0.0035f, 0.95f, 1.75f, {0.04f, 0.04f, 0.04f}, {}, ObjectId::FIRST_ROD + 2},
                 {1, -0.1f, -3.5f, 0.0035f, 0.95f, 1.75f, {0.04f, 0.04f, 0.04f}, {}, ObjectId::FIRST_ROD + 3},
                 {1, 0.1f, -3.5f, 0.0035f, 0.95f, 1.75f, {0.04f, 0.04f, 0.04f}, {}, ObjectId::FIRST_ROD + 4},
                 // The neon wire along the back wall.
                 {0, 2.35f, -3.93f, 0.003f, -2.5f, 1.f, {1.f, 1.f, 1.f}, NEON, ObjectId::FIRST_ROD + 5}}},
      lights{{makeLight({1.1f, 2.1f, -1.5f}, {0.2f, 0.f, 0.f}, {0.f, 0.f, 0.2f}, {360.f, 324.f, 270.f},
                        LightGroup::KEY),
              makeLight({-1.2f, 2.79f, -1.3f}, {2.4f, 0.f, 0.f}, {0.f, 0.f, 1.6f}, {0.9f, 1.f, 1.2f},
                        LightGroup::FILL),
              makeLight({-2.99f, WINDOW_Y0, WINDOW_Z0}, {0.f, WINDOW_Y1 - WINDOW_Y0, 0.f},
                        {0.f, 0.f, WINDOW_Z1 - WINDOW_Z0}, {2.5f, 3.f, 4.f}, LightGroup::WINDOW),
              makeLight({-0.6f, 1.1f, -3.99f}, {0.8f, 0.f, 0.f}, {0.f, 0.5f, 0.f}, {0.5f, 0.8f, 1.2f},
                        LightGroup::REST)}},
      sunDirection(normalize(Vec3{-1.f, 0.9f, 0.35f})), sunIrradiance{44.f, 40.f, 33.f},
      sunPickProbability(SUN_PICK) {
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
        hit.entering = false;
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

bool SampleScene::seesSun(const Vec3& point) const {
    const SurfaceHit wall = intersectRoom({point, sunDirection});
    const bool throughWindow = wall.normal.x > 0.5f && wall.position.y >= WINDOW_Y0 &&
                               wall.position.y <= WINDOW_Y1 && wall.position.z >= WINDOW_Z0 &&
                               wall.position.z <= WINDOW_Z1;
    return throughWindow && !occluded(point, wall.position);
}

LightSample SampleScene::sampleLight(float pick, float u, float v) const {
    if (pick < sunPickProbability) {
        return {sunDirection, sunIrradiance * (1.f / sunPickProbability), -sunDirection, LightGroup::WINDOW,
                true};
    }
    pick -= sunPickProbability;
    std::size_t index = 0;
    while (index + 1 < lights.size() && pick >= lights[index].pickProbability) {
        pick -= lights[index].pickProbability;
        ++index;
    }
    const QuadLight& light = lights[index];
    return {light.corner + light.edgeU * u + light.edgeV * v,
            light.radiance * (light.area / light.pickProbability), light.normal, light.group, false};
}

bool SampleScene::intersectObjects(const Ray& ray, SurfaceHit& hit) const {
    bool found = false;
    const auto accept = [&](float distance, SurfaceKind kind, const Vec3& albedo, int object) {
        found = true;
        hit.distance = distance;
        hit.position = ray.origin + ray.direction * distance;
        hit.kind = kind;
        hit.albedo = albedo;
        hit.varnish = 0.f;
        hit.emission = {};
        hit.sampledDirectly = false;
        hit.object = object;
    };
    for (const Sphere& sphere : spheres) {
        const Vec3 toOrigin = ray.origin - sphere.center;
        const float b = dot(toOrigin, ray.direction);
        const float discriminant = b * b - dot(toOrigin, toOrigin) + sphere.radius * sphere.radius;
        if (discriminant <= 0.f) {
            continue;
        }
        // The far side for a ray inside, which only glass lets in.
        const float root = std::sqrt(discriminant);
        const float distance = -b - root > RAY_EPSILON ? -b - root : -b + root;
        if (distance > RAY_EPSILON && distance < hit.distance) {
            accept(distance, sphere.kind, sphere.albedo, sphere.object);
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
            accept(near, SurfaceKind::DIFFUSE, box.albedo, box.object);
            hit.normal = axisVector(nearAxis, ray.direction[nearAxis] > 0.f ? -1.f : 1.f);
        }
    }
    for (const Cylinder& cylinder : cylinders) {
        const int p = cylinder.axis == 0 ? 1 : 0;
        const int q = cylinder.axis == 2 ? 1 : 2;
        const float du = ray.direction[p];
        const float dv = ray.direction[q];
        const float ou = ray.origin[p] - cylinder.u;
        const float ov = ray.origin[q] - cylinder.v;
        const float a = du * du + dv * dv;
        const float b = ou * du + ov * dv;
        const float discriminant = b * b - a * (ou * ou + ov * ov - cylinder.radius * cylinder.radius);
        if (!(a > 0.f) || discriminant <= 0.f) {
            continue;
        }
        const float distance = (-b - std::sqrt(discriminant)) / a;
        const float along = ray.origin[cylinder.axis] + ray.direction[cylinder.axis] * distance;
        if (distance > RAY_EPSILON && distance < hit.distance && along >= cylinder.from &&
            along <= cylinder.to) {
            const bool emits = cylinder.emission.x > 0.f;
            accept(distance, emits ? SurfaceKind::EMITTER : SurfaceKind::DIFFUSE, cylinder.albedo,
                   cylinder.object);
            hit.emission = cylinder.emission;
            hit.group = LightGroup::REST;
            const Vec3 radial = axisVector(p, (ou + du * distance) / cylinder.radius) +
                                axisVector(q, (ov + dv * distance) / cylinder.radius);
            hit.normal = radial;
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
            hit.distance = distance;
            hit.position = light.corner + local;
            hit.normal = light.normal;
            hit.kind = SurfaceKind::EMITTER;
            hit.albedo = {1.f, 1.f, 1.f};
            hit.varnish = 0.f;
            hit.emission = light.radiance;
            hit.group = light.group;
            hit.sampledDirectly = true;
            hit.object = ObjectId::FIRST_LIGHT + int(index);
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
    hit.normal = axisVector(wallAxis, maxSide ? -1.f : 1.f);
    hit.object = wallObject(wallAxis, maxSide);
    return hit;
}

} // namespace Vespra::SampleGen
