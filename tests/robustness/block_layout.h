/// @file
/// Where in a file a load reads, and what is in the packets there: worked out from the file's bytes, packet by packet.
#pragma once

#include <string>

#include "analysis/file_scan.h"
#include "tests/robustness/samples.h"

namespace zarnow::test {

struct Environment
{
    std::uint32_t bufferSize = kDefaultReadBufferSize;
    bool timed = false;
    std::size_t garbage = 0;

    std::uint32_t step() const { return timed ? kTimedPacketSize : kPacketSize; }
    std::size_t start() const { return garbage + (timed ? 4 : 0); }

    Data content(const Sample& sample) const;
    std::string text() const
    {
        return "buffers of " + std::to_string(bufferSize) + ", packets of " + std::to_string(step()) + " behind " +
               std::to_string(garbage);
    }
};

/// The file as the probes read it: blocks of whole packets, two fewer than the buffer holds. The walk over a block does
/// not come to a packet that ends where the block ends.
class Blocks
{
public:
    static constexpr std::size_t kNone = SIZE_MAX;

    Blocks(const Data& file, const Environment& environment)
        : file_(file),
          start_(environment.start()),
          step_(environment.step()),
          size_((environment.bufferSize / step_ - 2) * step_)
    {
    }

    std::size_t count() const { return file_.size() > start_ ? (file_.size() - start_ - 1) / size_ + 1 : 0; }
    std::size_t begin(std::size_t block) const { return start_ + block * size_; }
    std::size_t end(std::size_t block) const { return std::min(begin(block) + size_, file_.size()); }

    /// The block that ends at or holds a position, which is not its first byte.
    std::size_t of(std::size_t position) const { return (position - start_ - 1) / size_; }

    /// The packet of a PID that a search comes to first.
    std::size_t first(std::size_t block, std::uint16_t pid, bool unitStart) const
    {
        for (std::size_t at = begin(block); at + step_ < end(block); at += step_) {
            if (isOf(at, pid, unitStart))
                return at;
        }
        return kNone;
    }

    bool isOf(std::size_t at, std::uint16_t pid, bool unitStart) const
    {
        return at + kPacketHeaderSize <= file_.size() && file_[at] == kSyncByte &&
               ((file_[at + 1] & 0x1F) << 8 | file_[at + 2]) == pid && (!unitStart || (file_[at + 1] & 0x40) != 0);
    }

    Bytes payload(std::size_t at) const
    {
        return hasPayload(&file_[at]) ? payloadOf(&file_[at], static_cast<std::uint32_t>(step_)) : Bytes();
    }

    const Data& file() const { return file_; }
    std::size_t step() const { return step_; }

private:
    const Data& file_;
    std::size_t start_;
    std::size_t step_;
    std::size_t size_;
};

/// What the header in a packet says; empty when there is none that is accepted.
std::string videoHeader(const Blocks& blocks, std::size_t at, std::uint8_t type);
std::string audioHeader(const Blocks& blocks, std::size_t at, std::uint8_t type);

inline constexpr std::size_t kMaxAudioBlocks = 24;

/// The first block in which the search for a header cannot but find one, since the first packet that it looks at has
/// it. Which further packets of a block it looks at depends on what is in them.
std::size_t certainBlock(const Blocks& blocks, const PsiEntry& stream);

}  // namespace zarnow::test
