#pragma once

#include "foundation/Pixel.h"
#include "foundation/Vector2.h"

namespace Vespra {

/// The part of the renderer's camera record that the editor needs: the fraction of the full
/// frame that an image shows. The editor's camera always renders the full frame.
struct CameraData {
    /// A rectangle in fractions of the full frame.
    struct CropRegion {
        Vector2 origin;
        Vector2 size{1.f, 1.f};
    };

    /// Width over height of the frame.
    float aspectRatio = 1.f;

    CropRegion computeOriginalImageCropRegion(Pixel /*resolution*/) const { return {}; }
};

} // namespace Vespra
