#pragma once

#include <cstddef>
#include <cstdint>
#include <new>
#include <type_traits>

namespace Vespra {

/// Alignment of every container allocation: the width of a `Float4`.
inline constexpr std::size_t FLOAT4_ALIGNMENT = 16;

/// The allocator behind all containers. Counts what is live and the peak, so that
/// memory use can be shown and tested. Freed blocks of whole frames (16 MB and more) are kept
/// for reuse, up to 512 MB together, which spares repeated pulls of a large image mapping and
/// clearing fresh pages; they do not count as live.
void* vespraMalloc(std::size_t size, std::size_t alignment = FLOAT4_ALIGNMENT);
void vespraFree(void* pointer);

std::int64_t getAllocatedMemory();
std::int64_t getPeakAllocatedMemory();
void resetPeakAllocatedMemory();

namespace Detail {
/// The item that `AlignedAllocator` constructs by leaving the storage as it is: what containers
/// of trivially copyable items are filled from when every item is written afterwards anyway,
/// which spares a whole frame one pass of clearing (see `Array(count, UNINITIALIZED)`).
struct UninitializedItem {};
} // namespace Detail

/// Standard allocator adaptor over `vespraMalloc`, aligned at least to `Float4`.
template <class T>
class AlignedAllocator {
public:
    using value_type = T;

    AlignedAllocator() noexcept = default;
    template <class U>
    AlignedAllocator(const AlignedAllocator<U>&) noexcept {}

    T* allocate(std::size_t count) {
        constexpr std::size_t alignment = alignof(T) > FLOAT4_ALIGNMENT ? alignof(T) : FLOAT4_ALIGNMENT;
        if (count > SIZE_MAX / sizeof(T)) {
            throw std::bad_array_new_length();
        }
        return static_cast<T*>(vespraMalloc(count * sizeof(T), alignment));
    }
    void deallocate(T* pointer, std::size_t) noexcept { vespraFree(pointer); }

    template <class U>
    void construct(U*, Detail::UninitializedItem) noexcept {
        static_assert(std::is_trivially_copyable_v<U> && std::is_trivially_destructible_v<U>,
                      "only items without constructors that matter may stay unwritten");
    }

    template <class U>
    bool operator==(const AlignedAllocator<U>&) const noexcept {
        return true;
    }
};

} // namespace Vespra
