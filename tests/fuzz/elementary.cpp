// Headers in one payload: audio of every kind, an MPEG video sequence header, an AVC sequence parameter set; and the
// AVC structure scan over a sequence of payloads. The probes search a PID once for all, so what the video parsers
// answer and write must not depend on what the records held before.

#include <cstring>

#include "esparse/audio_header.h"
#include "esparse/avc_sequence_header.h"
#include "esparse/gop_scan.h"
#include "esparse/mpeg_video_header.h"
#include "esparse/written_bytes.h"
#include "tests/fuzz/target.h"
#include "tests/support/random_stream.h"
#include "tests/support/transport_stream.h"

namespace zarnow::fuzz {

namespace {

/// @param parse  called with a record; answers what the parser answered
template <class Record, class Parse>
void requirePlainWrites(test::Data& facts, Parse parse)
{
    CWrittenBytes<Record> written;
    Record third, expected;
    std::memset(static_cast<void*>(&third), 0x5A, sizeof(Record));
    std::memset(static_cast<void*>(&expected), 0x5A, sizeof(Record));
    const bool answer = parse(third);
    require(parse(written.first) == answer && parse(written.second) == answer, "the answer depends on a record");
    written.applyTo(expected);
    require(std::memcmp(&third, &expected, sizeof(Record)) == 0, "what is written depends on an earlier record");
    note(facts, answer, third);
}

void runAudio(Bytes input, test::Data& facts)
{
    const test::ExactBuffer payload(input);
    for (const int type : {0x00, 0x03, 0x04, 0x06, 0x0F, 0x11, 0x80, 0xFF}) {
        for (const bool lpcmMode : {false, true}) {
            const auto streamType = static_cast<std::uint8_t>(type);
            AudioProbeRecord record;
            const bool parsed = parseAudioHeader(payload.data(), payload.length(), streamType, record, lpcmMode);
            require(!parsed || input.size() >= 4, "a header too short for the stream_id that is read from it");
            note(facts, parsed, record);
        }
    }
}

test::Data audioPiece(test::Dice& dice)
{
    const std::uint8_t streamId = dice.of({0xC0, 0xDF, 0xBD, 0xFD});
    return test::pes(streamId, test::randomAudioHeader(dice));
}

void runMpegVideo(Bytes input, test::Data& facts)
{
    const test::ExactBuffer payload(input);
    note(facts, sequenceHeaderSize(payload.data(), payload.length()));
    for (const auto parse : {findSequenceHeader, parseSequenceHeader})
        requirePlainWrites<VideoProbeRecord>(
            facts, [&](VideoProbeRecord& record) { return parse(payload.data(), payload.length(), record); });
}

struct AvcRecords
{
    VideoProbeRecord stream;
    AvcStreamInfo info;
};

void runSps(Bytes input, test::Data& facts)
{
    const test::ExactBuffer payload(input);
    requirePlainWrites<AvcRecords>(facts, [&](AvcRecords& records) {
        records.info.hrdBitRate = records.info.hrdCpbSize = 0;  // these two are written once only
        return parseAvcSequenceHeader(records.info, payload.data(), payload.length(), records.stream);
    });
}

test::Data spsPiece(test::Dice& dice)
{
    return dice.oneIn(4) ? test::randomNalUnit(dice) : test::pes(0xE0, test::randomSps(dice));
}

/// Two option bytes, then each payload behind its length.
void runGop(Bytes input, test::Data& facts)
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
    note(facts, reached, info);
}

/// One or two NAL units in payloads of any length, so that they go on from one to the next.
test::Data gopPiece(test::Dice& dice)
{
    const test::Data units =
        test::join({test::randomNalUnit(dice), dice.oneIn(2) ? test::randomNalUnit(dice) : test::Data{}});
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

const Target audioTarget{"audio", Layout::bytes, runAudio, audioPiece};
const Target mpeg_videoTarget{"mpeg_video", Layout::bytes, runMpegVideo, test::randomSequenceHeader};
const Target spsTarget{"sps", Layout::bytes, runSps, spsPiece};
const Target gopTarget{"gop", Layout::payloads, runGop, gopPiece};

}  // namespace zarnow::fuzz
