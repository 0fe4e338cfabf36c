/// @file
/// The one file that is open for reading. A Win32 and a POSIX implementation exist; the build chooses.
///
/// Positions are moved by 32-bit signed distances: a move fails, and the position stays, when it would end before the
/// file's start or at 4 GiB or beyond. Reading on from there and the size know no such limit.
#pragma once

#include <cstdint>

namespace zarnow {

class CTransportFile
{
public:
#ifdef _WIN32
    using PathChar = wchar_t;
#else
    using PathChar = char;
#endif

    CTransportFile() = default;
    CTransportFile(const CTransportFile&) = delete;
    CTransportFile& operator=(const CTransportFile&) = delete;
    ~CTransportFile()
    {
        close();
    }

    /// Closes what was open and opens an existing file for reading, others may read it too.
    /// @return 0, or the system's error code
    std::uint32_t open(const PathChar* path) noexcept;
    void close() noexcept;
    bool isOpen() const noexcept
    {
        return handle_ != kNoHandle;
    }

    /// @return false for anything that is not a plain file, too
    bool size(std::int64_t& bytes) const noexcept;

    /// Reads from the current position. Fewer bytes than asked for, or none, means the end of the file.
    /// @return false when the read failed; `count` is then 0
    bool read(void* buffer, std::uint32_t length, std::uint32_t& count) noexcept;

    /// Whether a move may end there: what a move without a high part can reach.
    static constexpr bool canMoveTo(std::int64_t target) noexcept
    {
        return target >= 0 && target <= 0xFFFFFFFF;
    }

    bool moveTo(std::int32_t offset) noexcept;
    bool moveBy(std::int32_t distance) noexcept;
    bool moveFromEnd(std::int32_t distance) noexcept;

    /// Goes back to where a read has been or would have come to, wherever that is.
    bool resumeAt(std::int64_t position) noexcept
    {
        return isOpen() && setPosition(position);
    }

    /// @return -1 without a file
    std::int64_t position() const noexcept;

private:
    static constexpr std::intptr_t kNoHandle = -1;  // INVALID_HANDLE_VALUE, and no file descriptor

    bool moveToPosition(std::int64_t target) noexcept;
    bool setPosition(std::int64_t target) noexcept;
    /// Refuses to go before the file's start. At most one call to the system: a walk back through a file asks for many.
    bool shiftPosition(std::int64_t distance, std::int64_t& reached) noexcept;

    std::intptr_t handle_ = kNoHandle;
#ifndef _WIN32
    std::int64_t position_ = 0;  // every read tells the system where, so that a move need not
#endif
};

}  // namespace zarnow
