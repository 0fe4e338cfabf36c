#include "esparse/stream_probe.h"

#include <algorithm>

namespace zarnow {

void CStreamProbe::setReadBufferSize(std::uint32_t size) noexcept
{
    CFileScan::setReadBufferSize(size);
    forgetSearches();
}

void CStreamProbe::forgetSearches() noexcept
{
    blockIndex.clear();
    videoSearches.clear();
    audioSearches.clear();
    readFailed = false;
}

void CStreamProbe::forgetFailedSearches() noexcept
{
    if (readFailed)
        forgetSearches();
}

bool CStreamProbe::seekToFirstPacket()
{
    if (!file.isOpen())
        return false;
    rewindToData();  // without a sync byte anywhere the probe goes on from the file's start
    return true;
}

std::uint32_t CStreamProbe::probeBlockSize() const noexcept
{
    const std::uint32_t packets = readBufferSize / packetSize;
    return packets > 2 ? (packets - 2) * packetSize : 0;
}

bool CStreamProbe::hasStreamOfType(std::uint8_t streamType) const noexcept
{
    std::uint16_t pid = 0;
    std::uint8_t type = 0;
    return findStreamByType(0, streamType, pid, type);
}

/// Reads the next block, from `number` on, in which a search for the key finds something; blocks that were read before
/// are passed over by what the index knows of them.
/// @param limit  the first block that is out of bounds
/// @return false at the file's end or the limit, for a failed read, and when the stop flag is set
bool CStreamProbe::readBlockWith(std::uint16_t headerKey, std::uint32_t& number, std::uint32_t limit, Block& block)
{
    while (!abortScan && number < limit) {
        if (const auto known = blockIndex.find(headerKey, number)) {
            number = *known;
            return number < limit && readKnownBlock(number, block);
        }
        number = std::max(number, blockIndex.blockCount());
        if (number >= limit || blockIndex.complete() || !readNewBlock(block))
            return false;
        if (blockIndex.find(headerKey, number) == number)
            return !abortScan;
    }
    return false;
}

bool CStreamProbe::readKnownBlock(std::uint32_t number, Block& block) noexcept
{
    const bool done = resumeAtBlock(number) && readBlock(probeBlockSize(), block);
    readFailed = readFailed || !done;
    return done;
}

/// Reads the first block that the index does not know, and takes note of it.
bool CStreamProbe::readNewBlock(Block& block)
{
    if (blockIndex.blockCount() == 0) {
        seekToFirstPacket();
        firstBlockOffset = file.position();
    } else if (!resumeAtBlock(blockIndex.blockCount())) {
        readFailed = true;
        return false;
    }
    if (!readBlock(probeBlockSize(), block)) {
        readFailed = true;
        blockIndex.end();
        return false;
    }
    blockIndex.add(*this, block.bytes, !block.full);
    return true;
}

bool CStreamProbe::resumeAtBlock(std::uint32_t number) noexcept
{
    return file.resumeAt(firstBlockOffset + std::int64_t{number} * probeBlockSize());
}

std::uint32_t CStreamProbe::lowFilePosition() const noexcept
{
    return static_cast<std::uint32_t>(file.position());
}

}  // namespace zarnow
