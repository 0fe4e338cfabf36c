// The AVC structure scan over a sequence of payloads: two option bytes, then each payload behind its length.

#include "esparse/gop_scan.h"
#include "tests/fuzz/target.h"
#include "tests/support/random_headers.h"

namespace zarnow::fuzz {

namespace {

void run(Bytes input)
{
    Options rest(input);
    AvcStreamInfo info;
    info.frame_mbs_only_flag = rest.byte() & 1;
    info.initialCpbRemovalDelayLength = rest.byte() & 0x3F;
    CGopScanner scanner(info);
    bool reached = false;
    while (!reached && !rest.empty()) {
        const std::uint8_t length = rest.byte();
        const test::ExactBuffer payload(rest.take(length));
        reached = scanner.scanAvcPayload(payload.data(), payload.length());
    }
    scanner.storeCounts();
}

/// One or two NAL units in payloads of any length, so that they go on from one to the next.
test::Data piece(test::Dice& dice)
{
    test::Data units = test::randomNalUnit(dice);
    if (dice.oneIn(2))
        units = test::join({units, test::randomNalUnit(dice)});
    test::Data payloads;
    for (std::size_t at = 0; at < units.size();) {
        const std::size_t size = std::min<std::size_t>(1 + dice.below(dice.oneIn(2) ? 20 : 184), units.size() - at);
        payloads.push_back(static_cast<std::uint8_t>(size));
        test::append(payloads, test::bytesFrom(units, at, size));
        at += size;
    }
    return payloads;
}

}  // namespace

const Target gopTarget{"gop", Layout::bytes, run, piece};

}  // namespace zarnow::fuzz
