// A block of any bytes: packet sizes, sync bytes, packet walks, time stamps and audio sync words; program association
// and program map sections, and what is asked of the tables, in any order.

#include "analysis/psi_parser.h"
#include "tests/fuzz/target.h"
#include "tests/support/random_stream.h"

namespace zarnow::fuzz {

namespace {

using test::Data;
using test::ExactBuffer;

/// Options, and a block for the parser.
struct BlockInput
{
    explicit BlockInput(Bytes whole) : rest(whole), options(rest.take(kOptionBytes)), block(rest.take(whole.size()))
    {
        parser.packetSize = (options.byte() & kTimedPackets) != 0 ? kTimedPacketSize : kPacketSize;
    }

    Options rest;
    Options options;
    const ExactBuffer block;
    CPSIParser parser;
};

void searchWords(const CPSIParser& parser, const ExactBuffer& block, Data& facts)
{
    std::uint32_t size = 0, offset = 0;
    CPSIParser::detectPacketSize(block.data(), block.length(), size);
    require(size == kPacketSize || size == kTimedPacketSize, "an unknown packet size");
    note(facts, size, parser.findSync(block.data(), block.length(), offset), offset);
    for (const auto find : {CPSIParser::findAc3Sync, CPSIParser::findMpegAudioSync})
        note(facts, find(block.data(), std::min(block.length(), 184), offset), offset);  // byte by byte: no more
}

void walk(CPSIParser& parser, Bytes block, std::uint16_t headerKey, Data& facts)
{
    const std::uint8_t* const end = block.data() + block.size();
    const std::uint8_t* from = block.data();
    const std::uint8_t* packet = nullptr;
    for (; parser.findNextPacket(from, static_cast<std::int32_t>(end - from), headerKey, packet); from = packet + 1) {
        require(packet >= from && *packet == kSyncByte, "a packet outside the block");
        require(end - packet > static_cast<std::ptrdiff_t>(parser.packetSize), "a packet that the block cuts off");
        note(facts, packet - block.data(), parser.lastHeaderWord);
    }
    for (std::ptrdiff_t length = end - block.data();
         parser.findLastPacket(block.data(), static_cast<std::int32_t>(length), headerKey, packet);
         length = packet - block.data()) {
        require(packet > block.data() && packet < block.data() + length && *packet == kSyncByte, "no packet there");
        note(facts, packet - block.data(), parser.lastHeaderWord);
    }
}

void readStamps(const ExactBuffer& block, std::uint8_t streamId, Data& facts)
{
    const ExactBuffer field(test::firstBytes(block, 5));
    std::int64_t ticks = 0;
    if (field.length() == 5 && CPSIParser::parsePts(field.data(), ticks))
        require(ticks >= -0x100000000 && ticks < 0x100000000, "a stamp of more than 33 bits");
    note(facts, ticks, CPSIParser::readPesPts(block.data(), block.length()),
         CPSIParser::findPesPts(block.data(), streamId, block.length()));
}

void runPackets(Bytes whole, Data& facts)
{
    BlockInput input(whole);
    const auto headerKey = static_cast<std::uint16_t>(input.options.word() & 0xFF5F);
    searchWords(input.parser, input.block, facts);
    walk(input.parser, input.block, headerKey, facts);
    readStamps(input.block, input.options.byte(), facts);
}

void parseTable(CPSIParser& parser, const ExactBuffer& block, int choice, std::uint16_t key, std::uint16_t number)
{
    bool searching = false;
    const bool taken = choice == 0   ? parser.parsePat(block.data(), block.length(), searching)
                       : choice <= 2 ? parser.parsePmt(block.data(), block.length(), key, searching)
                                     : parser.parsePmtForProgram(block.data(), block.length(), key, number, searching);
    require(taken != searching, "the two answers disagree");
}

void queryStreams(CPSIParser& parser, std::uint16_t pmtPid, std::uint16_t number, std::uint32_t index, Data& facts)
{
    const std::uint32_t count = parser.countStreams(pmtPid, number);
    std::uint8_t type = 0;
    std::uint16_t pid = 0;
    require(count == 0 || parser.getStream(count - 1, pmtPid, number, type, pid), "a counted stream is missing");
    require(!parser.getStream(count, pmtPid, number, type, pid), "a stream behind the last one");
    note(facts, count, pid, type);
    for (const int wanted : {0x00, 0x1B, 0x80})
        note(facts, parser.findStreamByType(index, static_cast<std::uint8_t>(wanted), pid, type), pid, type);
}

/// The upper half of the byte chooses the step, the lower one the program.
void stepThroughTables(CPSIParser& parser, const ExactBuffer& block, std::uint8_t choice, Data& facts)
{
    const std::uint32_t index = choice & 0x0F;
    auto pid = static_cast<std::uint16_t>(0x20 + index);
    std::uint16_t number = choice & 7;
    parser.getProgram(index, pid, &number);
    switch (choice >> 4 & 7) {
        case 5:
            return void(parser.removeDuplicateStreams(pid, number));
        case 6:
            require(!parser.removeProgram(index, pid, static_cast<std::uint16_t>(number ^ 8)),
                    "another program was removed");
            return note(facts, parser.removeProgram(index, pid, number));
        case 7:
            return queryStreams(parser, pid, number, choice & 3, facts);
        default:
            parseTable(parser, block, choice >> 4 & 7, headerKeyOfPid(pid), number);
    }
}

void runPsi(Bytes whole, Data& facts)
{
    BlockInput input(whole);
    const CPSIParser& parser = input.parser;
    while (!input.options.empty()) {
        stepThroughTables(input.parser, input.block, input.options.byte(), facts);
        note(facts, parser.programList, parser.streamList, parser.currentPmtPid, parser.currentProgramNumber);
    }
}

}  // namespace

const Target packetsTarget{"packets", Layout::stream, runPackets, test::randomPacket};
const Target psiTarget{"psi", Layout::stream, runPsi, test::randomTable};

}  // namespace zarnow::fuzz
