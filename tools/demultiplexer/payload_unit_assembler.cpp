#include "tools/demultiplexer/payload_unit_assembler.h"

#include <algorithm>

#include "tools/demultiplexer/pes_header.h"

namespace demux {

void PayloadUnitAssembler::push(const TransportPacket& packet, UnitConsumer& consumer)
{
    if (packet.transportError)
        return;
    const Continuity continuity = continuity_.check(packet);
    if (continuity == Continuity::kDuplicate || !packet.carriesPayload)
        return;
    const bool usable = !packet.payload.empty() && !packet.scrambled;
    if (continuity == Continuity::kLost || !usable)
        dropUnit();
    if (!usable)
        return;
    if (packet.payloadUnitStart) {
        finish(consumer);
        startUnit();
    }
    append(packet.payload, consumer);
}

void PayloadUnitAssembler::finish(UnitConsumer& consumer)
{
    if (collecting_ && !buffer_.empty())
        handOn(consumer);
    collecting_ = false;
}

void PayloadUnitAssembler::reset() noexcept
{
    continuity_.reset();
    buffer_.clear();
    collecting_ = false;
    lossPending_ = false;
}

void PayloadUnitAssembler::dropUnit() noexcept
{
    buffer_.clear();
    collecting_ = false;
    lossPending_ = true;
}

void PayloadUnitAssembler::startUnit() noexcept
{
    buffer_.clear();
    expected_ = 0;
    startHandedOn_ = false;
    collecting_ = true;
}

void PayloadUnitAssembler::append(std::span<const std::uint8_t> payload, UnitConsumer& consumer)
{
    if (!collecting_)
        return;
    buffer_.insert(buffer_.end(), payload.begin(), payload.end());
    if (expected_ == 0 && !startHandedOn_)
        readSize();
    if (expected_ != 0 && buffer_.size() >= expected_) {
        buffer_.resize(expected_);  // what follows the last byte of a PES packet belongs to nothing
        finish(consumer);
    } else if (buffer_.size() >= kMaxPart) {
        handOn(consumer);
    }
}

void PayloadUnitAssembler::readSize() noexcept
{
    if (buffer_.size() >= kPesFixedSize && startsPesPacket(buffer_))
        expected_ = pesPacketSize(buffer_);
}

void PayloadUnitAssembler::handOn(UnitConsumer& consumer)
{
    const UnitPart part{buffer_, !startHandedOn_, lossPending_};
    startHandedOn_ = true;
    lossPending_ = false;
    consumer.consume(part);
    buffer_.clear();
}

}  // namespace demux
