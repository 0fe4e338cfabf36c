#pragma once

#include <cstddef>
#include <cstdint>
#include <span>
#include <vector>

namespace demux {

/// Receives elementary-stream bytes in stream order.
class ByteConsumer
{
public:
    virtual ~ByteConsumer() = default;
    virtual void consume(std::span<const std::uint8_t> bytes) = 0;
};

/// Takes the PES headers out of a stream of PES packets that arrives in samples: the samples may be whole PES packets,
/// pieces of them, or the payloads of single transport packets. A PES packet with an open length ends where a sample
/// starts with another header of the same stream; bytes that belong to no PES packet are left out.
class PesPayloadReader
{
public:
    void push(std::span<const std::uint8_t> sample, ByteConsumer& consumer);
    void reset() noexcept;

private:
    using Bytes = std::span<const std::uint8_t>;
    enum class State { kSearching, kInHeader, kInPayload };

    bool startsNextPacket(Bytes sample) const noexcept;
    Bytes step(Bytes bytes, ByteConsumer& consumer);
    Bytes collectHeader(Bytes bytes);
    Bytes startPayload(Bytes bytes, std::size_t carried);
    Bytes takePayload(Bytes bytes, ByteConsumer& consumer);

    State state_ = State::kSearching;
    std::vector<std::uint8_t> header_;  // the part of a header that earlier samples brought
    std::uint8_t streamId_ = 0;
    bool open_ = false;  // no length: the packet ends with the next header
    bool carriesStream_ = false;
    std::size_t remaining_ = 0;  // payload bytes of a packet with a length
};

}  // namespace demux
