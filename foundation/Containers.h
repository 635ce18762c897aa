#pragma once

#include <algorithm>
#include <array>
#include <cstddef>
#include <initializer_list>
#include <iterator>
#include <span>
#include <vector>

#include "foundation/Memory.h"

namespace Vespra {

/// Non-owning view of a start and a length.
template <class T>
using ArrayView = std::span<T>;

/// Array of compile-time length.
template <class T, std::size_t N>
using StaticArray = std::array<T, N>;

/// Asks for items that are allocated but not written (see `Array(count, UNINITIALIZED)`).
struct Uninitialized {};
inline constexpr Uninitialized UNINITIALIZED{};

namespace Detail {
/// `count` copies of `UninitializedItem`, as the forward range that a vector is built from.
class UninitializedItems {
public:
    using iterator_category = std::forward_iterator_tag;
    using value_type = UninitializedItem;
    using difference_type = std::ptrdiff_t;
    using pointer = const UninitializedItem*;
    using reference = UninitializedItem;

    explicit UninitializedItems(std::size_t index) : index(index) {}

    UninitializedItem operator*() const { return {}; }
    UninitializedItems& operator++() {
        ++index;
        return *this;
    }
    UninitializedItems operator++(int) {
        UninitializedItems before = *this;
        ++index;
        return before;
    }
    bool operator==(const UninitializedItems&) const = default;

private:
    std::size_t index;
};
} // namespace Detail

/// Array owning its items, allocated with the alignment of `Float4`.
template <class T>
class Array {
protected:
    using Storage = std::vector<T, AlignedAllocator<T>>;
    Storage items;

public:
    using value_type = T;
    using iterator = typename Storage::iterator;
    using const_iterator = typename Storage::const_iterator;

    Array() = default;
    explicit Array(std::size_t count) : items(count) {}
    Array(std::size_t count, const T& value) : items(count, value) {}
    /// `count` items whose storage is left as the allocator gave it, for trivially copyable `T`:
    /// the caller writes every item before any is read.
    Array(std::size_t count, Uninitialized)
        : items(Detail::UninitializedItems(0), Detail::UninitializedItems(count)) {}
    Array(std::initializer_list<T> list) : items(list) {}
    explicit Array(ArrayView<const T> view) : items(view.begin(), view.end()) {}
    template <class Iterator>
    Array(Iterator first, Iterator last) : items(first, last) {}

    std::size_t size() const { return items.size(); }
    bool empty() const { return items.empty(); }
    T* data() { return items.data(); }
    const T* data() const { return items.data(); }
    T& operator[](std::size_t index) { return items[index]; }
    const T& operator[](std::size_t index) const { return items[index]; }
    T& front() { return items.front(); }
    const T& front() const { return items.front(); }
    T& back() { return items.back(); }
    const T& back() const { return items.back(); }
    iterator begin() { return items.begin(); }
    iterator end() { return items.end(); }
    const_iterator begin() const { return items.begin(); }
    const_iterator end() const { return items.end(); }

    /// New items are value-initialised.
    void resize(std::size_t count) { items.resize(count); }
    void resize(std::size_t count, const T& value) { items.resize(count, value); }
    void fill(const T& value) { std::fill(items.begin(), items.end(), value); }
    void clear() { items.clear(); }
    std::size_t capacity() const { return items.capacity(); }
    /// Gives back storage beyond the size.
    void shrinkToFit() { items.shrink_to_fit(); }

    operator ArrayView<T>() { return {items.data(), items.size()}; }
    operator ArrayView<const T>() const { return {items.data(), items.size()}; }
    ArrayView<T> view() { return *this; }
    ArrayView<const T> view() const { return *this; }

    bool operator==(const Array& other) const { return items == other.items; }
};

/// Growable array. Capacity grows to the larger of what is needed and one and a half
/// times the old capacity.
template <class T>
class Stack : public Array<T> {
    using Array<T>::items;

public:
    using Array<T>::Array;

    void push(const T& item) {
        growFor(1);
        items.push_back(item);
    }
    void push(T&& item) {
        growFor(1);
        items.push_back(std::move(item));
    }
    /// For `std::back_inserter`.
    void push_back(const T& item) { push(item); }
    template <class... Args>
    T& emplace(Args&&... args) {
        growFor(1);
        return items.emplace_back(std::forward<Args>(args)...);
    }
    void pushAll(ArrayView<const T> more) {
        growFor(more.size());
        items.insert(items.end(), more.begin(), more.end());
    }
    T pop() {
        T item = std::move(items.back());
        items.pop_back();
        return item;
    }
    void insert(std::size_t index, T item) {
        growFor(1);
        items.insert(items.begin() + std::ptrdiff_t(index), std::move(item));
    }
    void remove(std::size_t index) { items.erase(items.begin() + std::ptrdiff_t(index)); }
    void reserve(std::size_t count) { items.reserve(count); }

private:
    void growFor(std::size_t extra) {
        const std::size_t needed = items.size() + extra;
        if (needed > items.capacity()) {
            items.reserve(std::max(needed, items.capacity() + items.capacity() / 2));
        }
    }
};

} // namespace Vespra
