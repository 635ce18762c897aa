#pragma once

#include <cstdint>

#include "base/image/ElementInfo.h"
#include "base/image/RenderElementTypes.h"
#include "foundation/Containers.h"
#include "foundation/Optional.h"
#include "foundation/Pointers.h"
#include "foundation/String.h"

namespace Vespra {

/// What the renderer says about one of its elements. Travels as text "name|Type|Flag+Flag".
class RenderElementInfo : public Polymorphic {
public:
    /// Channel name: the beauty is "BEAUTY" and the alpha "Alpha" here.
    String name;
    RenderElementFlags flags;
    RenderElementTypeVariant type = std::monostate();

    RenderElementInfo() = default;
    RenderElementInfo(String name, RenderElementFlags flags, RenderElementTypeVariant type)
        : name(std::move(name)), flags(flags), type(type) {}

    String toString() const;
    /// The fields are split from the end, so the name may itself hold a vertical bar.
    static Expected<RenderElementInfo> fromString(const String& text);

    bool operator==(const RenderElementInfo& other) const {
        return name == other.name && flags == other.flags && type == other.type;
    }
};

/// The information in `list` that describes `element`: the interactive light mix and bloom
/// elements match by type, any other element by its channel name.
Optional<RenderElementInfo> findRenderElementInfo(ArrayView<const RenderElementInfo> list,
                                                  const ElementInfo& element);

/// The `ElementInfo` bits saying which colour effects skip an element of `kind` described by
/// `info`. Without information a colour element gets every effect.
std::uint32_t renderFlagsToElementBits(const Optional<RenderElementInfo>& info, std::uint32_t kind);

} // namespace Vespra
