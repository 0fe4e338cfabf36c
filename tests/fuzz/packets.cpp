// Packet sizes, sync bytes, packet walks, time stamps and audio sync words, in a block of any bytes.

#include "analysis/psi_parser.h"
#include "tests/fuzz/target.h"
#include "tests/support/random_stream.h"

namespace zarnow::fuzz {

namespace {

using test::ExactBuffer;

void searchSync(const CPSIParser& parser, const ExactBuffer& block)
{
    std::uint32_t size = 0;
    CPSIParser::detectPacketSize(block.data(), block.length(), size);
    require(size == kPacketSize || size == kTimedPacketSize, "an unknown packet size");
    std::uint32_t offset = 0;
    if (parser.findSync(block.data(), block.length(), offset)) {
        const Bytes bytes = block.view();
        require(offset + 2 * parser.packetSize < bytes.size() && bytes[offset] == kSyncByte, "no sync byte there");
    }
}

void walkForward(CPSIParser& parser, const ExactBuffer& block, std::uint16_t headerKey)
{
    const std::uint8_t* const end = block.data() + block.length();
    const std::uint8_t* from = block.data();
    const std::uint8_t* packet = nullptr;
    while (parser.findNextPacket(from, static_cast<std::int32_t>(end - from), headerKey, packet)) {
        require(packet >= from && *packet == kSyncByte, "a packet outside the block");
        require(end - packet > static_cast<std::ptrdiff_t>(parser.packetSize), "a packet that the block cuts off");
        from = packet + 1;
    }
}

void walkBackward(const CPSIParser& parser, const ExactBuffer& block, std::uint16_t headerKey)
{
    const std::uint8_t* packet = nullptr;
    for (std::int32_t length = block.length(); parser.findLastPacket(block.data(), length, headerKey, packet);
         length = static_cast<std::int32_t>(packet - block.data()))
        require(packet > block.data() && packet < block.data() + length && *packet == kSyncByte, "no packet there");
}

void readStamps(Bytes bytes, const ExactBuffer& block, std::uint8_t streamId)
{
    const ExactBuffer field(bytes.first(std::min<std::size_t>(bytes.size(), 5)));
    std::int64_t ticks = 0;
    if (field.length() == 5 && CPSIParser::parsePts(field.data(), ticks))
        require(ticks >= -0x100000000 && ticks < 0x100000000, "a stamp of more than 33 bits");
    CPSIParser::readPesPts(block.data(), block.length());
    CPSIParser::findPesPts(block.data(), streamId, block.length());
}

/// These go byte by byte, so that a payload's size is enough of the block.
void searchAudioSync(Bytes bytes)
{
    const ExactBuffer block(bytes.last(std::min<std::size_t>(bytes.size(), 184)));
    for (const auto find : {CPSIParser::findAc3Sync, CPSIParser::findMpegAudioSync}) {
        std::uint32_t offset = 0;
        if (find(block.data(), block.length(), offset))
            require(offset + 1 < block.view().size(), "a sync word behind the end");
    }
}

void run(Bytes whole)
{
    StreamInput input(whole);
    CPSIParser parser;
    parser.packetSize = (input.options.byte() & kTimedPackets) != 0 ? kTimedPacketSize : kPacketSize;
    const auto headerKey = static_cast<std::uint16_t>(input.options.word() & 0xFF5F);
    const ExactBuffer block(input.stream);
    searchSync(parser, block);
    walkForward(parser, block, headerKey);
    walkBackward(parser, block, headerKey);
    readStamps(input.stream, block, input.options.byte());
    searchAudioSync(input.stream);
}

}  // namespace

const Target packetsTarget{"packets", Layout::stream, run, test::randomPacket};

}  // namespace zarnow::fuzz
