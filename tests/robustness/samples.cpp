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

/// Every PES packet begins with the header, of video every fourth one only.
struct Elementary
{
    std::uint16_t pid;
    std::uint8_t streamId;
    Data header;
};

/// Four programs whose maps share a PID. The first has a stream of every stream_type that is looked into, and one that
/// is not; the third has nothing that could be played.
Data generated()
{
    constexpr std::uint32_t kRounds = 64;  // of a PES packet of each stream, 25 of them a second
    const Usability usability{.videoFormat = 5, .timing = true, .nalHrd = hrd(2, 3, {{700, 800}}, 23, 24)};
    const Data avc = join({accessUnitDelimiter(), sps({.usability = usability}), pps(true), slice(0, 2)});
    const Data mpeg = join({sequenceHeader({.aspect = 2}), sequenceExtension()});
    const Data layer2{0xFF, 0xFD, 0x84, 0x00};
    const Data adts{0xFF, 0xF1, 0x4C, 0x80, 0x2E, 0x7F, 0xFC};
    const Data ac3{0x0B, 0x77, 0x55, 0x55, 0x1C, 0x40, 0x43};
    const Data lpcm{0x03, 0xC0, 0x31, 0x40};
    const Elementary streams[] = {
        {0x110, 0xE0, mpeg}, {0x111, 0xE0, mpeg}, {0x112, 0xE1, avc},    {0x113, 0xC0, layer2}, {0x114, 0xC1, layer2},
        {0x115, 0xBD, ac3},  {0x116, 0xC2, adts}, {0x117, 0xC3, adts},   {0x118, 0xFD, lpcm},   {0x119, 0xBD, ac3},
        {0x120, 0xE1, avc},  {0x121, 0xC0, adts}, {0x140, 0xC0, layer2},
    };
    const Data tables = join({patPacket({{1, 0x100}, {2, 0x100}, {3, 0x100}, {4, 0x100}}),
                              pmtPacket(0x100, 1,
                                        {{0x02, 0x110},
                                         {0x01, 0x111},
                                         {0x1B, 0x112},
                                         {0x03, 0x113},
                                         {0x04, 0x114},
                                         {0x06, 0x115},
                                         {0x0F, 0x116},
                                         {0x11, 0x117},
                                         {0x80, 0x118},
                                         {0x81, 0x119},
                                         {0x05, 0x11A}}),
                              pmtPacket(0x100, 2, {{0x1B, 0x120}, {0x0F, 0x121}}), pmtPacket(0x100, 3, {{0x05, 0x131}}),
                              pmtPacket(0x100, 4, {{0x03, 0x140}})});
    Data whole;
    for (std::uint32_t round = 0; round < kRounds; ++round) {
        if (round % 8 == 0)
            append(whole, tables);
        for (const auto& [pid, streamId, header] : streams) {
            const bool video = (streamId & 0xF0) == 0xE0;
            const Data start = !video || round % 4 == 0 ? header : header == avc ? slice(0, 1) : Data();
            const Data unit = join({start, coded(250, pid * 3U + round)});
            append(whole, pesPackets(pid, pes(streamId, unit, 90000 + 3600 * std::int64_t{round})));
        }
    }
    return whole;
}

}  // namespace

const Samples& samples()
{
    static const Samples all{{"mpeg2", readFile(ZARNOW_TEST_DATA "mpeg2.ts")},
                             {"two-programs", readFile(ZARNOW_TEST_DATA "two-programs.ts")},
                             {"generated", generated()}};
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
