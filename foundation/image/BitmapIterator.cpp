#include "foundation/image/BitmapIterator.h"

namespace Vespra {

void RgbBitmapIterator::readRow(std::int32_t y, float* out) const {
    const Rgb* row = bitmap.row(y);
    const std::int32_t count = channels();
    for (std::int32_t x = 0; x < bitmap.width(); ++x) {
        for (std::int32_t channel = 0; channel < count; ++channel) {
            *out++ = row[x][channel];
        }
    }
}

} // namespace Vespra
