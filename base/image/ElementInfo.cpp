#include "base/image/ElementInfo.h"

#include "base/image/ElementNames.h"

namespace Vespra {

namespace {

bool hasAll(const ElementInfo& element, std::uint32_t bits) {
    return (element.flags & bits) == bits;
}

bool isVisibleColor(const ElementInfo& element) {
    return isColorKind(element.kind) && !hasAll(element, ElementInfo::INTERNAL);
}

bool isBloomSource(const ElementInfo& element) {
    return element.name.isEmpty() || element.name == BLOOM_GLARE_INTERACTIVE_NAME ||
           element.name == LIGHT_MIX_INTERACTIVE_NAME || hasAll(element, ElementInfo::LIGHT_MIX_LAYER);
}

} // namespace

bool bloomApplies(const ElementInfo& element) {
    return isColorKind(element.kind) && !hasAll(element, ElementInfo::NO_BLOOM | ElementInfo::NO_GLARE) &&
           isBloomSource(element);
}

bool isOfferedForDenoising(const ElementInfo& element) {
    return isVisibleColor(element) && hasAll(element, ElementInfo::DENOISABLE);
}

bool isNotDenoisable(const ElementInfo& element) {
    return isVisibleColor(element) && !hasAll(element, ElementInfo::DENOISABLE);
}

bool isDenoisedInEffect(const ElementInfo& element) {
    return (element.flags & (ElementInfo::SELECTED_FOR_DENOISING | ElementInfo::HAS_DENOISED)) != 0;
}

bool hasDenoisedVersion(const ElementInfo& element) {
    return hasAll(element, ElementInfo::HAS_DENOISED);
}

bool isOfferedForLightMix(const ElementInfo& element) {
    return isVisibleColor(element) && !element.name.isEmpty();
}

} // namespace Vespra
