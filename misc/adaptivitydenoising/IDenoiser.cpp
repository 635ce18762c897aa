#include "misc/adaptivitydenoising/IDenoiser.h"

namespace Vespra {

void IDenoiser::filterElements(ArrayView<const DenoiseElement> elements,
                               const Function<bool(float)>& progress,
                               const Function<void(std::size_t, BitmapImpl<Rgb>&&)>& store) {
    const std::size_t count = elements.size();
    for (std::size_t index = 0; index < count; ++index) {
        BitmapImpl<Rgb> image, squared;
        elements[index].load(image, squared);
        Optional<BitmapImpl<Rgb>> result;
        // After a stop, the first report of each later element stops it at once.
        filter(
            result, std::move(image), std::move(squared), elements[index].type,
            [&progress, index, count](float done) { return progress((done + float(index)) / float(count)); });
        if (result) {
            store(index, std::move(*result));
        }
    }
}

} // namespace Vespra
