#include "apps/samplegen/PathTracer.h"

#include <algorithm>
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

/// The denoiser's features describe the first surface that is neither a mirror, glass nor the
/// varnish's reflection, seen through those on the way: the texture reflected in the mirror is
/// detail to keep, not noise. The fourth lane of the normals holds the object's identifier.
void storeFeatures(SampleValues& values, const SurfaceHit& hit, const Vec3& reflectance, const Ray& ray) {
    const Vec3 diffuse = reflectance * hit.albedo;
    store(values, Slot::VISIBLE_DIFFUSE, diffuse);
    store(values, Slot::VISIBLE_NORMALS, hit.normal);
    values[Slot::VISIBLE_NORMALS + 3] = float(hit.object) / OBJECT_ID_RANGE;
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
    int diffuseVertices = 0;
    for (int vertex = 0; vertex < MAX_VERTICES; ++vertex) {
        ++rayCount;
        const auto hit = scene.intersect(ray);
        if (!hit) {
            break;
        }
        if (vertex == 0) {
            values[Slot::BEAUTY + 3] = 1.f;
            values[Slot::Z_DEPTH] = scene.viewDepth(ray, hit->distance);
            store(values, Slot::ALBEDO, hit->albedo);
            store(values, Slot::NORMALS, hit->normal);
        }
        const bool specular = hit->kind == SurfaceKind::MIRROR || hit->kind == SurfaceKind::GLASS;
        if (!specular && !featuresStored) {
            storeFeatures(values, *hit, throughput, ray);
            featuresStored = true;
        }
        if (hit->kind == SurfaceKind::EMITTER) {
            // Next-event estimation finds the area lights from a diffuse surface; the neon wire
            // only a path that hits it.
            if (emissionCounts || !hit->sampledDirectly) {
                add(values, Slot::LIGHT_SELECTS + 3 * int(hit->group), throughput * hit->emission);
            }
            break;
        }
        if (specular) {
            throughput *= hit->albedo;
            if (hit->kind == SurfaceKind::MIRROR) {
                ray = {hit->position + hit->normal * SURFACE_OFFSET, reflect(ray.direction, hit->normal)};
            } else {
                passGlass(*hit, ray, random);
            }
            // Next-event estimation cannot reach a light through a mirror or glass.
            emissionCounts = true;
            continue;
        }
        const bool varnishReflects = hit->varnish > 0.f && random.uniform() < VARNISH_PICK;
        if (varnishReflects) {
            // Sampling the lobe itself leaves the reflectance, over the chance of the choice, as
            // the weight.
            throughput *= Vec3{1.f, 1.f, 1.f} * (hit->varnish / VARNISH_PICK);
            if (!reflectGlossy(*hit, ray, random)) {
                break;
            }
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

void PathTracer::passGlass(const SurfaceHit& hit, Ray& ray, Pcg32& random) {
    const float eta = hit.entering ? 1.f / GLASS_INDEX : GLASS_INDEX;
    const float cosIn = -dot(ray.direction, hit.normal);
    const float sinOutSquared = eta * eta * std::max(0.f, 1.f - cosIn * cosIn);
    float reflectance = 1.f;
    float cosOut = 0.f;
    if (sinOutSquared < 1.f) {
        cosOut = std::sqrt(1.f - sinOutSquared);
        constexpr float NORMAL_REFLECTANCE =
            (GLASS_INDEX - 1.f) * (GLASS_INDEX - 1.f) / ((GLASS_INDEX + 1.f) * (GLASS_INDEX + 1.f));
        const float grazing = 1.f - (hit.entering ? cosIn : cosOut);
        reflectance = NORMAL_REFLECTANCE + (1.f - NORMAL_REFLECTANCE) * std::pow(grazing, 5.f);
    }
    if (random.uniform() < reflectance) {
        ray = {hit.position + hit.normal * SURFACE_OFFSET, reflect(ray.direction, hit.normal)};
    } else {
        ray = {hit.position - hit.normal * SURFACE_OFFSET,
               normalize(ray.direction * eta + hit.normal * (eta * cosIn - cosOut))};
    }
}

Vec3 PathTracer::sampleDirect(const SurfaceHit& hit, Pcg32& random, LightGroup& group,
                              std::uint64_t& rayCount) const {
    const float pick = random.uniform();
    const float u = random.uniform();
    const LightSample light = scene.sampleLight(pick, u, random.uniform());
    group = light.group;
    if (light.directional) {
        const float cosine = dot(hit.normal, light.position);
        if (cosine <= 0.f) {
            return {};
        }
        ++rayCount;
        if (!scene.seesSun(hit.position + hit.normal * SURFACE_OFFSET)) {
            return {};
        }
        return hit.albedo * light.weightedRadiance * (cosine / std::numbers::pi_v<float>);
    }
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
