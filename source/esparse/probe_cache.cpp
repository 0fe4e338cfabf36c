#include "esparse/probe_cache.h"

namespace zarnow {

void VideoSearch::applyTo(VideoProbeRecord& target, AvcStreamInfo& info) const noexcept
{
    record.applyTo(target);
    // The first stream ever parsed fixes these two, so they are no plain writes.
    const std::uint32_t bitRate = info.hrdBitRate != 0 ? info.hrdBitRate : avc.first.hrdBitRate;
    const std::uint32_t cpbSize = info.hrdCpbSize != 0 ? info.hrdCpbSize : avc.first.hrdCpbSize;
    avc.applyTo(info);
    info.hrdBitRate = bitRate;
    info.hrdCpbSize = cpbSize;
}

}  // namespace zarnow
