#include "tools/demultiplexer/packet_framer.h"

namespace demux {
namespace {

std::span<const std::uint8_t> fromNextSyncByte(std::span<const std::uint8_t> bytes)
{
    if (bytes.empty())
        return bytes;
    const void* found = std::memchr(bytes.data(), kSyncByte, bytes.size());
    if (found == nullptr)
        return {};
    return bytes.subspan(static_cast<std::size_t>(static_cast<const std::uint8_t*>(found) - bytes.data()));
}

}  // namespace

bool PacketFramer::refutedBy(Bytes chunk) const noexcept
{
    return !inSync_ && chunk.size() > kPacketSize && chunk[kPacketSize] != kSyncByte;
}

PacketFramer::Bytes PacketFramer::loseSync(Bytes chunk) noexcept
{
    inSync_ = false;
    return fromNextSyncByte(chunk.subspan(1));
}

PacketFramer::Bytes PacketFramer::carryAll(Bytes chunk) noexcept
{
    std::memcpy(carry_.data(), chunk.data(), chunk.size());
    carried_ = chunk.size();
    return {};
}

void PacketFramer::dropFalseSync() noexcept
{
    const Bytes rest = fromNextSyncByte(Bytes{carry_}.subspan(1));
    carried_ = rest.size();
    if (!rest.empty())
        std::memmove(carry_.data(), rest.data(), rest.size());
}

}  // namespace demux
