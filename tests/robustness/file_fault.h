/// @file
/// Faults of the file system, put between CTransportFile and the system by the linker (--wrap). One is armed at a time.
#pragma once

#include <cstddef>

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
    };

    enum class Lasting { once, forGood };

    /// The call that comes after `after` others of its kind fails, and with `forGood` all that follow.
    FileFault(Kind kind, std::size_t after, Lasting lasting = Lasting::once) noexcept;
    FileFault(const FileFault&) = delete;
    FileFault& operator=(const FileFault&) = delete;
    ~FileFault();

    /// Whether a call has failed.
    bool struck() const noexcept;
};

}  // namespace zarnow::test
