#include "apps/samplegen/PathTracer.h"

#include <cmath>
#include <numbers>

namespace Vespra::SampleGen {

namespace {

constexpr float SURFACE_OFFSET = 1e-4f;

void store(SampleValues& values, int slot, const Vec3& value) {
    values[std::size_t(slot)] = value.x;
    values[std::size_t(slot) + 1] = value.y;
    values[std::size_t(slot) + 2] = value.z;
}

void add(SampleValues& values, int slot, const Vec3& value) {
    values[std::size_t(slot)] += value.x;
    values[std::size_t(slot) + 1] += value.y;
    values[std::size_t(slot) + 2] += value.z;
}

/// The direction at angle acos(`cosine`) from the unit vector `axis`, turned by 2 pi `turn`.
Vec3 directionAround(const Vec3& axis, float cosine, float turn) {
    // Orthonormal basis without branches on the axis's direction (Duff et al. 2017).
    const float sign = std::copysign(1.f, axis.z);
    const float a = -1.f / (sign + axis.z);
    const float b = axis.x * axis.y * a;
    const Vec3 tangent{1.f + sign * axis.x * axis.x * a, sign * b, -sign * axis.x};
    const Vec3 bitangent{b, sign + axis.y * axis.y * a, -axis.y};
    const float sine = std::sqrt(std::max(0.f, 1.f - cosine * cosine));
    const float angle = 2.f * std::numbers::pi_v<float> * turn;
    return normalize(tangent * (sine * std::cos(angle)) + bitangent * (sine * std::sin(angle)) +
                     axis * cosine);
}

/// A direction around `normal` with density cosine / pi.
Vec3 sampleCosine(const Vec3& normal, float u, float v) {
    return directionAround(normal, std::sqrt(std::max(0.f, 1.f - u)), v);
}

/// A direction around `mirrored` with density proportional to the Phong lobe.
Vec3 samplePhongLobe(const Vec3& mirrored, float exponent, float u, float v) {
    return directionAround(mirrored, std::pow(u, 1.f / (exponent + 1.f)), v);
}

/// The denoiser's features describe the first surface that is not glossy, seen through the
/// glossy ones on the way: the texture reflected in the ball is detail to keep, not noise.
void storeFeatures(SampleValues& values, const SurfaceHit& hit, const Vec3& reflectance, const Ray& ray,
                   float pathLength) {
    const Vec3 diffuse = reflectance * hit.albedo;
    store(values, Slot::VISIBLE_DIFFUSE, diffuse);
    store(values, Slot::VISIBLE_NORMALS, hit.normal);
    values[Slot::VISIBLE_NORMALS + 3] = std::min(1.f, pathLength / SampleScene::DIAMETER);
    store(values, Slot::HYBRID, diffuse * std::abs(dot(hit.normal, ray.direction)));
}

} // namespace

SampleValues PathTracer::trace(float x, float y, int width, int height, Pcg32& random,
                               std::uint64_t& rayCount) const {
    SampleValues values{};
    Ray ray = scene.cameraRay(x, y, width, height);
    Vec3 throughput{1.f, 1.f, 1.f};
    bool emissionCounts = true;
    bool featuresStored = false;
    float pathLength = 0.f;
    int diffuseVertices = 0;
    for (int vertex = 0; vertex < MAX_VERTICES; ++vertex) {
        ++rayCount;
        const auto hit = scene.intersect(ray);
        if (!hit) {
            break;
        }
        pathLength += hit->distance;
        if (vertex == 0) {
            values[Slot::BEAUTY + 3] = 1.f;
            values[Slot::Z_DEPTH] = scene.viewDepth(ray, hit->distance);
            store(values, Slot::ALBEDO, hit->albedo);
            store(values, Slot::NORMALS, hit->normal);
        }
        if (hit->kind != SurfaceKind::GLOSSY && !featuresStored) {
            storeFeatures(values, *hit, throughput, ray, pathLength);
            featuresStored = true;
        }
        if (hit->kind == SurfaceKind::EMITTER) {
            if (emissionCounts) {
                const QuadLight& light = scene.getLights()[std::size_t(hit->light)];
                add(values, Slot::LIGHT_SELECTS + 3 * int(light.group), throughput * light.radiance);
            }
            break;
        }
        const bool varnishReflects = hit->varnish > 0.f && random.uniform() < VARNISH_PICK;
        if (hit->kind == SurfaceKind::GLOSSY || varnishReflects) {
            // Sampling the lobe itself leaves the reflectance, over the chance of the choice, as
            // the weight.
            throughput *= varnishReflects ? Vec3{1.f, 1.f, 1.f} * (hit->varnish / VARNISH_PICK) : hit->albedo;
            if (!reflectGlossy(*hit, ray, random)) {
                break;
            }
            // Next-event estimation cannot reach a light through a glossy reflection.
            emissionCounts = true;
            continue;
        }
        if (hit->varnish > 0.f) {
            throughput *= (1.f - hit->varnish) / (1.f - VARNISH_PICK);
        }
        LightGroup group = LightGroup::REST;
        const Vec3 direct = sampleDirect(*hit, random, group, rayCount);
        add(values, Slot::LIGHT_SELECTS + 3 * int(group), throughput * direct);
        if (++diffuseVertices == MAX_DIFFUSE_VERTICES) {
            break;
        }
        // Cosine sampling cancels the cosine and the 1/pi of the diffuse reflection.
        throughput *= hit->albedo;
        const float u = random.uniform();
        ray = {hit->position + hit->normal * SURFACE_OFFSET, sampleCosine(hit->normal, u, random.uniform())};
        // Lights met by chance after a diffuse bounce were already sampled directly.
        emissionCounts = false;
    }
    Vec3 beauty;
    for (int group = 0; group < LIGHT_GROUP_COUNT; ++group) {
        const int slot = Slot::LIGHT_SELECTS + 3 * group;
        beauty += {values[std::size_t(slot)], values[std::size_t(slot) + 1], values[std::size_t(slot) + 2]};
    }
    store(values, Slot::BEAUTY, beauty);
    return values;
}

bool PathTracer::reflectGlossy(const SurfaceHit& hit, Ray& ray, Pcg32& random) {
    const float u = random.uniform();
    const Vec3 direction =
        samplePhongLobe(reflect(ray.direction, hit.normal), GLOSSY_EXPONENT, u, random.uniform());
    ray = {hit.position + hit.normal * SURFACE_OFFSET, direction};
    return dot(direction, hit.normal) > 0.f;
}

Vec3 PathTracer::sampleDirect(const SurfaceHit& hit, Pcg32& random, LightGroup& group,
                              std::uint64_t& rayCount) const {
    const float pick = random.uniform();
    const float u = random.uniform();
    const LightSample light = scene.sampleLight(pick, u, random.uniform());
    group = light.group;
    const Vec3 toLight = light.position - hit.position;
    const float distanceSquared = dot(toLight, toLight);
    const Vec3 direction = toLight * (1.f / std::sqrt(distanceSquared));
    const float surfaceCosine = dot(hit.normal, direction);
    const float lightCosine = -dot(light.lightNormal, direction);
    if (surfaceCosine <= 0.f || lightCosine <= 0.f) {
        return {};
    }
    ++rayCount;
    if (scene.occluded(hit.position + hit.normal * SURFACE_OFFSET, light.position)) {
        return {};
    }
    const float geometry = surfaceCosine * lightCosine / (distanceSquared * std::numbers::pi_v<float>);
    return hit.albedo * light.weightedRadiance * geometry;
}

} // namespace Vespra::SampleGen
