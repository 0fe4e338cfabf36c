// Headers in one payload: audio of every kind; an MPEG video sequence header with its matrices and its extension; an
// AVC sequence parameter set. The probes search a PID once for all, so what the video parsers answer and write must not
// depend on what the records held before.

#include <cstring>

#include "esparse/audio_header.h"
#include "esparse/avc_sequence_header.h"
#include "esparse/mpeg_video_header.h"
#include "tests/fuzz/target.h"
#include "tests/support/random_headers.h"
#include "tests/support/transport_stream.h"

namespace zarnow::fuzz {

namespace {

/// @param parse  called with a record whose bytes are all the same; answers what the parser answered
/// @return the answer
template <class Record, class Parse>
bool requirePlainWrites(Parse parse)
{
    using Image = std::array<std::uint8_t, sizeof(Record)>;
    constexpr std::array<std::uint8_t, 3> kFills{0x00, 0xFF, 0x5A};
    std::array<Image, kFills.size()> images;
    std::array<bool, kFills.size()> answers;
    for (std::size_t i = 0; i < kFills.size(); ++i) {
        Record record;
        std::memset(static_cast<void*>(&record), kFills[i], sizeof(Record));
        answers[i] = parse(record);
        std::memcpy(images[i].data(), &record, sizeof(Record));
    }
    require(answers[0] == answers[1] && answers[0] == answers[2], "the answer depends on an earlier record");
    for (std::size_t i = 0; i < sizeof(Record); ++i) {
        const bool written = images[0][i] == images[1][i];
        require(images[2][i] == (written ? images[0][i] : kFills[2]), "what is written depends on an earlier record");
    }
    return answers[0];
}

void parseAudio(const test::ExactBuffer& payload, std::uint8_t type, bool lpcmMode)
{
    AudioProbeRecord record;
    const bool parsed = parseAudioHeader(payload.data(), payload.length(), type, record, lpcmMode);
    require(record.streamType == type, "the stream_type is not stored");
    require(!parsed || payload.length() >= 4, "a header too short for the stream_id that is read from it");
}

void runAudio(Bytes input)
{
    const test::ExactBuffer payload(input);
    constexpr std::array<std::uint8_t, 8> kTypes{0x00, 0x03, 0x04, 0x06, 0x0F, 0x11, 0x80, 0xFF};
    for (const std::uint8_t type : kTypes) {
        parseAudio(payload, type, false);
        parseAudio(payload, type, true);
    }
}

test::Data audioPiece(test::Dice& dice)
{
    return test::pes(dice.of({0xC0, 0xDF, 0xBD, 0xFD}), test::randomAudioHeader(dice));
}

void requireHeaderBytes(const VideoProbeRecord& record, Bytes header)
{
    const std::uint32_t length = record.sequenceHeaderLength;
    require(length <= std::min(header.size(), kMaxSequenceHeaderSize), "a header longer than its bytes");
    require(std::equal(header.begin(), header.begin() + length, record.sequenceHeader.begin()), "other bytes");
}

void runMpegVideo(Bytes input)
{
    const test::ExactBuffer payload(input);
    require(sequenceHeaderSize(payload.data(), payload.length()) <= kMaxSequenceHeaderSize, "no such size");
    requirePlainWrites<VideoProbeRecord>(
        [&](VideoProbeRecord& record) { return findSequenceHeader(payload.data(), payload.length(), record); });
    requirePlainWrites<VideoProbeRecord>([&](VideoProbeRecord& record) {
        const bool parsed = parseSequenceHeader(payload.data(), payload.length(), record);
        if (parsed)
            requireHeaderBytes(record, input);
        return parsed;
    });
}

struct Records
{
    VideoProbeRecord stream;
    AvcStreamInfo info;
};

void runSps(Bytes input)
{
    const test::ExactBuffer payload(input);
    requirePlainWrites<Records>([&](Records& records) {
        records.info.hrdBitRate = records.info.hrdCpbSize = 0;  // these two are written once only
        return parseAvcSequenceHeader(records.info, payload.data(), payload.length(), records.stream);
    });
}

test::Data spsPiece(test::Dice& dice)
{
    return dice.oneIn(4) ? test::randomNalUnit(dice) : test::pes(0xE0, test::randomSps(dice));
}

}  // namespace

const Target audioTarget{"audio", Layout::bytes, runAudio, audioPiece};
const Target mpeg_videoTarget{"mpeg_video", Layout::bytes, runMpegVideo, test::randomSequenceHeader};
const Target spsTarget{"sps", Layout::bytes, runSps, spsPiece};

}  // namespace zarnow::fuzz
