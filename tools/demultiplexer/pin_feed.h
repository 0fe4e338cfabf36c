#pragma once

#include "tools/demultiplexer/demux_output_pin.h"
#include "tools/demultiplexer/elementary_stream_reader.h"
#include "tools/demultiplexer/payload_unit_assembler.h"
#include "tools/demultiplexer/stream_clock.h"

namespace demux {

/// Brings the payload units of one PID to an output pin in the form that the PID is mapped with.
class PinFeed final : public UnitConsumer
{
public:
    PinFeed(PinRef pin, MEDIA_SAMPLE_CONTENT content, StreamClock& clock) noexcept;

    void consume(const UnitPart& part) override;

    bool serves(const DemuxOutputPin* pin, MEDIA_SAMPLE_CONTENT content) const noexcept;
    const DemuxOutputPin& pin() const noexcept { return *pin_.get(); }

private:
    void deliverElementaryStream(const UnitPart& part);
    void deliver(std::span<const std::uint8_t> bytes, std::optional<REFERENCE_TIME> start);

    PinRef pin_;
    MEDIA_SAMPLE_CONTENT content_;
    StreamClock& clock_;
    ElementaryStreamReader reader_;
    bool discontinuity_ = false;
};

}  // namespace demux
