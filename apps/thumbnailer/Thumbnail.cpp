#include "apps/thumbnailer/Thumbnail.h"

#include <algorithm>
#include <atomic>
#include <cmath>
#include <future>

#include <OpenImageIO/imagebuf.h>
#include <OpenImageIO/imagebufalgo.h>

#include "base/image/ElementNames.h"
#include "base/image/ExrLoader.h"
#include "base/pipeline/OperatorGraph.h"
#include "foundation/ParallelFor.h"
#include "foundation/Scheduler.h"
#include "foundation/Str.h"
#include "foundation/image/ImageFile.h"
#include "settings/Settings.h"

namespace Vespra::Thumbnailer {

namespace {

/// The name of the beauty element in the graph.
const String BEAUTY;

/// Loads `input` into the graph, reading only the beauty's channels. Answers the load's error
/// text when it fails.
Optional<String> load(Pipeline::OperatorGraph& graph, const Io::Path& input) {
    // The callbacks run on the load's worker and may still be returning after the result is
    // set, so what they touch lives as long as they do.
    struct Outcome {
        std::promise<Optional<String>> done;
        std::atomic<bool> settled = false;
        void settle(Optional<String> error) {
            if (!settled.exchange(true)) {
                done.set_value(std::move(error));
            }
        }
    };
    const SharedPtr<Outcome> outcome = makeShared<Outcome>();
    std::future<Optional<String>> result = outcome->done.get_future();
    graph.load.onFinished = [outcome](const String&) { outcome->settle(std::nullopt); };
    graph.load.onError = [outcome](const String& text) { outcome->settle(text); };
    graph.load.setLoader(makeShared<Pipeline::LoadOperator::Loader>(
        [](const Io::Path& path) { return ExrLoader(true, isBeautyChannel).load(path); }));
    graph.load.setInput({}, Array<Io::Path>{input});
    return result.get();
}

/// What an 8-bit file keeps of a display value: 0..1, NaN as 0.
float clampedToUnit(float value) {
    return value > 0.f ? std::min(value, 1.f) : 0.f;
}

void clampToUnit(BitmapImpl<Rgb>& bitmap) {
    parallelFor(Scheduler::highPriorityInstance(), 0, bitmap.height(), 16, [&](std::int32_t y) {
        Rgb* row = bitmap.row(y);
        for (std::int32_t x = 0; x < bitmap.width(); ++x) {
            for (int lane = 0; lane < 4; ++lane) {
                row[x][lane] = clampedToUnit(row[x][lane]);
            }
        }
    });
}

/// `source` averaged down to `size`: each thumbnail pixel is the mean of the pulled pixels that
/// fall into its area.
Expected<BitmapImpl<Rgb>, String> reduce(BitmapImpl<Rgb>& source, Pixel size) {
    static_assert(sizeof(Rgb) == 4 * sizeof(float));
    BitmapImpl<Rgb> reduced(size.x, size.y, UNINITIALIZED);
    const OIIO::ImageBuf from(OIIO::ImageSpec(source.width(), source.height(), 4, OIIO::TypeDesc::FLOAT),
                              source.data());
    OIIO::ImageBuf to(OIIO::ImageSpec(size.x, size.y, 4, OIIO::TypeDesc::FLOAT), reduced.data());
    if (!OIIO::ImageBufAlgo::resize(to, from, "box", 1.f)) {
        return makeUnexpected(u"Cannot reduce the image: " + String::fromUtf8(to.geterror()) + u".");
    }
    return reduced;
}

} // namespace

Pixel thumbnailSize(Pixel source, int maxSide) {
    const std::int32_t longer = std::max(source.x, source.y);
    if (longer <= maxSide) {
        return source;
    }
    const double scale = double(maxSide) / double(longer);
    const auto side = [&](std::int32_t length) {
        return length == longer ? maxSide : std::max(1, int(std::lround(double(length) * scale)));
    };
    return {side(source.x), side(source.y)};
}

int pullZoom(Pixel source, int maxSide) {
    const std::int64_t longer = std::max(source.x, source.y);
    return int(std::max<std::int64_t>(1, longer / (std::int64_t(SUPERSAMPLING) * std::max(maxSide, 1))));
}

bool isBeautyChannel(const String& channelName) {
    const String element = splitChannelName(channelName).first;
    return element == BEAUTY || element == denoisedName(BEAUTY);
}

Expected<Thumbnail, String> renderThumbnail(const Io::Path& input, int maxSide) {
    if (maxSide < 1) {
        return makeUnexpected(
            Str::getFormatted("The thumbnail size must be at least 1 pixel, not {}.", maxSide));
    }
    try {
        Settings settings;
        Pipeline::OperatorGraph graph(settings);
        if (const Optional<String> error = load(graph, input)) {
            return makeUnexpected(*error);
        }
        const Optional<ElementInfo> beauty = Pipeline::findElement(&graph.zoom, BEAUTY);
        const Bucket window = graph.zoom.getDataWindow();
        if (!beauty || window.isEmpty()) {
            return makeUnexpected(u"The image \"" + input.nativeStr() + u"\" has no beauty element to show.");
        }
        const Pixel source = window.size();
        const int zoom = pullZoom(source, maxSide);
        Optional<Pipeline::ColorBitmap> pulled =
            Pipeline::pullColorBitmap(&graph.zoom, BEAUTY, Bucket::fromSize(source.x, source.y), float(zoom),
                                      Pipeline::PullFlag::SYNCHRONOUS);
        if (!pulled || pulled->isEmpty()) {
            return makeUnexpected(u"Unable to compute the pixels of the beauty element of \"" +
                                  input.nativeStr() + u"\".");
        }
        clampToUnit(*pulled);
        Thumbnail thumbnail;
        thumbnail.hasAlpha = beauty->kind == ElementInfo::KIND_COLOR_ALPHA;
        const Pixel size = thumbnailSize(source, maxSide);
        if (pulled->size() == size) {
            thumbnail.pixels = std::move(*pulled);
            return thumbnail;
        }
        Expected<BitmapImpl<Rgb>, String> reduced = reduce(*pulled, size);
        if (!reduced) {
            return makeUnexpected(reduced.error());
        }
        thumbnail.pixels = std::move(*reduced);
        return thumbnail;
    } catch (const Exception& error) {
        return makeUnexpected(error.getMessage());
    } catch (const std::exception& error) {
        return makeUnexpected(u"Cannot make a thumbnail of \"" + input.nativeStr() + u"\": " +
                              String::fromUtf8(error.what()) + u".");
    }
}

Expected<bool, String> writeThumbnail(const Io::Path& input, const Io::Path& output, int maxSide) {
    const Expected<Thumbnail, String> thumbnail = renderThumbnail(input, maxSide);
    if (!thumbnail) {
        return makeUnexpected(thumbnail.error());
    }
    ImageSaveSettings settings;
    settings.bitDepth = 8;
    const RgbBitmapIterator pixels(thumbnail->pixels, thumbnail->hasAlpha);
    return saveImage(output, pixels, false, ImageFormat::PNG, settings);
}

} // namespace Vespra::Thumbnailer
