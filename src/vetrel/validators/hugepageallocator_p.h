#ifndef VETREL_HUGEPAGEALLOCATOR_P_H
#define VETREL_HUGEPAGEALLOCATOR_P_H

#include <sys/mman.h>

#include <cstddef>
#include <cstdint>
#include <new>

namespace HugePages
{

namespace Detail
{

constexpr std::size_t hugePage = std::size_t(2) << 20;
// Below this a block is left to the heap, which reuses freed pages anyway.
constexpr std::size_t ownMappingFrom = 2 * hugePage;

inline bool ownMapping(std::size_t bytes)
{
    return bytes >= ownMappingFrom;
}

inline std::size_t mappedLength(std::size_t bytes)
{
    return (bytes + hugePage - 1) / hugePage * hugePage;
}

}

/// Memory for `bytes`; a large block is a mapping of its own, asked to be
/// backed by huge pages. Throws std::bad_alloc when there is none.
inline void *allocate(std::size_t bytes)
{
    if (!Detail::ownMapping(bytes))
        return ::operator new(bytes);
    // Huge pages need a boundary of their own size: map a page more and
    // give back the ends.
    const std::size_t length = Detail::mappedLength(bytes);
    void *mapped = mmap(nullptr, length + Detail::hugePage, PROT_READ | PROT_WRITE, MAP_PRIVATE | MAP_ANONYMOUS, -1, 0);
    if (mapped == MAP_FAILED)
        throw std::bad_alloc();
    const auto start = reinterpret_cast<std::uintptr_t>(mapped);
    const std::uintptr_t aligned = (start + Detail::hugePage - 1) / Detail::hugePage * Detail::hugePage;
    if (aligned > start)
        munmap(mapped, aligned - start);
    if (const std::size_t tail = start + length + Detail::hugePage - (aligned + length))
        munmap(reinterpret_cast<void *>(aligned + length), tail);
    void *block = reinterpret_cast<void *>(aligned);
    // Only a hint: without transparent huge pages the block is still memory.
    madvise(block, length, MADV_HUGEPAGE);
    return block;
}

/// Frees what allocate() gave for the same `bytes`.
inline void deallocate(void *block, std::size_t bytes) noexcept
{
    if (!block)
        return;
    if (Detail::ownMapping(bytes))
        munmap(block, Detail::mappedLength(bytes));
    else
        ::operator delete(block);
}

}

/**
 * The allocator of the buffers a market-sized fill builds and drops: rows,
 * keys, sort scratch. Each fresh 4 KiB page costs a fault, and a million
 * rows touch tens of thousands of them on every refill; in huge pages they
 * touch a few dozen, and the memory still goes back to the system when
 * freed. Small buffers come from the ordinary heap.
 */
template<typename T>
class HugePageAllocator
{
public:
    using value_type = T;

    HugePageAllocator() = default;
    template<typename U>
    HugePageAllocator(const HugePageAllocator<U> &) noexcept
    { }

    T *allocate(std::size_t n) { return static_cast<T *>(HugePages::allocate(n * sizeof(T))); }
    void deallocate(T *block, std::size_t n) noexcept { HugePages::deallocate(block, n * sizeof(T)); }

    template<typename U>
    bool operator==(const HugePageAllocator<U> &) const noexcept
    {
        return true;
    }
    template<typename U>
    bool operator!=(const HugePageAllocator<U> &) const noexcept
    {
        return false;
    }
};

#endif
