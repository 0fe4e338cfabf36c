#pragma once

#include <cstdint>
#include <optional>

namespace demux {

/// Turns presentation time stamps into stream time: 100 ns units since the first stamp seen on any stream. Follows the
/// 33-bit counter over its wrap, as each stamp is taken to lie within half its range of the one before.
class StreamClock
{
public:
    /// @param pts  90 kHz ticks, 0 to 2^33 - 1
    std::int64_t toStreamTime(std::int64_t pts) noexcept;
    void reset() noexcept { last_.reset(); }

private:
    std::optional<std::int64_t> last_;  // last stamp
    std::int64_t elapsed_ = 0;          // ticks from the first stamp to the last
};

}  // namespace demux
