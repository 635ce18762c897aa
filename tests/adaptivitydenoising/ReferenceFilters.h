#pragma once

// Plain per-pixel evaluations of the denoising formulas, written straight from their definitions
// with no sharing of work, as the oracle of the fast filters.

#include <algorithm>
#include <array>
#include <cmath>
#include <random>
#include <vector>

#include "foundation/Bitmap.h"
#include "foundation/Rgb.h"
#include "misc/adaptivitydenoising/NlmFeature.h"

namespace Vespra::Reference {

using Px = std::array<float, 4>;

inline Px px(const BitmapImpl<Rgb>& image, int x, int y) {
    const Rgb& c = image(x, y);
    return {c.r, c.g, c.b, c.a};
}

inline Rgb toRgb(const Px& p) {
    return Rgb(p[0], p[1], p[2], p[3]);
}

inline float lane(const Float4& v, int i) {
    return v[i];
}

inline float meanColours(const Px& p) {
    return (p[0] + p[1] + p[2]) / 3.f;
}

inline bool inside(const BitmapImpl<Rgb>& image, int x, int y) {
    return x >= 0 && y >= 0 && x < image.width() && y < image.height();
}

/// d(a, b) of one lane.
inline float pairDistance(float a, float b, float va, float vb, float alpha, float epsilon) {
    const float numerator = (a - b) * (a - b) - alpha * (std::min(va, vb) + va);
    return std::max(0.f, numerator / (epsilon + va + std::min(vb, 1000.f * va)));
}

/// Patch distance of p to q with patch half-size h, cut to the pixels where both patches lie
/// in the image; per lane (`laneWise`) or as a mean over colours in lane 0.
inline Px patchDistance(const BitmapImpl<Rgb>& colour, const BitmapImpl<Rgb>& variance, int px0, int py0,
                        int qx, int qy, int h, float alpha, float epsilon) {
    Px sum{0, 0, 0, 0};
    int count = 0;
    for (int oy = -h; oy <= h; ++oy) {
        for (int ox = -h; ox <= h; ++ox) {
            if (!inside(colour, px0 + ox, py0 + oy) || !inside(colour, qx + ox, qy + oy)) {
                continue;
            }
            const Px a = px(colour, px0 + ox, py0 + oy);
            const Px b = px(colour, qx + ox, qy + oy);
            const Px va = px(variance, px0 + ox, py0 + oy);
            const Px vb = px(variance, qx + ox, qy + oy);
            for (int i = 0; i < 4; ++i) {
                sum[size_t(i)] +=
                    pairDistance(a[size_t(i)], b[size_t(i)], va[size_t(i)], vb[size_t(i)], alpha, epsilon);
            }
            ++count;
        }
    }
    for (float& s : sum) {
        s /= float(count);
    }
    return sum;
}

inline float meanPatchDistance(const BitmapImpl<Rgb>& colour, const BitmapImpl<Rgb>& variance, int px0,
                               int py0, int qx, int qy, int h, float alpha, float epsilon) {
    return meanColours(patchDistance(colour, variance, px0, py0, qx, qy, h, alpha, epsilon));
}

/// The largest feature term over features in the weights and lanes, starting at -1.
inline float featureTerm(const std::vector<Feature>& features, int px0, int py0, int qx, int qy,
                         float gradientScale, float distance) {
    float largest = -1.f;
    for (const Feature& feature : features) {
        if (!feature.config.has(FeatureConfig::IN_WEIGHTS)) {
            continue;
        }
        const Px fp = px(feature.mean, px0, py0), fq = px(feature.mean, qx, qy);
        const Px vp = px(feature.variance, px0, py0), vq = px(feature.variance, qx, qy);
        const Px g = px(feature.gradient, px0, py0);
        for (size_t i = 0; i < 4; ++i) {
            const float normaliser =
                std::max(lane(feature.config.minGradient, int(i)) * gradientScale * distance, g[i]);
            const float df = lane(feature.config.invK2, int(i)) *
                             ((fp[i] - fq[i]) * (fp[i] - fq[i]) -
                              lane(feature.config.varianceScale, int(i)) * (std::min(vp[i], vq[i]) + vp[i])) /
                             normaliser;
            largest = std::max(largest, df);
        }
    }
    return largest;
}

inline bool shouldFilterMean(const Px& c, const Px& v) {
    if (c[0] == 0 && c[1] == 0 && c[2] == 0 && c[3] == 0) {
        return false;
    }
    return meanColours(v) > 0.0001f * (c[0] * c[0] + c[1] * c[1] + c[2] * c[2]) / 3.f;
}

struct NlmSettings {
    int support;
    int patch;
    float alpha;
    float epsilon;
    std::vector<Feature> features;
    float gradientScale = 1.f;
    float colourFactor = 1.f;
};

/// NlmFilter (scalar weight) or NlmVectorFilter (`laneWise`) at one pixel.
inline Px nlmPixel(const BitmapImpl<Rgb>& image, const BitmapImpl<Rgb>& colour,
                   const BitmapImpl<Rgb>& variance, const NlmSettings& s, bool laneWise, int x, int y) {
    const Px c = px(colour, x, y), v = px(variance, x, y);
    const bool filter = laneWise ? (0.0001f * c[0] * c[0] < v[0] || 0.0001f * c[1] * c[1] < v[1] ||
                                    0.0001f * c[2] * c[2] < v[2] || 0.0001f * c[3] * c[3] < v[3])
                                 : shouldFilterMean(c, v);
    if (!filter) {
        return px(image, x, y);
    }
    const int radius = (s.support - s.patch) / 2;
    Px weights{0, 0, 0, 0}, sums{0, 0, 0, 0};
    for (int qy = y - radius; qy <= y + radius; ++qy) {
        for (int qx = x - radius; qx <= x + radius; ++qx) {
            if (!inside(image, qx, qy)) {
                continue;
            }
            const Px d = patchDistance(colour, variance, x, y, qx, qy, s.patch / 2, s.alpha, s.epsilon);
            const Px value = px(image, qx, qy);
            for (size_t i = 0; i < 4; ++i) {
                float w;
                if (laneWise) {
                    w = std::exp(-s.colourFactor * d[i]);
                } else {
                    const float wc = std::exp(-meanColours(d) * s.colourFactor);
                    const float wf = std::exp(-featureTerm(s.features, x, y, qx, qy, s.gradientScale, 1.f));
                    w = std::min(wc, wf);
                }
                weights[i] += w;
                sums[i] += w * value[i];
            }
        }
    }
    return {sums[0] / weights[0], sums[1] / weights[1], sums[2] / weights[2], sums[3] / weights[3]};
}

inline BitmapImpl<Rgb> nlm(const BitmapImpl<Rgb>& image, const BitmapImpl<Rgb>& colour,
                           const BitmapImpl<Rgb>& variance, const NlmSettings& s, bool laneWise) {
    BitmapImpl<Rgb> out(image.width(), image.height());
    for (int y = 0; y < image.height(); ++y) {
        for (int x = 0; x < image.width(); ++x) {
            out(x, y) = toRgb(nlmPixel(image, colour, variance, s, laneWise, x, y));
        }
    }
    return out;
}

/// NlmTriFilter<SMALL, PATCH> on `image` (which is also the colour). Fills triple and weightSum.
inline void triFilter(const BitmapImpl<Rgb>& image, const BitmapImpl<Rgb>& variance, const NlmSettings& s,
                      int smallPatch, Px candidateFactors, BitmapImpl<TripleWeight>& triple,
                      BitmapImpl<float>& weightSum) {
    const int radius = (s.support - s.patch) / 2;
    const int margin = s.support / 2;
    triple.resize(image.width(), image.height());
    weightSum.resize(image.width(), image.height());
    for (int y = 0; y < image.height(); ++y) {
        for (int x = 0; x < image.width(); ++x) {
            const Px p = px(image, x, y), vp = px(variance, x, y);
            TripleWeight& out = triple(x, y);
            if (!shouldFilterMean(p, vp)) {
                weightSum(x, y) = 1000.f;
                out = {toRgb(p), toRgb(p), toRgb(p), toRgb(p), toRgb(p), toRgb(p)};
                continue;
            }
            const bool border =
                x < margin || y < margin || x >= image.width() - margin || y >= image.height() - margin;
            std::array<Px, 3> a{}, ap{};
            Px b{0, 0, 0, 0}, bp{0, 0, 0, 0};
            for (int qy = y - radius; qy <= y + radius; ++qy) {
                for (int qx = x - radius; qx <= x + radius; ++qx) {
                    if (!inside(image, qx, qy)) {
                        continue;
                    }
                    const float e =
                        meanPatchDistance(image, variance, x, y, qx, qy, s.patch / 2, s.alpha, s.epsilon);
                    const float c = border ? e
                                           : meanPatchDistance(image, variance, x, y, qx, qy, smallPatch / 2,
                                                               s.alpha, s.epsilon);
                    const Px q = px(image, qx, qy), vq = px(variance, qx, qy);
                    float t = 0.f;
                    for (size_t i = 0; i < 3; ++i) {
                        t += 0.02f * (p[i] - q[i]) * p[i] /
                             (s.epsilon + vp[i] + std::min(vq[i], 1000.f * vp[i])) / 3.f;
                    }
                    const float bigT = t / float(s.patch * s.patch);
                    const float dist =
                        std::max(1.f, std::sqrt(float((qx - x) * (qx - x) + (qy - y) * (qy - y))));
                    const float wf = std::exp(-featureTerm(s.features, x, y, qx, qy, s.gradientScale, dist));
                    const float distances[3] = {c, e, e};
                    for (size_t i = 0; i < 3; ++i) {
                        const float w = std::min(std::exp(-distances[i] * candidateFactors[i]), wf);
                        const float wp = std::min(std::exp(-(distances[i] + bigT) * candidateFactors[i]), wf);
                        for (size_t l = 0; l < 4; ++l) {
                            a[i][l] += w * q[l];
                            ap[i][l] += wp * 1.01f * q[l];
                        }
                        b[i] += w;
                        bp[i] += wp;
                    }
                }
            }
            weightSum(x, y) = b[1];
            Rgb* members[3][2] = {{&out.value0, &out.derivative0},
                                  {&out.value1, &out.derivative1},
                                  {&out.value2, &out.derivative2}};
            for (size_t i = 0; i < 3; ++i) {
                Px f, d;
                for (size_t l = 0; l < 4; ++l) {
                    f[l] = a[i][l] / b[i];
                    d[l] = (ap[i][l] / bp[i] - f[l]) / (0.01f * meanColours(p) + 0.000001f);
                }
                *members[i][0] = toRgb(f);
                *members[i][1] = toRgb(d);
            }
        }
    }
}

inline std::vector<Px> sortedByMean(std::vector<Px> pixels) {
    std::sort(pixels.begin(), pixels.end(),
              [](const Px& a, const Px& b) { return meanColours(a) < meanColours(b); });
    return pixels;
}

/// NlmOutlierRemoval at every pixel.
inline BitmapImpl<Rgb> nlmOutlierRemoval(const BitmapImpl<Rgb>& image, const BitmapImpl<Rgb>& variance,
                                         const NlmSettings& s, float gamma, const Feature* exclude) {
    BitmapImpl<Rgb> out = image;
    for (int y = 0; y < image.height(); ++y) {
        for (int x = 0; x < image.width(); ++x) {
            const Px p = px(image, x, y);
            if (exclude && meanColours(px(exclude->mean, x, y)) > 0.f) {
                continue;
            }
            if (!shouldFilterMean(p, px(variance, x, y))) {
                continue;
            }
            Px w{0, 0, 0, 0}, m{0, 0, 0, 0}, sum{0, 0, 0, 0}, q2{0, 0, 0, 0};
            std::vector<Px> neighbours;
            for (int qy = y - 1; qy <= y + 1; ++qy) {
                for (int qx = x - 1; qx <= x + 1; ++qx) {
                    if ((qx == x && qy == y) || !inside(image, qx, qy)) {
                        continue;
                    }
                    const Px q = px(image, qx, qy);
                    neighbours.push_back(q);
                    const float wc =
                        std::exp(-meanPatchDistance(image, variance, x, y, qx, qy, 1, s.alpha, s.epsilon) *
                                 s.colourFactor);
                    const float weight =
                        std::min(wc, std::exp(-featureTerm(s.features, x, y, qx, qy, s.gradientScale, 1.f)));
                    for (size_t l = 0; l < 4; ++l) {
                        w[l] += weight;
                        m[l] += q[l];
                        sum[l] += weight * q[l];
                        q2[l] += q[l] * q[l];
                    }
                }
            }
            if (!(meanColours(w) > 0.f)) {
                continue;
            }
            Px c, spread;
            for (size_t l = 0; l < 4; ++l) {
                c[l] = sum[l] / w[l];
                spread[l] = c[l] * c[l] + q2[l] / 9.f - 2.f * c[l] * m[l] / 9.f;
            }
            const float v = meanColours(spread);
            bool keep = true;
            for (size_t l = 0; l < 3; ++l) {
                keep = keep && (c[l] - p[l]) * (c[l] - p[l]) < std::max(s.epsilon, 0.000001f) + gamma * v;
            }
            if (!keep) {
                const std::vector<Px> sorted = sortedByMean(neighbours);
                const int n = int(sorted.size());
                out(x, y) = toRgb(sorted[size_t(1 + std::max(n - 2, 2) / 2)]);
            }
        }
    }
    return out;
}

/// The 3x3 median test at every pixel.
inline BitmapImpl<Rgb> outlierRemoval(const BitmapImpl<Rgb>& image, float gamma, bool markOnly) {
    BitmapImpl<Rgb> out = image;
    for (int y = 0; y < image.height(); ++y) {
        for (int x = 0; x < image.width(); ++x) {
            std::vector<Px> all;
            for (int qy = y - 1; qy <= y + 1; ++qy) {
                for (int qx = x - 1; qx <= x + 1; ++qx) {
                    if (inside(image, qx, qy)) {
                        all.push_back(px(image, qx, qy));
                    }
                }
            }
            const std::vector<Px> sorted = sortedByMean(all);
            const int n = int(sorted.size());
            const Px median = sorted[size_t(n / 2 + 1)];
            const int k = std::max(n - 2, 2);
            const Px p = px(image, x, y);
            bool keep = true;
            for (size_t l = 0; l < 3; ++l) {
                float spread = 0.f;
                for (int i = 0; i < k; ++i) {
                    spread += (sorted[size_t(i)][l] - median[l]) * (sorted[size_t(i)][l] - median[l]);
                }
                keep = keep && p[l] - median[l] < 0.001f + gamma * spread / float(k);
            }
            if (!keep) {
                out(x, y) = markOnly ? Rgb(100000000.f, 0.f, 0.f, 0.f) : toRgb(median);
            }
        }
    }
    return out;
}

inline BitmapImpl<Rgb> gradient(const BitmapImpl<Rgb>& image) {
    BitmapImpl<Rgb> out(image.width(), image.height());
    for (int y = 0; y < image.height(); ++y) {
        for (int x = 0; x < image.width(); ++x) {
            const int cx = std::clamp(x, 1, image.width() - 2), cy = std::clamp(y, 1, image.height() - 2);
            const Px c = px(image, cx, cy);
            const Px r = px(image, cx + 1, cy), l = px(image, cx - 1, cy), d = px(image, cx, cy + 1),
                     u = px(image, cx, cy - 1);
            Px g;
            for (size_t i = 0; i < 4; ++i) {
                g[i] = std::min((r[i] - c[i]) * (r[i] - c[i]), (l[i] - c[i]) * (l[i] - c[i])) +
                       std::min((d[i] - c[i]) * (d[i] - c[i]), (u[i] - c[i]) * (u[i] - c[i]));
            }
            out(x, y) = toRgb(g);
        }
    }
    return out;
}

inline int mirror(int i, int n) {
    return i < 0 ? -i : (i >= n ? 2 * n - 2 - i : i);
}

/// Full 2D 3x3 Gaussian of sigma 1 at the even pixels, taps squared for a variance.
inline BitmapImpl<Rgb> downscale(const BitmapImpl<Rgb>& image, bool forVariance) {
    const float taps[3] = {0.27407f, 0.45186f, 0.27407f};
    BitmapImpl<Rgb> out(image.width() / 2, image.height() / 2);
    for (int j = 0; j < out.height(); ++j) {
        for (int i = 0; i < out.width(); ++i) {
            Px sum{0, 0, 0, 0};
            for (int b = -1; b <= 1; ++b) {
                for (int a = -1; a <= 1; ++a) {
                    float w = taps[a + 1] * taps[b + 1];
                    w = forVariance ? w * w : w;
                    const Px p =
                        px(image, mirror(2 * i + a, image.width()), mirror(2 * j + b, image.height()));
                    for (size_t l = 0; l < 4; ++l) {
                        sum[l] += w * p[l];
                    }
                }
            }
            out(i, j) = toRgb(sum);
        }
    }
    return out;
}

inline BitmapImpl<Rgb> upscale(const BitmapImpl<Rgb>& image, int width, int height) {
    BitmapImpl<Rgb> out(width, height);
    for (int j = 0; j < height; ++j) {
        for (int i = 0; i < width; ++i) {
            const float fx = float(i) * float(image.width()) / float(width);
            const float fy = float(j) * float(image.height()) / float(height);
            const int x0 = int(fx), y0 = int(fy);
            const int x1 = std::min(x0 + 1, image.width() - 1), y1 = std::min(y0 + 1, image.height() - 1);
            const float tx = fx - float(x0), ty = fy - float(y0);
            Px result;
            for (size_t l = 0; l < 4; ++l) {
                result[l] = (1 - ty) * ((1 - tx) * px(image, x0, y0)[l] + tx * px(image, x1, y0)[l]) +
                            ty * ((1 - tx) * px(image, x0, y1)[l] + tx * px(image, x1, y1)[l]);
            }
            out(i, j) = toRgb(result);
        }
    }
    return out;
}

} // namespace Vespra::Reference
