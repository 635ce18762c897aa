#pragma once

#include "base/image/ElementInfo.h"
#include "base/image/RenderElementInfo.h"
#include "foundation/Containers.h"
#include "foundation/String.h"

namespace Vespra {

/// The render elements of an image with float channels named `floatChannelNames`, described by
/// `infos`: each group of channels sharing a prefix is one element, with the kind its
/// components give and the flags its name, its counterparts and its description give. The
/// light-mix layers come first in the order of `infos`, then the others by name, so with the
/// beauty first, and the alpha last.
Stack<ElementInfo> deriveElementList(ArrayView<const String> floatChannelNames,
                                     ArrayView<const RenderElementInfo> infos);

} // namespace Vespra
