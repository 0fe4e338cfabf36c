// Program association and program map sections in a block, and what is asked of the tables, in any order.

#include "analysis/psi_parser.h"
#include "tests/fuzz/target.h"
#include "tests/support/random_stream.h"

namespace zarnow::fuzz {

namespace {

class Tables
{
public:
    Tables(CPSIParser& parser, Bytes stream) : parser_(parser), block_(stream) {}

    /// The upper half of the byte chooses the step, the lower one the program.
    void step(std::uint8_t choice)
    {
        auto pid = static_cast<std::uint16_t>(0x20 + (choice & 0x0F));
        std::uint16_t number = choice & 7;
        parser_.getProgram(choice & 0x0F, pid, &number);
        switch (choice >> 4 & 7) {
            case 5:
                return removeDuplicates(pid, number);
            case 6:
                return removeProgram(choice & 0x0F, pid, number);
            case 7:
                return look(pid, number, choice);
            default:
                parse(choice >> 4 & 7, headerKeyOfPid(pid), number);
        }
    }

private:
    void parse(int choice, std::uint16_t headerKey, std::uint16_t number)
    {
        bool searching = false;
        bool taken = false;
        if (choice == 0)
            taken = parser_.parsePat(block_.data(), block_.length(), searching);
        else if (choice <= 2)
            taken = parser_.parsePmt(block_.data(), block_.length(), headerKey, searching);
        else
            taken = parser_.parsePmtForProgram(block_.data(), block_.length(), headerKey, number, searching);
        require(taken != searching, "the two answers disagree");
    }

    void removeDuplicates(std::uint16_t pmtPid, std::uint16_t number)
    {
        parser_.removeDuplicateStreams(pmtPid, number);
        std::vector<std::uint16_t> seen;
        for (const PsiEntry& stream : parser_.streamList) {
            if (!stream.belongsTo(pmtPid, number))
                continue;
            require(std::find(seen.begin(), seen.end(), stream.pid) == seen.end(), "a PID is still there twice");
            seen.push_back(stream.pid);
        }
    }

    void removeProgram(std::uint32_t index, std::uint16_t pmtPid, std::uint16_t number)
    {
        const std::size_t before = parser_.programList.size();
        const bool removed = parser_.removeProgram(index, pmtPid, number);
        require(parser_.programList.size() == before - (removed ? 1 : 0), "not one program removed");
    }

    void look(std::uint16_t pmtPid, std::uint16_t number, std::uint8_t choice)
    {
        const std::uint32_t count = parser_.countStreams(pmtPid, number);
        std::uint8_t type = 0;
        std::uint16_t pid = 0;
        require(count == 0 || parser_.getStream(count - 1, pmtPid, number, type, pid), "a counted stream is missing");
        require(!parser_.getStream(count, pmtPid, number, type, pid), "a stream behind the last one");
        constexpr std::array<std::uint8_t, 3> kTypes{0x00, 0x1B, 0x80};
        for (const std::uint8_t wanted : kTypes)
            parser_.findStreamByType(choice & 3, wanted, pid, type);
    }

    CPSIParser& parser_;
    test::ExactBuffer block_;
};

void run(Bytes whole)
{
    StreamInput input(whole);
    CPSIParser parser;
    parser.packetSize = (input.options.byte() & kTimedPackets) != 0 ? kTimedPacketSize : kPacketSize;
    Tables tables(parser, input.stream);
    while (!input.options.empty())
        tables.step(input.options.byte());
}

}  // namespace

const Target psiTarget{"psi", Layout::stream, run, test::randomTable};

}  // namespace zarnow::fuzz
