/// @file
/// Allocations that fail: the program's operator new in all its forms. One fault is armed at a time.
#pragma once

#include <cstddef>

namespace zarnow::test {

class AllocationFault
{
public:
    /// The allocation that comes after `after` others fails, and all that follow.
    explicit AllocationFault(std::size_t after) noexcept;
    AllocationFault(const AllocationFault&) = delete;
    AllocationFault& operator=(const AllocationFault&) = delete;
    ~AllocationFault();

    /// Whether an allocation has failed.
    bool struck() const noexcept;
};

}  // namespace zarnow::test
