#pragma once

#include "foundation/Pointers.h"

namespace Vespra {

/// Base of the item interfaces of a `ChannelImage`, with the run-time type queries that
/// tell one typed item from another.
template <class Interface>
class ItemInterfaceCommon : public Polymorphic {
public:
    template <class T>
    bool isA() const {
        return dynamic_cast<const T*>(this) != nullptr;
    }
    /// The item as `T`, or null when it is another kind.
    template <class T>
    T* as() {
        return dynamic_cast<T*>(this);
    }
    template <class T>
    const T* as() const {
        return dynamic_cast<const T*>(this);
    }
};

} // namespace Vespra
