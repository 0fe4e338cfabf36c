/// @file
/// Faults of the file system, put between CTransportFile and the system by the linker (--wrap), and allocations that
/// fail: the program's operator new in all its forms. One fault is armed at a time.
#pragma once

#include <cstddef>
#include <functional>

namespace zarnow::test {

struct Fault
{
    enum class Kind {
        failedRead,
        shortRead,        ///< a third of what was asked for, and at least a byte
        interruptedRead,  ///< by a signal
        failedSize,
        failedAllocation,
        meanwhile,  ///< the read succeeds, but something else happens before
    };

    enum class Lasting { once, forGood };

    /// The call that comes after `after` others of its kind fails, and with `forGood` all that follow.
    Fault(Kind kind, std::size_t after, Lasting lasting = Lasting::once, std::function<void()> meanwhile = nullptr);
    Fault(const Fault&) = delete;
    Fault& operator=(const Fault&) = delete;
    ~Fault();

    const Kind kind;
    std::size_t left;
    const Lasting lasting;
    const std::function<void()> meanwhile;
    bool struck = false;         ///< whether a call has failed
    std::size_t readsSince = 0;  ///< reads, whatever became of them, since the fault struck
};

}  // namespace zarnow::test
