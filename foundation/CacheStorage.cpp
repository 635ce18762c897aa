#include "foundation/CacheStorage.h"

namespace Vespra {

Optional<Any> CacheStorage::findAny(std::uint64_t key) {
    std::lock_guard lock(mutex);
    const auto found = index.find(key);
    if (found == index.end()) {
        return {};
    }
    items.splice(items.begin(), items, found->second);
    return found->second->value;
}

void CacheStorage::insertAny(std::uint64_t key, Any value, std::size_t size) {
    std::lock_guard lock(mutex);
    if (const auto found = index.find(key); found != index.end()) {
        erase(found->second);
    }
    if (size > capacityBytes) {
        return;
    }
    while (used + size > capacityBytes) {
        erase(std::prev(items.end()));
    }
    items.push_front({key, std::move(value), size});
    index.emplace(key, items.begin());
    used += size;
}

std::size_t CacheStorage::size() const {
    std::lock_guard lock(mutex);
    return items.size();
}

std::size_t CacheStorage::usedBytes() const {
    std::lock_guard lock(mutex);
    return used;
}

void CacheStorage::clear() {
    std::lock_guard lock(mutex);
    items.clear();
    index.clear();
    used = 0;
}

void CacheStorage::erase(Items::iterator item) {
    used -= item->size;
    index.erase(item->key);
    items.erase(item);
}

} // namespace Vespra
