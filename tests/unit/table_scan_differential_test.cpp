// The walk over the programs' maps, which reads the file once, against the walk that it stands for: the file from its
// beginning for every program, and round again when the last one has no map.

#include <gtest/gtest.h>

#include "tests/support/dice.h"
#include "tests/support/difficult_files.h"
#include "tests/support/plain_selection.h"
#include "tests/support/temporary_file.h"
#include "tests/support/transport_stream.h"

namespace zarnow::test {
namespace {

Data randomMap(Dice& dice, std::uint16_t pid, std::uint16_t number)
{
    std::vector<Stream> streams;
    for (unsigned left = dice.below(50); left > 0; --left)
        streams.push_back({dice.of({2, 0x1B, 3, 0x81}), static_cast<std::uint16_t>(0x1000 + dice.below(20)),
                           static_cast<std::uint16_t>(dice.oneIn(4) ? dice.below(30) : 0)});
    const Data section = pmtSection(number, streams, static_cast<std::uint16_t>(dice.oneIn(5) ? dice.below(200) : 0));
    Header header{.pid = pid, .unitStart = !dice.oneIn(9), .error = dice.oneIn(9)};
    header.control = dice.of({1, 1, 1, 1, 1, 1, 3, 0, 2});
    header.adaptation = static_cast<std::uint8_t>(dice.below(80));
    const Data payload = pointed(section, static_cast<std::uint8_t>(dice.oneIn(4) ? dice.below(90) : 0));
    Data packets = firstBytes(packet(header, payload), kPacket);
    const std::size_t taken = kPacket - 4 - (header.control == 3 ? header.adaptation + 1U : 0);
    if (header.control != 2 && payload.size() > taken && !dice.oneIn(3)) {
        const Data rest(payload.begin() + static_cast<std::ptrdiff_t>(taken), payload.end());
        Header onward{.pid = pid, .unitStart = dice.oneIn(2)};
        onward.control = dice.of({1, 1, 1, 0, 3});
        packets = join({packets, firstBytes(packet(onward, rest), kPacket)});
    }
    return packets;
}

Data randomFile(Dice& dice)
{
    std::vector<Program> programs;
    const unsigned pids = dice.below(5) + 1;
    for (unsigned left = dice.below(12) + 1; left > 0; --left)
        programs.push_back(
            {static_cast<std::uint16_t>(dice.below(8) + 1), static_cast<std::uint16_t>(0x100 + dice.below(pids))});
    Data content = join({nullPackets(dice.below(8)), patPacket(programs)});
    for (unsigned left = dice.below(60); left > 0; --left) {
        const Program& program = programs[dice.below(static_cast<unsigned>(programs.size()))];
        if (program.number < 6 || dice.oneIn(4))  // some programs have no map
            content =
                join({content, randomMap(dice, program.pmtPid,
                                         dice.oneIn(4) ? static_cast<std::uint16_t>(dice.below(40)) : program.number)});
        content = join({content, nullPackets(dice.below(4))});
        if (dice.oneIn(30))
            content.resize(content.size() + dice.below(400), 0x47);
    }
    content = join({content, nullPackets(dice.oneIn(2) ? 6 : 0)});
    content.resize(content.size() - dice.below(180));
    return content;
}

void expectSameTables(const Data& content, std::uint32_t bufferSize)
{
    const TemporaryFile source(content);
    CProgramSelection scan;
    PlainSelection plain;
    for (CProgramSelection* one : {&scan, static_cast<CProgramSelection*>(&plain)}) {
        ASSERT_EQ(one->file.open(source.path().c_str()), 0U);
        one->setReadBufferSize(bufferSize);
    }
    EXPECT_EQ(scan.scanProgramTables(), plain.plainTables());
    EXPECT_EQ(differenceOf(scan, plain), "");
}

TEST(TableScanDifference, RandomTables)
{
    for (unsigned seed = 0; seed < 2000 && !HasFailure(); ++seed) {
        SCOPED_TRACE(testing::Message() << "seed " << seed);
        Dice dice(seed);
        expectSameTables(randomFile(dice), dice.oneIn(2) ? kDefaultReadBufferSize : 1100 + dice.below(3000));
    }
}

TEST(TableScanDifference, DifficultFiles)
{
    for (const DifficultFile& file : difficultFiles()) {
        SCOPED_TRACE(file.name);
        expectSameTables(firstBytes(join({file.head, file.body}), 600'000), kDefaultReadBufferSize);
    }
}

}  // namespace
}  // namespace zarnow::test
