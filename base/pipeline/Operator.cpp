#include "base/pipeline/Operator.h"

#include <ctime>

namespace Vespra::Pipeline {

namespace {

/// False when a synchronous pull finds an asynchronous target with a run still queued.
bool readyForPull(IOperator* target, std::uint32_t flags) {
    if (!(flags & PullFlag::SYNCHRONOUS)) {
        return true;
    }
    auto* async = dynamic_cast<IAsync*>(target);
    return !async || async->waitUntilIdle();
}

} // namespace

Timestamp currentTimestamp() {
    return Timestamp(std::time(nullptr));
}

Optional<ColorBitmap> pullColorBitmap(IOperator* target, const String& elementName, const Bucket& region, float zoom,
                                      std::uint32_t flags) {
    if (!readyForPull(target, flags)) {
        return std::nullopt;
    }
    return target->getColorBitmap(elementName, region, zoom, flags);
}

Optional<MonoBitmap> pullMonoBitmap(IOperator* target, const String& elementName, const Bucket& region, float zoom,
                                    std::uint32_t flags) {
    if (!readyForPull(target, flags)) {
        return std::nullopt;
    }
    return target->getMonoBitmap(elementName, region, zoom, flags);
}

Optional<ElementInfo> findElement(const IOperator* target, const String& elementName) {
    for (const ElementInfo& element : target->getElements()) {
        if (element.name == elementName) {
            return element;
        }
    }
    return std::nullopt;
}

Array<ElementInfo> filterElements(const IOperator* target, const Function<bool(const ElementInfo&)>& predicate) {
    Stack<ElementInfo> kept;
    for (const ElementInfo& element : target->getElements()) {
        if (predicate(element)) {
            kept.push(element);
        }
    }
    return kept;
}

} // namespace Vespra::Pipeline
