#pragma once

#include "base/pipeline/DependentMixin.h"
#include "base/pipeline/SettingsMixin.h"
#include "imaging/CameraData.h"
#include "imaging/ColorMapping.h"
#include "imaging/PostProcessData.h"

namespace Vespra::Pipeline {

/// Maps the linear pixels of upstream to display values with `Mapping`, built afresh from the
/// settings at every pull, in place in the bitmap upstream delivered. Elements flagged as not
/// colour mapped pass untouched.
template <class Mapping>
class ColorMapOperator : public DependentMixin<1, SettingsMixin<IOperator>> {
public:
    Optional<ColorBitmap> getColorBitmap(const String& name, const Bucket& region, float zoom,
                                         std::uint32_t flags) override {
        Optional<ColorBitmap> bitmap = pullColorBitmap(upstream[0], name, region, zoom, flags);
        if (!bitmap) {
            return std::nullopt;
        }
        const Optional<ElementInfo> element = findElement(upstream[0], name);
        if (element && (element->flags & ElementInfo::NOT_COLOR_MAPPED)) {
            return bitmap;
        }
        const Bucket displayWindow = upstream[0]->getDisplayWindow();
        const Bucket dataWindow = upstream[0]->getDataWindow();
        // The vignette is placed in display-window coordinates of the full image.
        const Pixel origin{dataWindow.x0 - displayWindow.x0 + region.x0,
                           dataWindow.y0 - displayWindow.y0 + region.y0};
        const Pixel resolution = displayWindow.size();
        CameraData camera;
        camera.aspectRatio = float(resolution.x) / float(resolution.y);
        // PostProcessData reads through a shared pointer; this one does not own the settings.
        const SharedPtr<Abstract::Settings> sharedSettings(SharedPtr<Abstract::Settings>(), settings);
        const Mapping mapping(PostProcessData(sharedSettings, resolution, camera));
        mapping.applyToBitmap(*bitmap, origin, zoom, colorMapFlavour(flags));
        return bitmap;
    }
};

} // namespace Vespra::Pipeline
