#include "tools/demultiplexer/transport_packet.h"

namespace demux {
namespace {

constexpr std::size_t kHeaderSize = 4;

std::size_t payloadOffset(PacketBytes packet, bool hasAdaptationField)
{
    return hasAdaptationField ? kHeaderSize + 1U + packet[kHeaderSize] : kHeaderSize;
}

}  // namespace

TransportPacket parseTransportPacket(PacketBytes packet) noexcept
{
    TransportPacket result;
    const bool hasAdaptationField = (packet[3] & 0x20) != 0;
    result.pid = packetPid(packet);
    result.transportError = (packet[1] & 0x80) != 0;
    result.payloadUnitStart = (packet[1] & 0x40) != 0;
    result.scrambled = (packet[3] & 0xC0) != 0;
    result.carriesPayload = (packet[3] & 0x10) != 0;
    result.continuityCounter = packet[3] & 0x0F;
    result.discontinuity = hasAdaptationField && packet[4] > 0 && (packet[5] & 0x80) != 0;
    const std::size_t offset = payloadOffset(packet, hasAdaptationField);
    if (result.carriesPayload && offset < packet.size())
        result.payload = packet.subspan(offset);
    return result;
}

}  // namespace demux
