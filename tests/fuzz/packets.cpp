// A block of any bytes: packet sizes, sync bytes, packet walks, time stamps and audio sync words; program association
// and program map sections, and what is asked of the tables, in any order.

#include "analysis/psi_parser.h"
#include "tests/fuzz/target.h"
#include "tests/support/random_stream.h"

namespace zarnow::fuzz {

namespace {

using test::ExactBuffer;

void setPacketSize(CPSIParser& parser, Options& options)
{
    parser.packetSize = (options.byte() & kTimedPackets) != 0 ? kTimedPacketSize : kPacketSize;
}

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

void walk(CPSIParser& parser, const ExactBuffer& block, std::uint16_t headerKey)
{
    const std::uint8_t* const end = block.data() + block.length();
    const std::uint8_t* from = block.data();
    const std::uint8_t* packet = nullptr;
    for (; parser.findNextPacket(from, static_cast<std::int32_t>(end - from), headerKey, packet); from = packet + 1) {
        require(packet >= from && *packet == kSyncByte, "a packet outside the block");
        require(end - packet > static_cast<std::ptrdiff_t>(parser.packetSize), "a packet that the block cuts off");
    }
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

void runPackets(Bytes whole)
{
    StreamInput input(whole);
    CPSIParser parser;
    setPacketSize(parser, input.options);
    const auto headerKey = static_cast<std::uint16_t>(input.options.word() & 0xFF5F);
    const ExactBuffer block(input.stream);
    searchSync(parser, block);
    walk(parser, block, headerKey);
    readStamps(input.stream, block, input.options.byte());
    searchAudioSync(input.stream);
}

void parseTable(CPSIParser& parser, const ExactBuffer& block, int choice, std::uint16_t key, std::uint16_t number)
{
    bool searching = false;
    const bool taken = choice == 0   ? parser.parsePat(block.data(), block.length(), searching)
                       : choice <= 2 ? parser.parsePmt(block.data(), block.length(), key, searching)
                                     : parser.parsePmtForProgram(block.data(), block.length(), key, number, searching);
    require(taken != searching, "the two answers disagree");
}

void queryStreams(CPSIParser& parser, std::uint16_t pmtPid, std::uint16_t number, std::uint32_t index)
{
    const std::uint32_t count = parser.countStreams(pmtPid, number);
    std::uint8_t type = 0;
    std::uint16_t pid = 0;
    require(count == 0 || parser.getStream(count - 1, pmtPid, number, type, pid), "a counted stream is missing");
    require(!parser.getStream(count, pmtPid, number, type, pid), "a stream behind the last one");
    for (const int wanted : {0x00, 0x1B, 0x80})
        parser.findStreamByType(index, static_cast<std::uint8_t>(wanted), pid, type);
}

/// The upper half of the byte chooses the step, the lower one the program.
void stepThroughTables(CPSIParser& parser, const ExactBuffer& block, std::uint8_t choice)
{
    const std::uint32_t index = choice & 0x0F;
    auto pid = static_cast<std::uint16_t>(0x20 + index);
    std::uint16_t number = choice & 7;
    parser.getProgram(index, pid, &number);
    const std::size_t programs = parser.programList.size();
    switch (choice >> 4 & 7) {
        case 5:
            parser.removeDuplicateStreams(pid, number);
            return;
        case 6:
            require(parser.removeProgram(index, pid, number) == (parser.programList.size() + 1 == programs),
                    "not one program removed");
            return;
        case 7:
            return queryStreams(parser, pid, number, choice & 3);
        default:
            parseTable(parser, block, choice >> 4 & 7, headerKeyOfPid(pid), number);
    }
}

void runPsi(Bytes whole)
{
    StreamInput input(whole);
    CPSIParser parser;
    setPacketSize(parser, input.options);
    const ExactBuffer block(input.stream);
    while (!input.options.empty())
        stepThroughTables(parser, block, input.options.byte());
}

}  // namespace

const Target packetsTarget{"packets", Layout::stream, runPackets, test::randomPacket};
const Target psiTarget{"psi", Layout::stream, runPsi, test::randomTable};

}  // namespace zarnow::fuzz
