/// @file
/// Faults of the file system, put between CTransportFile and the system by the linker (--wrap), and allocations that
/// fail: the program's operator new in all its forms. One of each is armed at a time.
#pragma once

#include <cstddef>
#include <functional>

namespace zarnow::test {

class FileFault
{
public:
    enum class Kind {
        failedRead,
        shortRead,        ///< a third of what was asked for, and at least a byte
        interruptedRead,  ///< by a signal
        failedMove,
        failedSize,
        meanwhile,  ///< the read succeeds, but something else happens before
    };

    enum class Lasting { once, forGood };

    /// The call that comes after `after` others of its kind fails, and with `forGood` all that follow.
    FileFault(Kind kind, std::size_t after, Lasting lasting = Lasting::once);

    /// Calls a function before the read that comes after `after` others.
    FileFault(std::size_t after, std::function<void()> meanwhile);
    FileFault(const FileFault&) = delete;
    FileFault& operator=(const FileFault&) = delete;
    ~FileFault();

    /// Whether a call has failed.
    bool struck() const noexcept;

    /// Reads, whatever became of them, since the fault struck.
    std::size_t readsSince() const noexcept;
};

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
