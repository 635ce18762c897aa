#pragma once

#include <Imath/ImathBox.h>

#include "foundation/Bucket.h"
#include "foundation/Optional.h"
#include "foundation/String.h"
#include "foundation/io/Path.h"

namespace Vespra::Detail {

/// OpenEXR's pool: the logical processors, at least 2, or none. The setting is process-wide.
void setExrGlobalThreadCount(bool multithreaded);

/// Boxes of OpenEXR hold their maxima, buckets hold the first coordinate past them.
inline Imath::Box2i toBox(const Bucket& bucket) {
    return Imath::Box2i(Imath::V2i(bucket.x0, bucket.y0), Imath::V2i(bucket.x1 - 1, bucket.y1 - 1));
}
inline Bucket toBucket(const Imath::Box2i& box) {
    return {box.min.x, box.min.y, box.max.x + 1, box.max.y + 1};
}

/// The text of a failure while reading or writing the image file at `path`, made readable:
/// it names the file in double quotes and its native form, and ends with a full stop.
String readableExrFailure(String text, const Io::Path& path);

/// Runs `work` and answers its result, or any exception it raised as a readable failure.
template <class Work>
auto runExrWork(const Io::Path& path, Work&& work) -> Expected<decltype(work())> {
    try {
        return work();
    } catch (const Exception& exception) {
        return makeUnexpected(readableExrFailure(exception.getMessage(), path));
    } catch (const std::exception& exception) {
        return makeUnexpected(readableExrFailure(String::fromUtf8(exception.what()), path));
    } catch (...) {
        return makeUnexpected(readableExrFailure(String(), path));
    }
}

} // namespace Vespra::Detail
