#include "tools/demultiplexer/continuity.h"

namespace demux {

Continuity ContinuityChecker::check(const TransportPacket& packet) noexcept
{
    if (!packet.carriesPayload)
        return Continuity::kInOrder;
    const Continuity result = step(packet);
    repeated_ = result == Continuity::kDuplicate;
    last_ = packet.continuityCounter;
    return result;
}

Continuity ContinuityChecker::step(const TransportPacket& packet) noexcept
{
    if (!last_ || packet.discontinuity)
        return Continuity::kInOrder;
    if (packet.continuityCounter == ((*last_ + 1) & 0x0F))
        return Continuity::kInOrder;
    if (packet.continuityCounter == *last_ && !repeated_)
        return Continuity::kDuplicate;
    return Continuity::kLost;
}

}  // namespace demux
