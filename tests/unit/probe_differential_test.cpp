// The probes, which read no block in vain and search a PID once in a load, against the loops they stand for: every
// block read in order, every stream searched anew. Whatever the file holds, no record may differ in a single byte.

#include <gtest/gtest.h>

#include "tests/support/plain_selection.h"
#include "tests/support/random_stream.h"
#include "tests/support/temporary_file.h"

namespace zarnow::test {
namespace {

/// What one selection leaves behind is what the next one begins with.
void expectSameSelections(unsigned seed)
{
    Dice dice(seed);
    const bool withPrefixes = dice.oneIn(3);
    const StreamShape shape{
        .packets = 900, .rarity = dice.below(60) + 1, .garbage = 3000, .withPrefixes = withPrefixes};
    const TemporaryFile source(randomStream(dice, shape));
    const std::uint32_t bufferSize = dice.oneIn(2) ? 33000 : 1500 + dice.below(1500);
    constexpr std::uint16_t kPrograms = 5;
    PlainSelection probe;
    PlainSelection plain;
    for (std::uint16_t i = 0; i < 6 * kPrograms; ++i)
        probe.streamList.push_back({.pid = randomPid(dice),
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
        EXPECT_EQ(differenceOf(probe, plain), "");
    }
}

TEST(ProbeDifference, RepeatedSelectionsOfRandomStreams)
{
    for (unsigned seed = 0; seed < 60 && !HasFailure(); ++seed)
        expectSameSelections(seed);
}

}  // namespace
}  // namespace zarnow::test
