#include "tools/demultiplexer/stream_splitter.h"

#include <utility>

namespace demux {

StreamRoutes StreamSplitter::takeRoutes() noexcept
{
    firstRoute_.fill(kNone);
    nextRoute_.clear();
    return std::exchange(routes_, {});
}

void StreamSplitter::setRoutes(StreamRoutes routes)
{
    takeRoutes();
    nextRoute_.resize(routes.size(), kNone);
    for (std::size_t i = 0; i < routes.size() && i < kNone; ++i) {
        std::uint16_t& first = firstRoute_[routes[i]->pid() % kPidCount];
        nextRoute_[i] = std::exchange(first, static_cast<std::uint16_t>(i));
    }
    routes_ = std::move(routes);
}

void StreamSplitter::push(std::span<const std::uint8_t> chunk)
{
    framer_.push(chunk, [this](PacketBytes packet) { route(packet); });
}

void StreamSplitter::finish()
{
    framer_.finish([this](PacketBytes packet) { route(packet); });
    for (const auto& each : routes_)
        each->assembler().finish(each->consumer());
    reset();
}

void StreamSplitter::reset() noexcept
{
    framer_.reset();
    for (const auto& each : routes_)
        each->assembler().reset();
}

void StreamSplitter::route(PacketBytes bytes)
{
    std::uint16_t index = firstRoute_[packetPid(bytes)];
    if (index == kNone)
        return;
    const TransportPacket packet = parseTransportPacket(bytes);
    for (; index != kNone; index = nextRoute_[index])
        routes_[index]->assembler().push(packet, routes_[index]->consumer());
}

}  // namespace demux
