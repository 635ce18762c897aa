#pragma once

#include "fuzz/FuzzSupport.h"
#include "imaging/Lut.h"

namespace Vespra::Fuzz {

/// What loading does with a parsed table, then the table's use on a few colours: the result of
/// the parse must be one of the reader's, and a table it accepts must prepare and apply.
inline void useTable(LutResult parsed, Lut& lut) {
    require(parsed == LutResult::OK || parsed == LutResult::NONSTANDARD_FORMAT ||
                parsed == LutResult::READ_ERROR,
            "a parse result that no reader gives");
    if (parsed != LutResult::OK) {
        return;
    }
    // Serial inverses: the fuzzer runs one input at a time on one thread.
    lut.flags = Flags<LutFlag>(LutFlag::ACTIVE) | LutFlag::GAMMA_PREPARED | LutFlag::WITH_INVERSE;
    const LutResult prepared = lut.prepare();
    require(prepared == LutResult::OK || prepared == LutResult::TOO_LARGE_FOR_INVERSE,
            "a preparation result that no preparation gives");
    if (prepared != LutResult::OK) {
        return;
    }
    for (const float value : {-1.f, 0.f, 0.1f, 0.5f, 0.9f, 1.f, 3.f}) {
        const Rgb color(value, 1.f - value, value * value, 1.f);
        (void)lut(color);
        (void)lut.inverse(color);
    }
}

} // namespace Vespra::Fuzz
