// The probes, which read no block in vain and search a PID once in a load, against the loops they stand for: every
// block read in order, every stream searched anew. Whatever the file holds, no record may differ in a single byte.

#include <gtest/gtest.h>

#include "tests/support/dice.h"
#include "tests/support/temporary_file.h"
#include "tests/support/transport_stream.h"
#include "tests/support/video_headers.h"
#include "tests/unit/plain_selection.h"

namespace zarnow::test {
namespace {

Data randomSps(Dice& dice)
{
    Usability usability{.aspectRatio = dice.oneIn(3) ? 255 : 1, .sarWidth = dice.below(9), .sarHeight = dice.below(9)};
    usability.timing = dice.oneIn(2);
    if (dice.oneIn(2))
        (dice.oneIn(2) ? usability.nalHrd : usability.vclHrd) =
            hrd(dice.below(4), dice.below(4), {{dice.below(900), dice.below(900)}}, 23, 24);
    return sps({.profile = dice.of({66, 77, 255}), .widthInMbs = dice.below(99) + 1, .usability = usability});
}

Data randomHeader(Dice& dice)
{
    const auto byte = static_cast<std::uint8_t>(dice.below(256));
    const SequenceHeader header{.width = dice.below(4096), .rate = dice.below(9), .marker = !dice.oneIn(3)};
    const Data mpeg = join({sequenceHeader(header), sequenceExtension(dice.below(8), dice.below(16))});
    const Data ac3{0x0B, 0x77, 0, 0, byte, 0, 64};
    const Data choices[] = {mpeg, randomSps(dice), ac3, {0xFF, 0xF5, byte, 4, byte}, {0, 0, byte, byte}, {byte}};
    return choices[dice.below(6)];
}

Data randomPacket(Dice& dice)
{
    Header header{.pid = static_cast<std::uint16_t>(0x20 + dice.below(10)), .unitStart = !dice.oneIn(3)};
    header.error = dice.oneIn(12);
    header.control = static_cast<std::uint8_t>(dice.oneIn(20) ? dice.below(4) : dice.oneIn(3) ? 3 : 1);
    header.adaptation = static_cast<std::uint8_t>(dice.below(dice.oneIn(10) ? 256 : 60));
    header.stuffing = 0x47;
    const std::int64_t pts = dice.oneIn(3) ? 1 + dice.below(900000) : 0;
    const Data payload = pes(dice.of({0xE0, 0xE0, 0xE1, 0xC0, 0xBD, 0xFD}), randomHeader(dice), pts);
    return firstBytes(packet(header, payload), kPacket);
}

Data randomFile(Dice& dice, bool withPrefixes)
{
    Data content = filled(dice.oneIn(3) ? dice.below(3000) : 0, dice.oneIn(2) ? 0x47 : 0x11);
    const unsigned rarity = dice.below(60) + 1;
    for (unsigned left = dice.below(900) + 20; left > 0; --left) {
        const Data one = dice.oneIn(rarity) ? randomPacket(dice) : nullPackets(1);
        content = join({content, withPrefixes ? timed(one) : one});
        if (dice.oneIn(300))
            content.resize(content.size() + dice.below(400), 0x47);  // the walk loses its footing
    }
    content.resize(content.size() - dice.below(180));
    return content;
}

/// What one selection leaves behind is what the next one begins with.
void expectSameSelections(unsigned seed)
{
    Dice dice(seed);
    const bool withPrefixes = dice.oneIn(3);
    const TemporaryFile source(randomFile(dice, withPrefixes));
    const std::uint32_t bufferSize = dice.oneIn(2) ? 33000 : 1500 + dice.below(1500);
    constexpr std::uint16_t kPrograms = 5;
    PlainSelection probe;
    PlainSelection plain;
    for (std::uint16_t i = 0; i < 6 * kPrograms; ++i)
        probe.streamList.push_back({.pid = static_cast<std::uint16_t>(0x20 + dice.below(10)),
                                    .streamType = dice.of({1, 2, 3, 4, 6, 0x0F, 0x11, 0x1B, 0x1B, 0x1B, 0x80, 0x81}),
                                    .programNumber = static_cast<std::uint16_t>(i % kPrograms)});
    plain.streamList = probe.streamList;
    for (PlainSelection* one : {&probe, &plain}) {
        ASSERT_EQ(one->file.open(source.path().c_str()), 0U);
        one->packetSize = withPrefixes ? kTimedPacketSize : kPacketSize;
        one->setReadBufferSize(bufferSize);
    }
    for (int step = 0; step < 12; ++step) {
        probe.currentProgramNumber = plain.currentProgramNumber = static_cast<std::uint16_t>(dice.below(kPrograms));
        probe.videoStreamCount = probe.audioStreamCount = 0;
        probe.probeVideoStreams();
        probe.probeAudioStreams();
        plain.plainProbes();
        probe.firstVideoDuration(probe.videoStreams[0].pid, probe.durationSeconds);
        plain.durationSeconds = plain.plainDuration(plain.videoStreams[0].pid);
        SCOPED_TRACE(testing::Message() << "seed " << seed << ", step " << step);
        expectSameAnalysis(probe, plain);
    }
}

TEST(ProbeDifference, RepeatedSelectionsOfRandomStreams)
{
    for (unsigned seed = 0; seed < 60 && !HasFailure(); ++seed)
        expectSameSelections(seed);
}

}  // namespace
}  // namespace zarnow::test
