#include "tools/demultiplexer/pin_feed.h"

#include <utility>

namespace demux {

PinFeed::PinFeed(PinRef pin, MEDIA_SAMPLE_CONTENT content, StreamClock& clock) noexcept
    : pin_(std::move(pin)), content_(content), clock_(clock)
{
}

void PinFeed::consume(const UnitPart& part)
{
    discontinuity_ = discontinuity_ || part.afterLoss;
    if (content_ == MEDIA_ELEMENTARY_STREAM)
        deliverElementaryStream(part);
    else
        deliver(part.bytes, std::nullopt);
}

bool PinFeed::serves(const DemuxOutputPin* pin, MEDIA_SAMPLE_CONTENT content) const noexcept
{
    return pin_.get() == pin && content_ == content;
}

void PinFeed::deliverElementaryStream(const UnitPart& part)
{
    const ElementaryPart elementary = reader_.read(part);
    if (elementary.bytes.empty())
        return;
    std::optional<REFERENCE_TIME> start;
    if (elementary.pts)
        start = clock_.toStreamTime(*elementary.pts);
    deliver(elementary.bytes, start);
}

void PinFeed::deliver(std::span<const std::uint8_t> bytes, std::optional<REFERENCE_TIME> start)
{
    pin_->deliver(bytes, start, std::exchange(discontinuity_, false));
}

}  // namespace demux
