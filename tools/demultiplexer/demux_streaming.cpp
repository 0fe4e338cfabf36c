// The streaming side of the stand-in: runs on the thread that delivers to the input pin.

#include <algorithm>
#include <utility>

#include "tools/demultiplexer/demux_filter.h"
#include "tools/demultiplexer/pin_feed.h"

namespace demux {
namespace {

const PinFeed& feedOf(const StreamRoute& route)
{
    return static_cast<const PinFeed&>(route.consumer());  // this filter's routes have no other consumers
}

std::span<const std::uint8_t> dataOf(IMediaSample& sample)
{
    BYTE* data = nullptr;
    const long length = std::min(sample.GetActualDataLength(), sample.GetSize());
    if (FAILED(sample.GetPointer(&data)) || data == nullptr || length <= 0)
        return {};
    return {data, static_cast<std::size_t>(length)};
}

}  // namespace

HRESULT DemuxFilter::process(IMediaSample& sample)
{
    followRouteChanges();
    if (sample.IsDiscontinuity() == S_OK)
        splitter_.reset();
    splitter_.push(dataOf(sample));
    return refusalNoted_ ? verdict() : S_OK;
}

HRESULT DemuxFilter::endStream()
{
    followRouteChanges();
    splitter_.finish();
    for (const PinRef& pin : outputPins())
        pin->DeliverEndOfStream();
    return S_OK;
}

HRESULT DemuxFilter::beginFlush()
{
    for (const PinRef& pin : outputPins())
        pin->DeliverBeginFlush();
    return S_OK;
}

void DemuxFilter::endFlush()
{
    resetStreaming();
    for (const PinRef& pin : outputPins()) {
        pin->forgetRefusal();
        pin->DeliverEndFlush();
    }
}

void DemuxFilter::newSegment(REFERENCE_TIME start, REFERENCE_TIME stop, double rate)
{
    for (const PinRef& pin : outputPins())
        pin->DeliverNewSegment(start, stop, rate);
}

void DemuxFilter::followRouteChanges()
{
    const std::uint32_t version = routesVersion_;
    if (version == routesSeen_)
        return;
    StreamRoutes earlier = splitter_.takeRoutes();
    StreamRoutes wanted;
    for (const PinRef& pin : outputPins()) {
        if (!pin->IsConnected())
            continue;
        for (const PID_MAP& entry : pin->mappedPids())
            wanted.push_back(carryOver(earlier, pin, entry));
    }
    splitter_.setRoutes(std::move(wanted));
    routesSeen_ = version;
}

// What a route that stays has collected goes on with it.
std::unique_ptr<StreamRoute> DemuxFilter::carryOver(StreamRoutes& earlier, const PinRef& pin, const PID_MAP& entry)
{
    const auto pid = static_cast<std::uint16_t>(entry.ulPID);
    for (std::unique_ptr<StreamRoute>& route : earlier) {
        if (route && route->pid() == pid && feedOf(*route).serves(pin.get(), entry.MediaSampleContent))
            return std::move(route);
    }
    return std::make_unique<StreamRoute>(pid, std::make_unique<PinFeed>(pin, entry.MediaSampleContent, clock_));
}

void DemuxFilter::resetStreaming() noexcept
{
    splitter_.reset();
    clock_.reset();
    refusalNoted_ = false;
}

// Upstream may stop when nobody takes samples any more: an error of one pin counts more than a plain S_FALSE.
HRESULT DemuxFilter::verdict() const noexcept
{
    HRESULT result = splitter_.routes().empty() ? S_OK : S_FALSE;
    for (const auto& route : splitter_.routes()) {
        const HRESULT refusal = feedOf(*route).pin().refusal();
        if (refusal == S_OK)
            return S_OK;
        if (FAILED(refusal))
            result = refusal;
    }
    return result;
}

}  // namespace demux
