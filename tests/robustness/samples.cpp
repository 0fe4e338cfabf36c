#include "tests/robustness/samples.h"

#include <filesystem>
#include <fstream>
#include <functional>
#include <iterator>
#include <stdexcept>
#include <system_error>

#include "tests/support/transport_stream.h"
#include "tests/support/video_headers.h"

namespace zarnow::test {

namespace {

Data readFile(const std::filesystem::path& path)
{
    std::ifstream file(path, std::ios::binary);
    file.exceptions(std::ios::badbit | std::ios::failbit);
    return Data(std::istreambuf_iterator<char>(file), {});
}

Data readData(const char* name)
{
    return readFile(std::filesystem::path(ZARNOW_TEST_DATA) / name);
}

/// Coded data: sync bytes of packets are in it, but neither start codes nor the sync words of any audio.
Data coded(std::size_t size, std::uint32_t seed)
{
    Data bytes(size);
    for (std::uint8_t& byte : bytes)
        byte = static_cast<std::uint8_t>(0x0C + ((seed = seed * 1664525 + 1013904223) >> 24) % 0xF0);
    return bytes;
}

/// One elementary stream of a made-up file: its unit of the n-th round.
struct Elementary
{
    std::uint16_t pid;
    std::function<Data(std::uint32_t round)> unit;
};

constexpr std::int64_t kFirstStamp = 90000;
constexpr std::int64_t kStampsPerRound = 3600;  // 25 per second

std::int64_t stampOf(std::uint32_t round)
{
    return kFirstStamp + kStampsPerRound * round;
}

/// Pictures of which every fourth has a header.
Elementary mpegVideo(std::uint16_t pid)
{
    return {pid, [pid](std::uint32_t round) {
                const Data header = join({sequenceHeader({.aspect = 2}), sequenceExtension()});
                const Data picture = coded(300, pid + round);
                return pes(0xE0, round % 4 == 0 ? join({header, picture}) : picture, stampOf(round));
            }};
}

Elementary avcVideo(std::uint16_t pid)
{
    return {pid, [pid](std::uint32_t round) {
                const Usability usability{.videoFormat = 5, .timing = true, .nalHrd = hrd(2, 3, {{700, 800}}, 23, 24)};
                const Data parameters = join({sps({.usability = usability}), pps(true)});
                const Data picture = join({slice(0, round % 4 == 0 ? 2 : round % 2), coded(300, pid + round)});
                return pes(0xE1, join({accessUnitDelimiter(), round % 4 == 0 ? parameters : Data{}, picture}),
                           stampOf(round));
            }};
}

Elementary audio(std::uint16_t pid, std::uint8_t streamId, Data header)
{
    return {pid, [=](std::uint32_t round) {
                return pes(streamId, join({header, coded(200, pid * 3U + round)}), stampOf(round));
            }};
}

/// Rounds of one unit of each stream; the tables lead every eighth.
Data multiplex(const Data& tables, const std::vector<Elementary>& streams, std::uint32_t rounds)
{
    Data whole;
    for (std::uint32_t round = 0; round < rounds; ++round) {
        if (round % 8 == 0)
            append(whole, tables);
        for (const Elementary& stream : streams)
            append(whole, pesPackets(stream.pid, stream.unit(round)));
    }
    return whole;
}

const Data kLayer2{0xFF, 0xFD, 0x84, 0x00};
const Data kAdts{0xFF, 0xF1, 0x4C, 0x80, 0x2E, 0x7F, 0xFC};
const Data kAc3{0x0B, 0x77, 0x55, 0x55, 0x1C, 0x40, 0x43};
const Data kLpcm{0x03, 0xC0, 0x31, 0x40};

/// One program with a stream of every stream_type that is looked into, and some that are not.
Data everyType()
{
    const Data tables = join({patPacket({{1, 0x100}}), pmtPacket(0x100, 1,
                                                                 {{0x02, 0x110},
                                                                  {0x01, 0x111},
                                                                  {0x1B, 0x112},
                                                                  {0x03, 0x120},
                                                                  {0x04, 0x121},
                                                                  {0x06, 0x122},
                                                                  {0x0F, 0x123},
                                                                  {0x11, 0x124},
                                                                  {0x80, 0x125},
                                                                  {0x81, 0x126},
                                                                  {0x05, 0x127}})});
    return multiplex(
        tables,
        {mpegVideo(0x110), mpegVideo(0x111), avcVideo(0x112), audio(0x120, 0xC0, kLayer2), audio(0x121, 0xC1, kLayer2),
         audio(0x122, 0xBD, kAc3), audio(0x123, 0xC2, kAdts), audio(0x124, 0xC3, kAdts), audio(0x125, 0xFD, kLpcm),
         audio(0x126, 0xBD, kAc3), audio(0x127, 0xBD, kAc3)},
        64);
}

/// Four programs whose maps share a PID; the third has nothing that could be played.
Data sharedMaps()
{
    const Data tables =
        join({patPacket({{1, 0x100}, {2, 0x100}, {3, 0x100}, {4, 0x100}}),
              pmtPacket(0x100, 1, {{0x1B, 0x110}, {0x0F, 0x111}}), pmtPacket(0x100, 2, {{0x02, 0x120}, {0x81, 0x121}}),
              pmtPacket(0x100, 3, {{0x02, 0x130}, {0x05, 0x131}}), pmtPacket(0x100, 4, {{0x03, 0x140}})});
    return multiplex(tables,
                     {avcVideo(0x110), audio(0x111, 0xC0, kAdts), mpegVideo(0x120), audio(0x121, 0xBD, kAc3),
                      audio(0x140, 0xC0, kLayer2)},
                     64);
}

/// A map that its packet's end cuts, read on where the next packet of the PID starts a unit.
Data mapOverBorder()
{
    std::vector<Stream> streams{{0x02, 0x110}};
    for (std::uint16_t pid = 0x200; pid < 0x230; ++pid)
        streams.push_back({0x05, pid});
    streams.push_back({0x03, 0x111});
    const Data section = pointed(pmtSection(1, streams));
    // The further packet's payload is taken to begin where the header ends.
    const Data tables = join({patPacket({{1, 0x100}}), packet({.pid = 0x100}, bytesFrom(section, 0, kPacket - 4)),
                              packet({.pid = 0x100}, bytesFrom(section, kPacket - 4))});
    return multiplex(tables, {mpegVideo(0x110), audio(0x111, 0xC0, kLayer2)}, 64);
}

}  // namespace

const std::vector<Sample>& samples()
{
    static const std::vector<Sample> all{
        {"mpeg2", readData("mpeg2.ts")}, {"two-programs", readData("two-programs.ts")}, {"every-type", everyType()},
        {"shared-maps", sharedMaps()},   {"map-over-border", mapOverBorder()},
    };
    return all;
}

std::vector<Sample> madeSamples()
{
    std::vector<Sample> made;
    std::error_code none;
    for (const auto& entry : std::filesystem::directory_iterator(ZARNOW_MADE_SAMPLES, none)) {
        const Data content = readFile(entry.path());
        if (content.size() % kPacket == 0 && content.size() > kPacket && content[0] == 0x47 && content[kPacket] == 0x47)
            made.push_back({entry.path().filename(), content});
    }
    return made;
}

const Sample& sample(const std::string& name)
{
    for (const Sample& one : samples()) {
        if (one.name == name)
            return one;
    }
    throw std::out_of_range(name);
}

}  // namespace zarnow::test
