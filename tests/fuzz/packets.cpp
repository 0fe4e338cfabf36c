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

void searchWords(const CPSIParser& parser, Bytes block)
{
    const auto length = static_cast<std::int32_t>(block.size());
    std::uint32_t size = 0, offset = 0;
    CPSIParser::detectPacketSize(block.data(), length, size);
    require(size == kPacketSize || size == kTimedPacketSize, "an unknown packet size");
    if (parser.findSync(block.data(), length, offset))
        require(offset + 2 * parser.packetSize < block.size() && block[offset] == kSyncByte, "no sync byte there");
    for (const auto find : {CPSIParser::findAc3Sync, CPSIParser::findMpegAudioSync}) {
        if (find(block.data(), std::min(length, 184), offset))  // byte by byte: a payload's size is enough
            require(offset + 1 < block.size(), "a sync word behind the end");
    }
}

void walk(CPSIParser& parser, Bytes block, std::uint16_t headerKey)
{
    const std::uint8_t* const end = block.data() + block.size();
    const std::uint8_t* from = block.data();
    const std::uint8_t* packet = nullptr;
    for (; parser.findNextPacket(from, static_cast<std::int32_t>(end - from), headerKey, packet); from = packet + 1) {
        require(packet >= from && *packet == kSyncByte, "a packet outside the block");
        require(end - packet > static_cast<std::ptrdiff_t>(parser.packetSize), "a packet that the block cuts off");
    }
    for (std::ptrdiff_t length = end - block.data();
         parser.findLastPacket(block.data(), static_cast<std::int32_t>(length), headerKey, packet);
         length = packet - block.data())
        require(packet > block.data() && packet < block.data() + length && *packet == kSyncByte, "no packet there");
}

void readStamps(Bytes block, std::uint8_t streamId)
{
    const ExactBuffer field(block.first(std::min<std::size_t>(block.size(), 5)));
    std::int64_t ticks = 0;
    if (field.length() == 5 && CPSIParser::parsePts(field.data(), ticks))
        require(ticks >= -0x100000000 && ticks < 0x100000000, "a stamp of more than 33 bits");
    CPSIParser::readPesPts(block.data(), static_cast<std::int32_t>(block.size()));
    CPSIParser::findPesPts(block.data(), streamId, static_cast<std::int32_t>(block.size()));
}

void runPackets(Bytes whole)
{
    StreamInput input(whole);
    CPSIParser parser;
    setPacketSize(parser, input.options);
    const auto headerKey = static_cast<std::uint16_t>(input.options.word() & 0xFF5F);
    const ExactBuffer block(input.stream);
    searchWords(parser, block.view());
    walk(parser, block.view(), headerKey);
    readStamps(block.view(), input.options.byte());
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
    std::size_t programs = parser.programList.size();
    switch (choice >> 4 & 7) {
        case 5:
            return void(parser.removeDuplicateStreams(pid, number));
        case 6:
            programs -= parser.removeProgram(index, pid, number) ? 1 : 0;
            return require(parser.programList.size() == programs, "not one program removed");
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
