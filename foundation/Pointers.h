#pragma once

#include <functional>
#include <memory>

namespace Vespra {

/// Reference-counted shared owner with a weak count.
template <class T>
using SharedPtr = std::shared_ptr<T>;

template <class T>
using WeakPtr = std::weak_ptr<T>;

template <class T>
using EnableSharedFromThis = std::enable_shared_from_this<T>;

/// Unique owner with a deleter.
template <class T, class Deleter = std::default_delete<T>>
using AutoPtr = std::unique_ptr<T, Deleter>;

/// Copyable function object.
template <class Signature>
using Function = std::function<Signature>;

template <class T, class... Args>
SharedPtr<T> makeShared(Args&&... args) {
    return std::make_shared<T>(std::forward<Args>(args)...);
}

template <class T, class... Args>
AutoPtr<T> makeAuto(Args&&... args) {
    return std::make_unique<T>(std::forward<Args>(args)...);
}

/// Base of classes used through a pointer to their interface.
class Polymorphic {
public:
    virtual ~Polymorphic() = default;
};

} // namespace Vespra
