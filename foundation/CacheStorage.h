#pragma once

#include <cstddef>
#include <cstdint>
#include <list>
#include <mutex>
#include <unordered_map>

#include "foundation/Optional.h"

namespace Vespra {

/// A cache of values by key, bounded by the sum of the sizes the callers give. When an item
/// does not fit, the least recently used items leave until it does; an item larger than the
/// whole capacity is not kept. Safe to use from several threads at once.
class CacheStorage {
public:
    explicit CacheStorage(std::size_t capacityBytes) : capacityBytes(capacityBytes) {}

    CacheStorage(const CacheStorage&) = delete;
    CacheStorage& operator=(const CacheStorage&) = delete;

    /// A copy of the value under `key`, which becomes the most recently used; empty if absent.
    Optional<Any> findAny(std::uint64_t key);
    /// The value under `key` if it is a `T`.
    template <class T>
    Optional<T> find(std::uint64_t key) {
        Optional<Any> found = findAny(key);
        if (const T* value = found ? std::any_cast<T>(&*found) : nullptr) {
            return *value;
        }
        return {};
    }

    /// Keeps `value` under `key`, replacing what was there, and counts it as `size` bytes.
    void insertAny(std::uint64_t key, Any value, std::size_t size);

    /// The number of items.
    std::size_t size() const;
    /// The sum of the sizes of the items.
    std::size_t usedBytes() const;
    std::size_t capacity() const { return capacityBytes; }
    void clear();

private:
    struct Item {
        std::uint64_t key;
        Any value;
        std::size_t size;
    };
    using Items = std::list<Item>;

    void erase(Items::iterator item);

    const std::size_t capacityBytes;
    mutable std::mutex mutex;
    /// Most recently used first.
    Items items;
    std::unordered_map<std::uint64_t, Items::iterator> index;
    std::size_t used = 0;
};

} // namespace Vespra
