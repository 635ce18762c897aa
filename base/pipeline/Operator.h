#pragma once

#include <cstdint>
#include <limits>

#include "base/image/ElementInfo.h"
#include "base/image/RenderElementInfo.h"
#include "foundation/Bitmap.h"
#include "foundation/Bucket.h"
#include "foundation/Containers.h"
#include "foundation/Optional.h"
#include "foundation/Pointers.h"
#include "foundation/Rgb.h"

namespace Vespra::Pipeline {

using ColorBitmap = BitmapImpl<Rgb, 0>;
using MonoBitmap = BitmapImpl<float, 0>;

/// Seconds since the epoch at which a node's data last changed.
using Timestamp = std::int64_t;
/// The time stamp of a node that has no data yet.
inline constexpr Timestamp NO_TIMESTAMP = std::numeric_limits<Timestamp>::min();
/// The current time, in the resolution of time stamps.
Timestamp currentTimestamp();

/// Bits of the `flags` of a pull.
namespace PullFlag {
/// The request comes from the on-screen display.
inline constexpr std::uint32_t DISPLAY = 1;
/// A synchronous request: asynchronous upstreams are waited for, and missing results are
/// computed on the calling thread. Savers pass it.
inline constexpr std::uint32_t SYNCHRONOUS = 2;
/// Read by the colour-map operator.
inline constexpr std::uint32_t HISTOGRAM = 4;
} // namespace PullFlag

/// A node of the operator graph: answers pulls for one render element over one region at one
/// zoom (source pixels per output pixel).
class IOperator : public Polymorphic {
public:
    virtual Timestamp getTimestamp() const = 0;
    /// The render elements this node can deliver, in display order.
    virtual Array<ElementInfo> getElements() const = 0;
    virtual Bucket getDisplayWindow() const = 0;
    virtual Bucket getDataWindow() const = 0;
    /// Empty when the node cannot deliver that element now.
    virtual Optional<ColorBitmap> getColorBitmap(const String& elementName, const Bucket& region, float zoom,
                                                 std::uint32_t flags) = 0;
    virtual Optional<MonoBitmap> getMonoBitmap(const String& elementName, const Bucket& region, float zoom,
                                               std::uint32_t flags) = 0;
};

/// An operator that does its work on a thread of its own.
class IAsync : public Polymorphic {
public:
    /// Blocks while a run is queued and not yet picked up; answers whether none is queued.
    virtual bool waitUntilIdle() = 0;
};

/// Tells the render information of the elements of the loaded image.
class IImageInfoProvider : public Polymorphic {
public:
    virtual Optional<RenderElementInfo> getRenderElementInfo(const ElementInfo& element) const = 0;
};

/// The only way one operator reads another. A synchronous pull first waits for an
/// asynchronous target and answers empty when that does not become idle.
Optional<ColorBitmap> pullColorBitmap(IOperator* target, const String& elementName, const Bucket& region, float zoom,
                                      std::uint32_t flags);
Optional<MonoBitmap> pullMonoBitmap(IOperator* target, const String& elementName, const Bucket& region, float zoom,
                                    std::uint32_t flags);

/// The first element of `target` with exactly that name.
Optional<ElementInfo> findElement(const IOperator* target, const String& elementName);
/// The elements of `target` for which `predicate` holds, in order.
Array<ElementInfo> filterElements(const IOperator* target, const Function<bool(const ElementInfo&)>& predicate);

} // namespace Vespra::Pipeline
