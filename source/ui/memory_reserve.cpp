// Memory for the language's run-time system when the heap has none left.
//
// Code that cannot get memory throws, and libstdc++ needs memory for that too: for the exception, for what it keeps for
// each thread, for locks that winpthreads allocates when they are first taken. Refused there, it throws anew without
// end, or aborts: in the host's process, in place of E_OUTOFMEMORY. What it asks for comes through malloc and calloc,
// which the linker leads here; once the heap refuses, they hand out a reserve. Objects of the filter come from operator
// new, which does not.

#include <new>

#ifdef __GLIBCXX__

#include <malloc.h>

#include <algorithm>
#include <atomic>
#include <bit>
#include <cstddef>
#include <cstdint>
#include <cstring>

namespace {

constexpr std::size_t kSlotSize = 1024;
constexpr std::size_t kSlotCount = 64;

alignas(std::max_align_t) std::byte reserve[kSlotCount][kSlotSize];
std::atomic<std::uint64_t> slotsTaken = 0;  // a bit for each

void* takeSlot(std::size_t size) noexcept
{
    if (size > kSlotSize)
        return nullptr;
    std::uint64_t taken = slotsTaken.load(std::memory_order_relaxed);
    while (~taken != 0) {
        const int slot = std::countr_one(taken);
        if (slotsTaken.compare_exchange_weak(taken, taken | std::uint64_t{1} << slot, std::memory_order_acquire))
            return reserve[slot];
    }
    return nullptr;
}

bool isInReserve(const void* block) noexcept
{
    return reinterpret_cast<std::uintptr_t>(block) - reinterpret_cast<std::uintptr_t>(reserve) < sizeof(reserve);
}

void giveBackSlot(const void* block) noexcept
{
    const auto offset = reinterpret_cast<std::uintptr_t>(block) - reinterpret_cast<std::uintptr_t>(reserve);
    slotsTaken.fetch_and(~(std::uint64_t{1} << offset / kSlotSize), std::memory_order_release);
}

}  // namespace

// The linker's names (--wrap): __wrap_ for what all of the image calls, __real_ for what is behind it.
// NOLINTBEGIN(bugprone-reserved-identifier)
extern "C" {

void* __real_malloc(std::size_t size);
void* __real_calloc(std::size_t count, std::size_t size);
void* __real_realloc(void* block, std::size_t size);
void __real_free(void* block);

void* __wrap_malloc(std::size_t size)
{
    void* block = __real_malloc(size);
    return block != nullptr ? block : takeSlot(size);
}

void* __wrap_calloc(std::size_t count, std::size_t size)
{
    void* block = __real_calloc(count, size);
    if (block != nullptr || (size != 0 && count > kSlotSize / size))
        return block;
    block = takeSlot(count * size);
    return block != nullptr ? std::memset(block, 0, kSlotSize) : nullptr;
}

void __wrap_free(void* block)
{
    if (isInReserve(block))
        giveBackSlot(block);
    else
        __real_free(block);
}

void* __wrap_realloc(void* block, std::size_t size)
{
    if (block == nullptr)
        return __wrap_malloc(size);
    const bool inReserve = isInReserve(block);
    if (!inReserve) {
        void* resized = __real_realloc(block, size);
        if (resized != nullptr || size == 0)
            return resized;
    }
    void* moved = __wrap_malloc(size);
    if (moved == nullptr)
        return nullptr;
    std::memcpy(moved, block, std::min(size, inReserve ? kSlotSize : _msize(block)));
    __wrap_free(block);
    return moved;
}
}
// NOLINTEND(bugprone-reserved-identifier)

void* operator new(std::size_t size, const std::nothrow_t&) noexcept
{
    return __real_malloc(size != 0 ? size : 1);
}

void* operator new[](std::size_t size, const std::nothrow_t&) noexcept
{
    return operator new(size, std::nothrow);
}

void* operator new(std::size_t size)
{
    void* block = operator new(size, std::nothrow);
    if (block == nullptr)
        throw std::bad_alloc();
    return block;
}

#endif
