#pragma once

#include <cmath>

#include "foundation/Float4.h"

namespace Vespra {

/// x^y with the C library's `powf` in each of the four lanes: the exact counterpart of
/// `powApprox` for saved and read-out values.
inline Float4 powExact(Float4 x, Float4 y) {
    alignas(16) float base[4];
    alignas(16) float exponent[4];
    x.store(base);
    y.store(exponent);
    for (int lane = 0; lane < 4; ++lane) {
        base[lane] = std::pow(base[lane], exponent[lane]);
    }
    return Float4::load(base);
}

} // namespace Vespra
