#ifndef VETREL_HUGEPAGEALLOCATOR_P_H
#define VETREL_HUGEPAGEALLOCATOR_P_H

#include <sys/mman.h>

#include <array>
#include <cstddef>
#include <cstdint>
#include <mutex>
#include <new>
#include <utility>

namespace HugePages
{

namespace Detail
{

    constexpr std::size_t hugePage = std::size_t(2) << 20;
    // Below this a block is left to the heap: small blocks are reused from it
    // anyway, whereas above glibc's mmap threshold every block is a fresh
    // mapping, faulted in page by page on each fill.
    constexpr std::size_t ownMappingFrom = hugePage / 2;

    inline bool ownMapping(std::size_t bytes)
    {
        return bytes >= ownMappingFrom;
    }

    inline std::size_t mappedLength(std::size_t bytes)
    {
        return (bytes + hugePage - 1) / hugePage * hugePage;
    }

    /**
     * Mappings that fills freed, kept for the next fill of the same size: a
     * fresh mapping is faulted in and zeroed again each time, which costs a
     * fill more than its reading. Kept mappings are marked free, so the system
     * may still take their pages back when it runs short; the latest freed stay
     * when the pool is full, as the next fill most likely asks for those.
     */
    class Pool
    {
    public:
        void *take(std::size_t length)
        {
            const std::lock_guard<std::mutex> locker(m_mutex);
            for (Kept &kept : m_kept) {
                if (kept.block && kept.length == length) {
                    m_bytes -= length;
                    return std::exchange(kept.block, nullptr);
                }
            }
            return nullptr;
        }

        /// False when the block is too large to keep: unmap it.
        bool keep(void *block, std::size_t length)
        {
            if (length > maxBytes)
                return false;
            const std::lock_guard<std::mutex> locker(m_mutex);
            for (;;) {
                Kept *unused = nullptr;
                Kept *oldest = nullptr;
                for (Kept &kept : m_kept) {
                    if (!kept.block)
                        unused = &kept;
                    else if (!oldest || kept.freed < oldest->freed)
                        oldest = &kept;
                }
                if (unused && m_bytes + length <= maxBytes) {
                    madvise(block, length, MADV_FREE);
                    *unused = { block, length, ++m_freed };
                    m_bytes += length;
                    return true;
                }
                // Full: the oldest goes (there is one, as the block alone fits).
                munmap(oldest->block, oldest->length);
                m_bytes -= oldest->length;
                oldest->block = nullptr;
            }
        }

    private:
        static constexpr std::size_t maxBytes = std::size_t(32) << 20;
        struct Kept
        {
            void *block;
            std::size_t length;
            std::uint64_t freed;
        };
        std::mutex m_mutex;
        std::array<Kept, 16> m_kept = {};
        std::size_t m_bytes = 0;
        std::uint64_t m_freed = 0;
    };

    // Never destroyed: static destructors elsewhere may still free blocks.
    inline Pool &pool()
    {
        static Pool *const kept = new Pool;
        return *kept;
    }

}

/// Memory for `bytes`; a large block is a mapping of its own (or one kept
/// from a fill before), asked to be backed by huge pages. Throws
/// std::bad_alloc when there is none.
inline void *allocate(std::size_t bytes)
{
    if (!Detail::ownMapping(bytes))
        return ::operator new(bytes);
    // Huge pages need a boundary of their own size: map a page more and
    // give back the ends.
    const std::size_t length = Detail::mappedLength(bytes);
    if (void *kept = Detail::pool().take(length))
        return kept;
    void *mapped = mmap(
        nullptr, length + Detail::hugePage, PROT_READ | PROT_WRITE, MAP_PRIVATE | MAP_ANONYMOUS, -1, 0);
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
    if (!Detail::ownMapping(bytes))
        ::operator delete(block);
    else if (!Detail::pool().keep(block, Detail::mappedLength(bytes)))
        munmap(block, Detail::mappedLength(bytes));
}

}

/**
 * The allocator of the buffers a market-sized fill builds and drops: rows,
 * keys, sort scratch. Each fresh 4 KiB page costs a fault, and a million
 * rows touch tens of thousands of them on every refill; in huge pages they
 * touch a few dozen. Freed buffers, up to 32 MiB in all, wait for the next
 * fill of the same size; the rest go back to the system. Buffers below
 * 1 MiB come from the ordinary heap.
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
