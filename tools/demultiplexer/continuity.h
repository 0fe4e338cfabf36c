#pragma once

#include <cstdint>
#include <optional>

#include "tools/demultiplexer/transport_packet.h"

namespace demux {

enum class Continuity { kInOrder, kDuplicate, kLost };

/// Watches the continuity_counter of one PID (ISO/IEC 13818-1, 2.4.3.3): it counts packets with a payload only, a
/// packet may be sent twice in a row but not three times, and a signalled discontinuity is no loss.
class ContinuityChecker
{
public:
    Continuity check(const TransportPacket& packet) noexcept;
    void reset() noexcept { last_.reset(); }

private:
    Continuity step(const TransportPacket& packet) noexcept;

    std::optional<std::uint8_t> last_;
    bool repeated_ = false;
};

}  // namespace demux
