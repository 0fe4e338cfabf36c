#include "esparse/stream_probe.h"

namespace zarnow {

void CStreamProbe::setReadBufferSize(std::uint32_t size) noexcept
{
    CFileScan::setReadBufferSize(size);
    forgetSearches();
}

void CStreamProbe::forgetSearches() noexcept
{
    videoSearches.clear();
    audioSearches.clear();
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

}  // namespace zarnow
