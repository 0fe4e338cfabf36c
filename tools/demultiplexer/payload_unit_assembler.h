#pragma once

#include <cstddef>
#include <cstdint>
#include <span>
#include <vector>

#include "tools/demultiplexer/continuity.h"
#include "tools/demultiplexer/transport_packet.h"

namespace demux {

/// One payload unit (for media streams: one PES packet), or a piece of one that is too long to be kept whole.
struct UnitPart
{
    std::span<const std::uint8_t> bytes;  ///< valid during the call only
    bool startsUnit = true;               ///< the bytes start with the unit's first byte
    bool afterLoss = false;               ///< something ahead of this part was lost
};

class UnitConsumer
{
public:
    virtual ~UnitConsumer() = default;
    virtual void consume(const UnitPart& part) = 0;
};

/// Puts the payload units of one PID together again.
///
/// A PES packet with a length is complete with its last byte; one with an open length, or a unit that is no PES
/// packet, ends where the next unit starts. After a loss the unit it fell into is dropped and everything up to the next
/// payload_unit_start_indicator with it. A scrambled packet, or one whose adaptation field covers its payload, counts
/// as lost; a packet with transport_error_indicator is not looked at, as its PID and counter may be wrong as well.
class PayloadUnitAssembler
{
public:
    /// Longest unit that is kept whole: longer ones are handed on in parts, so that no input makes memory grow.
    static constexpr std::size_t kMaxPart = std::size_t{4} << 20;

    void push(const TransportPacket& packet, UnitConsumer& consumer);

    /// Hands on what was collected: the stream ended or the next unit starts.
    void finish(UnitConsumer& consumer);

    /// Forgets everything; the next packet may have any continuity_counter.
    void reset() noexcept;

private:
    void dropUnit() noexcept;
    void startUnit() noexcept;
    void append(std::span<const std::uint8_t> payload, UnitConsumer& consumer);
    void readSize() noexcept;
    void handOn(UnitConsumer& consumer);

    ContinuityChecker continuity_;
    std::vector<std::uint8_t> buffer_;
    std::size_t expected_ = 0;  // size of the unit, 0 while unknown or open
    bool collecting_ = false;
    bool startHandedOn_ = false;
    bool lossPending_ = false;
};

}  // namespace demux
