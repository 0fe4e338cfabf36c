#include "tools/demultiplexer/stream_clock.h"

namespace demux {
namespace {

constexpr std::int64_t kPtsRange = std::int64_t{1} << 33;

std::int64_t signedDistance(std::int64_t from, std::int64_t to)
{
    const std::int64_t forward = (to - from) & (kPtsRange - 1);
    return forward < kPtsRange / 2 ? forward : forward - kPtsRange;
}

// One tick of 90 kHz is 1000/9 units of 100 ns; apart, so that no sum of ticks overflows the product.
std::int64_t toHundredNanoseconds(std::int64_t ticks)
{
    return ticks / 9 * 1000 + ticks % 9 * 1000 / 9;
}

}  // namespace

std::int64_t StreamClock::toStreamTime(std::int64_t pts) noexcept
{
    elapsed_ = last_ ? elapsed_ + signedDistance(*last_, pts) : 0;
    last_ = pts;
    return toHundredNanoseconds(elapsed_);
}

}  // namespace demux
