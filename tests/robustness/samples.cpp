#include "tests/robustness/samples.h"

#include <fstream>
#include <iterator>
#include <nlohmann/json.hpp>
#include <regex>
#include <system_error>

#include "tests/support/transport_stream.h"
#include "tests/support/video_headers.h"
#include "tools/tsprobe/json_report.h"

namespace zarnow::test {

namespace {

Data readFile(const std::filesystem::path& path)
{
    std::ifstream file(path, std::ios::binary);
    file.exceptions(std::ios::badbit | std::ios::failbit);
    return Data(std::istreambuf_iterator<char>(file), {});
}

/// Coded data: sync bytes of packets are in it, but neither start codes nor the sync words of any audio.
Data coded(std::size_t size, std::uint32_t seed)
{
    Data bytes(size);
    for (std::uint8_t& byte : bytes)
        byte = static_cast<std::uint8_t>(0x0C + ((seed = seed * 1664525 + 1013904223) >> 24) % 0xF0);
    return bytes;
}

constexpr std::uint32_t kRounds = 64;

/// An elementary stream: in every round a PES packet of a header, or of what every fourth round has instead, and coded
/// data, 25 of them a second.
struct Elementary
{
    std::uint16_t pid;
    std::uint8_t streamId;
    Data header;
    Data fourth;

    Data packets(std::uint32_t round) const
    {
        const Data content = join({round % 4 == 0 ? fourth : header, coded(250, pid * 3U + round)});
        return pesPackets(pid, pes(streamId, content, 90000 + 3600 * std::int64_t{round}));
    }
};

Elementary audio(std::uint16_t pid, std::uint8_t streamId, const Data& header)
{
    return {pid, streamId, header, header};
}

Elementary mpegVideo(std::uint16_t pid)
{
    return {pid, 0xE0, {}, join({sequenceHeader({.aspect = 2}), sequenceExtension()})};
}

Elementary avcVideo(std::uint16_t pid)
{
    const Usability usability{.videoFormat = 5, .timing = true};
    return {pid, 0xE1, join({accessUnitDelimiter(), slice(0, 1)}),
            join({accessUnitDelimiter(), sps({.usability = usability}), pps(true), slice(0, 2)})};
}

/// Rounds of one unit of each stream; the tables lead every eighth.
Data multiplex(const Data& tables, const std::vector<Elementary>& streams)
{
    Data whole;
    for (std::uint32_t round = 0; round < kRounds; ++round) {
        if (round % 8 == 0)
            append(whole, tables);
        for (const Elementary& stream : streams)
            append(whole, stream.packets(round));
    }
    return whole;
}

const Data kLayer2{0xFF, 0xFD, 0x84, 0x00};
const Data kAdts{0xFF, 0xF1, 0x4C, 0x80, 0x2E, 0x7F, 0xFC};
const Data kAc3{0x0B, 0x77, 0x55, 0x55, 0x1C, 0x40, 0x43};
const Data kLpcm{0x03, 0xC0, 0x31, 0x40};

/// Streams of every stream_type that is looked into, and of one that is not, in four programs whose maps share a PID.
/// The third has nothing that could be played.
Data everyType()
{
    std::vector<Stream> streams;
    for (const int type : {0x1B, 0x03, 0x04, 0x80, 0x06, 0x0F, 0x11, 0x05})
        streams.push_back({static_cast<std::uint8_t>(type), static_cast<std::uint16_t>(0x110 + streams.size())});
    const Data first =
        join({patPacket({{1, 0x100}, {2, 0x100}, {3, 0x100}, {4, 0x100}}), pmtPacket(0x100, 1, streams)});
    return multiplex(
        join({first, pmtPacket(0x100, 2, {{0x02, 0x120}, {0x01, 0x121}, {0x81, 0x122}}),
              pmtPacket(0x100, 3, {{0x02, 0x130}, {0x05, 0x131}}), pmtPacket(0x100, 4, {{0x03, 0x140}})}),
        {avcVideo(0x110), audio(0x111, 0xC0, kLayer2), audio(0x112, 0xC1, kLayer2), audio(0x113, 0xFD, kLpcm),
         audio(0x114, 0xBD, kAc3), audio(0x115, 0xC2, kAdts), audio(0x116, 0xC3, kAdts), audio(0x117, 0xBD, kAc3),
         mpegVideo(0x120), mpegVideo(0x121), audio(0x122, 0xBD, kAc3), audio(0x140, 0xC0, kLayer2)});
}

}  // namespace

const Samples& samples()
{
    static const Samples all{{"mpeg2", readFile(ZARNOW_TEST_DATA "mpeg2.ts")},
                             {"two-programs", readFile(ZARNOW_TEST_DATA "two-programs.ts")},
                             {"every-type", everyType()}};
    return all;
}

Samples madeSamples()
{
    Samples made;
    std::error_code none;
    for (const auto& entry : std::filesystem::directory_iterator(ZARNOW_MADE_SAMPLES, none)) {
        const Data content = readFile(entry.path());
        if (content.size() % kPacket == 0 && content.size() > kPacket && content[0] == 0x47 && content[kPacket] == 0x47)
            made.emplace(entry.path().filename(), content);
    }
    return made;
}

std::string factsOf(const std::filesystem::path& path, std::uint32_t bufferSize, bool placeless)
{
    using Json = nlohmann::ordered_json;
    const std::regex omitted(
        placeless ? "file.*|packetSize|startOffset|durationSeconds|hrdBitRate|estimatedAverageBitRate" : "file");
    const auto wanted = [&](int, Json::parse_event_t event, const Json& parsed) {
        return event != Json::parse_event_t::key || !std::regex_match(parsed.get<std::string>(), omitted);
    };
    std::string text;
    tsprobe::Arguments arguments;
    arguments.bufferSize = bufferSize;
    for (arguments.program = 0;; ++*arguments.program) {
        const tsprobe::Inspection inspection(path, arguments);
        const Json report = Json::parse(tsprobe::jsonReport(inspection), wanted);
        text += std::regex_replace(report.dump(), std::regex("[{]"), "\n{") + "\n";
        if (*arguments.program + 1 >= inspection.state().programList.size())
            return text;
    }
}

}  // namespace zarnow::test
