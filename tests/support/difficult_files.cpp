#include "tests/support/difficult_files.h"

#include "tests/support/dice.h"
#include "tests/support/transport_stream.h"
#include "tests/support/video_headers.h"

namespace zarnow::test {

namespace {

constexpr std::uint16_t kPmtPid = 0x147;
constexpr std::uint8_t kAvc = 0x1B;
constexpr std::uint8_t kMpeg2Video = 0x02;

/// A packet of random bytes, as a scrambled stream has them, but none that any header begins with.
Data scrambledPacket(Dice& dice, std::uint16_t pid, bool unitStart)
{
    Data payload(kPacket - 4);
    std::generate(payload.begin(), payload.end(), [&] { return static_cast<std::uint8_t>(0x10 + dice.below(0x60)); });
    Data scrambled = packet({.pid = pid, .unitStart = unitStart}, payload);
    scrambled[3] |= 0x80;  // transport_scrambling_control
    return scrambled;
}

/// A multiplex as broadcast: video has most of the packets and starts a PES packet in every hundredth.
DifficultFile scrambledPrograms()
{
    std::vector<Program> programs;
    Data maps;
    for (std::uint16_t number = 1; number <= 20; ++number) {
        const auto pmtPid = static_cast<std::uint16_t>(kPmtPid + 0x10 * number);
        const auto pid = [&](int stream) { return static_cast<std::uint16_t>(pmtPid + stream); };
        programs.push_back({number, pmtPid});
        maps = join({maps, pmtPacket(pmtPid, number, {{kAvc, pid(1)}, {3, pid(2)}, {4, pid(3)}})});
    }
    Dice dice(1);
    Data body;
    for (int round = 0; round < 200; ++round) {
        for (const Program& program : programs) {
            const int stream = round % 10 == 8 ? 2 : round % 10 == 9 ? 3 : 1;
            append(body, scrambledPacket(dice, static_cast<std::uint16_t>(program.pmtPid + stream),
                                         stream != 1 || (round + program.number) % 100 == 0));
        }
    }
    return {"20 scrambled programs", join({patPacket(programs), maps}), body};
}

/// As many programs as a table can hold, each with as many streams, and packets of as many PIDs as asked for.
DifficultFile fullTables(const char* name, unsigned pids)
{
    std::vector<Program> programs;
    Data maps;
    for (std::uint16_t number = 1; number <= 61; ++number) {
        const auto type = static_cast<std::uint8_t>(number % 4 == 0   ? kMpeg2Video
                                                    : number % 4 == 1 ? kAvc
                                                                      : 0x80 + number);
        programs.push_back({number, kPmtPid});
        maps = join({maps, endlessMap(kPmtPid, number, type, static_cast<std::uint16_t>(0x200 + number * 100))});
    }
    // The table is read on beyond its packet; there the low byte of the PMT PID serves as the next packet's sync byte.
    Data pat = join({firstBytes(packet({}), 4), pointed(patSection(programs))});
    pat.resize(2 * kPacket, 0xFF);
    Dice dice(1);
    Data body;
    for (unsigned i = 0; i < std::max(pids, 512U); ++i) {
        append(body, scrambledPacket(dice, static_cast<std::uint16_t>(0x300 + i % pids), true));
    }
    return {name, join({pat, maps}), body};
}

/// @param header  of the stream, behind the tables
DifficultFile oneVideo(const char* name, std::uint8_t type, std::uint16_t pid, const Data& body,
                       const Data& header = {})
{
    return {name, join({patPacket({{1, kPmtPid}}), pmtPacket(kPmtPid, 1, {{type, pid}}), header}), body};
}

/// AVC whose structure is scanned to the end of the file: the second sequence parameter set never comes.
DifficultFile oneParameterSet(std::uint16_t pid)
{
    Dice dice(1);
    Data body = packet({.pid = pid}, pes(0xE0, join({accessUnitDelimiter(), slice(0, 0)}), 90000));
    for (int i = 0; i < 99; ++i)
        append(body, scrambledPacket(dice, pid, false));
    return oneVideo("AVC with one sequence parameter set", kAvc, pid, body,
                    packet({.pid = pid}, pes(0xE0, join({sps({}), pps(true)}), 90000)));
}

}  // namespace

Data DifficultFile::content(std::size_t size) const
{
    return firstBytes(join({head, repeat(body, size / body.size() + 1)}), size);
}

Data endlessMap(std::uint16_t pmtPid, std::uint16_t number, std::uint8_t streamType, std::uint16_t pid)
{
    Data section = firstBytes(pmtSection(number, {}), 12);
    section[1] = 0xBF;
    section[2] = 0xFF;
    const auto entries = [&](std::size_t count, std::uint8_t lastInfo) {
        BitWriter out;
        for (std::size_t i = 0; i < count; ++i)
            out.bits(streamType, 8).bits(pid++, 16).bits(i + 1 == count ? lastInfo : 0, 16);
        return out.bytes();
    };
    Data packets = packet({.pid = pmtPid}, pointed(join({section, entries(34, 1 + 4)})));
    for (int i = 0; i < 21; ++i)
        packets = join({packets, packet({.pid = 0x0FFF, .unitStart = false}, entries(36, 4 + 4))});
    return packets;
}

std::vector<DifficultFile> difficultFiles()
{
    constexpr std::uint16_t kVideoPid = 0x0200;
    constexpr std::uint16_t kSyncPid = 0x0747;  // what a run of sync bytes names
    const Data filler = repeat(packet({.pid = kVideoPid, .unitStart = false}, filled(184, 0x11)), 100);
    const auto startsWith = [](std::uint8_t byte) {
        return repeat(packet({.pid = kVideoPid}, pes(0xE0, filled(170, byte))), 100);
    };
    const Data starts = startsWith(0x11);
    std::vector<Program> lost;
    for (std::uint16_t number = 1; number <= 40; ++number)
        lost.push_back({number, static_cast<std::uint16_t>(kPmtPid + number)});
    return {
        scrambledPrograms(),
        fullTables("61 programs, full maps, 60 PIDs", 60),
        fullTables("61 programs, full maps, 7000 PIDs", 7000),
        {"no program association table", {}, filler},
        {"no program map", patPacket({{1, kPmtPid}}), filler},
        {"40 programs, none with a map", patPacket(lost), filler},
        oneVideo("MPEG video without a header", kMpeg2Video, kVideoPid, filler),
        oneVideo("a PES start in every packet, MPEG video", kMpeg2Video, kVideoPid, starts),
        oneVideo("a PES start in every packet, the rest like header codes", kMpeg2Video, kVideoPid, startsWith(0xB3)),
        oneVideo("a PES start in every packet, none with a time stamp", kMpeg2Video, kVideoPid, starts,
                 packet({.pid = kVideoPid}, pes(0xE0, sequenceHeader()))),  // only the duration is looked for
        oneVideo("a PES start in every packet, AVC", kAvc, kVideoPid, starts),
        oneParameterSet(kVideoPid),
        oneVideo("nothing but sync bytes", kAvc, kVideoPid, filled(18800, 0x47)),
        oneVideo("nothing but sync bytes, which name MPEG video", kMpeg2Video, kSyncPid, filled(18800, 0x47)),
        oneVideo("nothing but sync bytes, which name AVC video", kAvc, kSyncPid, filled(18800, 0x47)),
    };
}

}  // namespace zarnow::test
