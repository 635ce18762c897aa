#pragma once

#include <utility>

#include "foundation/Pointers.h"

namespace Vespra {

/// An optional value that copies share until one of them is changed: copying costs a reference
/// count, and `edit` gives a copy that shares its value a value of its own first. Made for large
/// tables that are built once and then read by many copies of their owner. Changes go through
/// `edit` alone, so that no read copies a table by accident.
/// Reading one value from several threads is safe; changing a copy is as safe as changing any
/// other object of one thread.
template <class T>
class CopyOnWrite {
public:
    CopyOnWrite() = default;
    CopyOnWrite(T value) : shared(makeShared<T>(std::move(value))) {}

    explicit operator bool() const { return shared != nullptr; }

    const T& operator*() const { return *shared; }
    const T* operator->() const { return shared.get(); }

    /// The value, to change; it must exist.
    T& edit() {
        if (shared.use_count() > 1) {
            shared = makeShared<T>(std::as_const(*shared));
        }
        return *shared;
    }

    /// Replaces the value with a new one made from `args`.
    template <class... Args>
    T& emplace(Args&&... args) {
        shared = makeShared<T>(std::forward<Args>(args)...);
        return *shared;
    }

    void reset() { shared.reset(); }

private:
    SharedPtr<T> shared;
};

} // namespace Vespra
