#pragma once

#include "foundation/Bitmap.h"
#include "foundation/Containers.h"
#include "foundation/Optional.h"
#include "foundation/Pointers.h"
#include "foundation/Rgb.h"
#include "misc/adaptivitydenoising/DenoisingTypes.h"

namespace Vespra {

/// One element of a render as `IDenoiser::filterElements` takes it.
struct DenoiseElement {
    /// Reads the element's pixels and the mean of its squared samples; may throw. Called once,
    /// when the denoiser is ready for the element.
    Function<void(BitmapImpl<Rgb>& image, BitmapImpl<Rgb>& squared)> load;
    ElementType type;
};

/// Removes noise from one element at a time, or from several elements of one render.
class IDenoiser : public Polymorphic {
public:
    /// Filters `image`, whose squared samples are `squared`. `progress` gets the fraction done
    /// of this image and answers true to stop; then `result` stays empty. The denoiser owns
    /// `image`, `squared` and `progress` for the call and releases them before it returns.
    virtual void filter(Optional<BitmapImpl<Rgb>>& result, BitmapImpl<Rgb>&& image, BitmapImpl<Rgb>&& squared,
                        const ElementType& elementType, Function<bool(float)>&& progress) = 0;

    /// Filters `elements`, each to the very pixels that `filter` gives it, and hands each
    /// result to `store` with the element's index as soon as it is finished. `progress` gets
    /// the fraction done of all elements and answers true to stop; the elements not finished
    /// by then get no result. This one loads and filters the elements one after the other; a
    /// denoiser may load several at once and share work between them.
    virtual void filterElements(ArrayView<const DenoiseElement> elements,
                                const Function<bool(float)>& progress,
                                const Function<void(std::size_t, BitmapImpl<Rgb>&&)>& store);
};

} // namespace Vespra
