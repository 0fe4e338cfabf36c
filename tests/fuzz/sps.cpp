// An AVC sequence parameter set behind a PES header.

#include "esparse/avc_sequence_header.h"
#include "tests/fuzz/plain_writes.h"
#include "tests/support/random_headers.h"
#include "tests/support/transport_stream.h"

namespace zarnow::fuzz {

namespace {

struct Records
{
    VideoProbeRecord stream;
    AvcStreamInfo info;
};

void run(Bytes input)
{
    const test::ExactBuffer payload(input);
    requirePlainWrites<Records>([&](Records& records) {
        records.info.hrdBitRate = records.info.hrdCpbSize = 0;  // these two are written once only
        return parseAvcSequenceHeader(records.info, payload.data(), payload.length(), records.stream);
    });
}

test::Data piece(test::Dice& dice)
{
    return dice.oneIn(4) ? test::randomNalUnit(dice) : test::pes(0xE0, test::randomSps(dice));
}

}  // namespace

const Target spsTarget{"sps", Layout::bytes, run, piece};

}  // namespace zarnow::fuzz
