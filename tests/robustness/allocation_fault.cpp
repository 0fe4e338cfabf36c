#include "tests/robustness/allocation_fault.h"

#include <cstdlib>
#include <new>

namespace zarnow::test {

namespace {

bool armed = false;
bool hasStruck = false;
std::size_t allocationsLeft = 0;

void* allocate(std::size_t size) noexcept
{
    if (armed) {
        hasStruck = hasStruck || allocationsLeft == 0;
        if (hasStruck)
            return nullptr;
        --allocationsLeft;
    }
    return std::malloc(size != 0 ? size : 1);
}

void* allocateOrThrow(std::size_t size)
{
    void* memory = allocate(size);
    return memory != nullptr ? memory : throw std::bad_alloc();
}

}  // namespace

AllocationFault::AllocationFault(std::size_t after) noexcept
{
    armed = true;
    hasStruck = false;
    allocationsLeft = after;
}

AllocationFault::~AllocationFault()
{
    armed = false;
}

bool AllocationFault::struck() const noexcept
{
    return hasStruck;
}

}  // namespace zarnow::test

// clang-format off
void* operator new(std::size_t size) { return zarnow::test::allocateOrThrow(size); }
void* operator new[](std::size_t size) { return zarnow::test::allocateOrThrow(size); }
void* operator new(std::size_t size, const std::nothrow_t&) noexcept { return zarnow::test::allocate(size); }
void* operator new[](std::size_t size, const std::nothrow_t&) noexcept { return zarnow::test::allocate(size); }
void operator delete(void* memory) noexcept { std::free(memory); }
void operator delete[](void* memory) noexcept { std::free(memory); }
void operator delete(void* memory, std::size_t) noexcept { std::free(memory); }
void operator delete[](void* memory, std::size_t) noexcept { std::free(memory); }
// clang-format on
