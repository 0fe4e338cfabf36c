// Audio headers of every kind in one payload.

#include "esparse/audio_header.h"
#include "tests/fuzz/plain_writes.h"
#include "tests/support/random_headers.h"
#include "tests/support/transport_stream.h"

namespace zarnow::fuzz {

namespace {

void parse(const test::ExactBuffer& payload, std::uint8_t type, bool lpcmMode)
{
    AudioProbeRecord record;
    const bool parsed = parseAudioHeader(payload.data(), payload.length(), type, record, lpcmMode);
    require(record.streamType == type, "the stream_type is not stored");
    require(!parsed || payload.length() >= 4, "a header too short for the stream_id that is read from it");
}

void run(Bytes input)
{
    const test::ExactBuffer payload(input);
    constexpr std::array<std::uint8_t, 8> kTypes{0x00, 0x03, 0x04, 0x06, 0x0F, 0x11, 0x80, 0xFF};
    for (const std::uint8_t type : kTypes) {
        parse(payload, type, false);
        parse(payload, type, true);
    }
}

test::Data piece(test::Dice& dice)
{
    return test::pes(dice.of({0xC0, 0xDF, 0xBD, 0xFD}), test::randomAudioHeader(dice));
}

}  // namespace

const Target audioTarget{"audio", Layout::bytes, run, piece};

}  // namespace zarnow::fuzz
