#pragma once

#include <array>
#include <cstdint>
#include <memory>
#include <span>
#include <vector>

#include "tools/demultiplexer/packet_framer.h"
#include "tools/demultiplexer/payload_unit_assembler.h"

namespace demux {

/// One PID on its way to one consumer. A PID may have several routes, a consumer too.
class StreamRoute
{
public:
    StreamRoute(std::uint16_t pid, std::unique_ptr<UnitConsumer> consumer) : pid_(pid), consumer_(std::move(consumer))
    {
    }

    std::uint16_t pid() const noexcept { return pid_; }
    UnitConsumer& consumer() const noexcept { return *consumer_; }
    PayloadUnitAssembler& assembler() noexcept { return assembler_; }

private:
    std::uint16_t pid_;
    std::unique_ptr<UnitConsumer> consumer_;
    PayloadUnitAssembler assembler_;
};

using StreamRoutes = std::vector<std::unique_ptr<StreamRoute>>;

/// The portable heart of the demultiplexer: transport-stream bytes in chunks of any size go in, the payload units of
/// the routed PIDs come out at their consumers. Owned by one thread.
class StreamSplitter
{
public:
    /// Takes the routes out, so that the caller can carry those that stay (with what they have collected) into the next
    /// setRoutes.
    StreamRoutes takeRoutes() noexcept;
    void setRoutes(StreamRoutes routes);
    const StreamRoutes& routes() const noexcept { return routes_; }

    void push(std::span<const std::uint8_t> chunk);

    /// End of the stream: hands on the last unit of every route.
    void finish();

    /// Forgets everything collected; the routes stay.
    void reset() noexcept;

private:
    void route(PacketBytes packet);

    static constexpr std::uint16_t kNone = 0xFFFF;

    PacketFramer framer_;
    StreamRoutes routes_;
    std::array<std::uint16_t, kPidCount> firstRoute_ = noRoutes();  // by PID: index into routes_
    std::vector<std::uint16_t> nextRoute_;                          // by route: the next one of the same PID

    static constexpr std::array<std::uint16_t, kPidCount> noRoutes()
    {
        std::array<std::uint16_t, kPidCount> table{};
        table.fill(kNone);
        return table;
    }
};

}  // namespace demux
