// What is found in headers of MPEG video, AVC and audio, and in the coding structure of AVC, as tsprobe tells it.

#include <gtest/gtest.h>

#include <nlohmann/json.hpp>

#include "tests/support/temporary_file.h"
#include "tests/support/transport_stream.h"
#include "tests/support/video_headers.h"
#include "tools/tsprobe/json_report.h"

namespace zarnow::test {
namespace {

using Json = nlohmann::json;

constexpr std::uint16_t kPid = 0x101;
const std::string kRefused = "refused", kAccepted;

/// What is told about a program's one stream: of the names in the expected text, each with its value.
std::string factsOf(int type, const Data& packets, const std::string& expected, bool withPrefixes = false)
{
    const Data map = pmtPacket(0x100, 1, {{static_cast<std::uint8_t>(type), kPid}});
    const Data content = join({patPacket({{1, 0x100}}), map, packets, nullPackets(12)});
    const TemporaryFile file(withPrefixes ? timed(content) : content);
    Json report = Json::parse(tsprobe::jsonReport(tsprobe::Inspection(file.path(), {})));
    Json facts = report["video"].empty() ? report["audio"][0] : report["video"][0];
    if (facts.is_null())
        return kRefused;
    if (!report["avc"].is_null())
        facts.update(report["avc"]);
    if (facts.contains("sequenceHeader"))
        facts["bytesKept"] = facts["sequenceHeader"].get<std::string>().size() / 2;
    std::istringstream words(expected);
    std::string found;
    for (std::string name, value; expected != kRefused && words >> name >> value;)
        found += (found.empty() ? "" : " ") + name + " " + facts[name].dump();
    return found;
}

struct HeaderCase
{
    const char* fault;
    Data packets;
    std::string expected;
};
using HeaderCases = std::vector<HeaderCase>;

void expectFacts(int type, const HeaderCases& cases)
{
    for (const HeaderCase& test : cases)
        EXPECT_EQ(factsOf(type, test.packets, test.expected), test.expected) << test.fault;
}

/// One packet, with not a byte behind the payload.
Data alone(const Data& payload)
{
    return pesPackets(kPid, payload);
}

TEST(Headers, OfMpegVideo)
{
    const auto header = [](const SequenceHeader& fields) { return alone(sequenceHeader(fields)); };
    const Data plain = sequenceHeader(), extension = sequenceExtension(4, 8, true);
    const Data intra = sequenceHeader({.intraMatrix = true});
    const Data both = sequenceHeader({.intraMatrix = true, .nonIntraMatrix = true});
    const HeaderCases cases = {
        {"it has to come first", alone(join({pes(0xE0, {}), plain})), "codedWidth 720 codedHeight 576 bitRate 4000000"},
        {"a variable bit rate is multiplied", header({.bitRate = 0x3FFFF}), "bitRate 0"},
        {"23.976 is taken for 24000/1001", header({.rate = 1}), "frameRate 23.976 avgTimePerFrame 417083"},
        {"code 8 is cleared to 0", header({.rate = 8}), "frameRate 60.0 avgTimePerFrame 166666"},
        {"code 15 is not read as 7", header({.rate = 15}), "frameTicks90k 1501 avgTimePerFrame 166833"},
        {"frame rate 0 is accepted", header({.rate = 0}), kRefused},
        {"2.21:1 is no 4:3", header({.aspect = 4}), "aspectX 4 aspectY 3 pelsPerMeterY 59960"},
        // 2000 * 442912 / 10000 = 88582.4
        {"the pel aspect is not rounded", header({.aspect = 12}), "pelsPerMeterY 88582 pelsPerMeterX 2000"},
        {"reserved aspect 15 is refused", header({.aspect = 15}), "pelsPerMeterY 0"},
        {"a small buffer is not raised", header({.vbvSize = 5}), "vbvBufferBytes 40960"},
        {"a buffer of 20480 bytes is raised", header({.vbvSize = 10}), "vbvBufferBytes 20480"},
        {"a constrained buffer is not cut", header({.vbvSize = 46, .constrained = true}), "vbvBufferBytes 40960"},
        {"a buffer that is not constrained is cut", header({.vbvSize = 46}), "vbvBufferBytes 94208"},
        {"a missing marker bit is accepted", header({.marker = false}), kRefused},
        {"the intra matrix is not kept", alone(intra), "bytesKept 76"},
        {"the non-intra matrix is not kept", header({.nonIntraMatrix = true}), "bytesKept 76"},
        {"the extension is not kept", alone(join({both, extension})), "bytesKept 150 profile 4 level 8 progressive 1"},
        {"user data is taken for the extension", alone(join({plain, {0, 0, 1, 0xB2}, filled(6, 0x1F)})),
         "bytesKept 12"},
        {"a display extension is taken for it", alone(join({plain, withByte(extension, 4, 0x2C)})), "bytesKept 12"},
        {"one cut in its last byte is accepted", alone(join({intra, firstBytes(extension, 9)})), kRefused},
        {"a header cut by a byte is accepted", alone(firstBytes(plain, 11)), kRefused},
        {"a second header is looked for", alone(join({sequenceHeader({.aspect = 0}), plain})), kRefused},
    };
    expectFacts(2, cases);
}

TEST(Headers, OfAudio)
{
    const Data ac3{0x0B, 0x77, 1, 2, 0x1C, 5, 0xE0}, mpeg{0xFF, 0xFD, 0x84, 0, 0}, adts{0xFF, 0xF1, 0x4C, 0x80, 0x40};
    const auto bd = [](const Data& data) { return alone(pes(0xBD, data)); };
    const auto c0 = [](const Data& data) { return alone(pes(0xC0, data)); };
    const auto lpcm = [](std::uint8_t rate, std::uint8_t bits) { return alone(pes(0xFD, {0, 0, rate, bits})); };
    const char* const surround = "sampleRate 48000 channels 5 avgBytesPerSec 48000 bitsPerSample 16 layer 0";
    const char* const stereo = "sampleRate 48000 channels 2 avgBytesPerSec 16000 bitsPerSample 16 layer 2";
    const HeaderCases ac3Cases = {
        {"384 kbit/s or 5 channels are not seen", bd(ac3), surround},
        {"a reserved frmsizecod is refused", bd(withByte(ac3, 4, 40)), "avgBytesPerSec 0"},
        {"fscod 3 is refused", bd(withByte(ac3, 4, 0xC0)), "sampleRate 0 avgBytesPerSec 4000"},
        // The bytes of the fields are not swapped.
        {"a swapped sync word is none", bd({0x77, 0x0B, 1, 2, 0x41, 5, 0x20}), "sampleRate 44100 channels 1"},
        {"the sync word has to come first", bd(join({filled(4), ac3})), surround},
        {"6 bytes from the sync word are enough", bd(firstBytes(ac3, 6)), kRefused},
        {"without PES header 10 are not", alone(join({filled(2), ac3, filled(4)})), surround},
    };
    expectFacts(6, ac3Cases);
    expectFacts(0x81, {{"the stream_id of VC-1 and DTS streams is refused", alone(pes(0xFD, ac3)), surround}});
    const HeaderCases mpegCases = {
        {"mono is read from the mode bits", c0(withByte(mpeg, 3, 0xC0)), stereo},
        {"mono is not read from the byte behind them", c0(withByte(mpeg, 4, 0xC0)), "channels 1"},
        {"layer III has a bit rate", c0({0xFF, 0xFB, 0x80, 0x04, 0}), "layer 3 avgBytesPerSec 0 sampleRate 44100"},
        {"the half rates are not doubled", c0(withByte(mpeg, 1, 0xF5)), stereo},
        {"stream_id 0xDF is refused", alone(pes(0xDF, mpeg)), stereo},
        {"stream_id 0xE0 is accepted", alone(pes(0xE0, mpeg)), kRefused},
        {"4 bytes from the sync word are enough", c0(firstBytes(mpeg, 4)), kRefused},
    };
    expectFacts(3, mpegCases);
    expectFacts(0x0F, {{"ADTS sets a rate", c0(adts), "sampleRate 0 avgBytesPerSec 0 channels 2 bitsPerSample 16"}});
    expectFacts(0x11, {{"LATM is parsed", c0(adts), kRefused}});
    const HeaderCases lpcmCases = {
        {"16 bits and 2 channels of LPCM", lpcm(0x31, 0x40),
         "isLpcm 1 sampleRate 48000 channels 2 avgBytesPerSec 192000"},
        {"20 bits take 2 bytes", lpcm(0xB5, 0x80), "sampleRate 192000 channels 8 avgBytesPerSec 4608000"},
        {"sample rate code 2 is accepted", lpcm(0x32, 0x40), kRefused},
    };
    expectFacts(0xFF, lpcmCases);
}

constexpr int kAvc = 0x1B;

/// With room behind the units, as the payload's last two bytes are not read.
Data inPes(std::initializer_list<Data> units)
{
    return pes(0xE0, join({join(units), filled(60, 0x55)}), 90000);
}

TEST(Headers, WhereAnAvcParameterSetIsFound)
{
    const Data set = sps({}), shortSet = bytesFrom(set, 1);  // with a start code of three bytes
    const auto delimited = [&](std::size_t size) {
        return alone(
            pes(0xE0, join({accessUnitDelimiter(), shortSet, filled(size - shortSet.size() + 3, 0x55)}), 90000));
    };
    const HeaderCases cases = {
        {"no start code of four bytes", alone(inPes({set})), kAccepted},
        {"the delimiter is not stepped over", alone(inPes({accessUnitDelimiter(), set})), kAccepted},
        {"a delimiter with nal_ref_idc is stepped over", alone(inPes({nal(0x29, {0xF0}), set})), kRefused},
        {"a set with nal_ref_idc 0 is taken", alone(inPes({withByte(set, 4, 0x07)})), kRefused},
        {"40 bytes behind the delimiter are too few", delimited(40), kAccepted},
        {"39 bytes behind the delimiter are enough", delimited(39), kRefused},
        {"the PES header's length is not followed", alone(withByte(inPes({filled(7, 0xFF), set}), 8, 12)), kAccepted},
        {"stream_id 0xEF is refused", alone(withByte(inPes({set}), 3, 0xEF)), kAccepted},
        {"the payload's last two bytes are read", alone(pes(0xE0, set, 90000)), kRefused},
        {"more than the last two bytes are left out", alone(pes(0xE0, join({set, {0x55, 0x55}}))), kAccepted},
    };
    expectFacts(kAvc, cases);
}

TEST(Headers, OfAvc)
{
    // Twice, as the structure is scanned up to the second parameter set.
    const auto avc = [](const Sps& fields) { return repeat(alone(inPes({sps(fields)})), 2); };
    const auto with = [&](const Usability& usability) { return avc({.usability = usability}); };
    const auto scalingLists = [](BitWriter& out) {
        out.ue(3).flag(false).ue(0).ue(0).flag(false).flag(true);  // 4:4:4, with lists
        for (int list = 0; list < 8; ++list)
            out.flag(true).se(-8);
    };
    const auto orderCount1 = [](BitWriter& out) { out.ue(1).flag(true).se(-3).se(4).ue(2).se(5).se(-6); };
    const auto ratio = [&](unsigned width, unsigned height, int idc, unsigned sarWidth = 0, unsigned sarHeight = 0) {
        const Usability usability{.aspectRatio = idc, .sarWidth = sarWidth, .sarHeight = sarHeight};
        return avc({.widthInMbs = width, .heightInMapUnits = height, .usability = usability});
    };
    const auto timing = [](std::uint32_t unitsInTick, std::uint32_t timeScale) {
        return Usability{.videoFormat = 2, .timing = true, .unitsInTick = unitsInTick, .timeScale = timeScale};
    };
    const auto absentRatio = [](BitWriter& out) {
        out.flag(false);             // aspect_ratio_info_present_flag
        out.bits(0b00000010, 8);     // read as aspect_ratio_idc 2, whatever was meant
        out.flag(true).flag(false);  // overscan information
        out.flag(true).bits(5, 3).flag(false).flag(false);
        out.flag(false).flag(false).flag(false).flag(false);
    };
    const auto first = hrd(1, 2, {{999, 499}, {7, 7}}, 23, 24), second = hrd(0, 0, {{1, 1}}, 3, 4);
    const std::string ofFirst =
        " hrdBitRate 128000 hrdCpbSize 32000 initialCpbRemovalDelayLength 24 timeOffsetLength 25";
    const HeaderCases cases = {
        {"cropping is applied", avc({.widthInMbs = 120, .cropping = true}), "codedWidth 1920 codedHeight 576"},
        {"order count type 1 is misread", avc({.pictureOrderCount = orderCount1}), "codedWidth 720"},
        {"4:4:4 has twelve lists", avc({.profile = 144, .highProfile = scalingLists}), "codedWidth 720"},
        {"profile 244 is known", avc({.profile = 244}), "codedWidth 720"},
        {"31 leading zeros are too many", avc({.references = 0xFFFFFFFE}), "num_ref_frames 254 codedWidth 720"},
        {"the power of two does not wrap at 32", avc({.references = 0xFFFFFFFF}), "num_ref_frames 0 codedWidth 720"},

        {"1088 lines are not taken for 1080", ratio(90, 68, 255, 100, 103), "aspectX 4 aspectY 3 sarWidthLow 100"},
        {"an extended ratio of 4:3 is missed", ratio(45, 36, 255, 16, 15), "aspectX 4 aspect_ratio_idc 255"},
        {"an odd ratio becomes 4:3", ratio(45, 36, 255, 5, 1), "aspectX 16 aspectY 9 sarWidthLow 5"},
        {"a width of 0 is divided by", ratio(45, 36, 255, 0, 3), "aspectX 16 sarHeightLow 3"},
        // The products wrap: -2^31 is divided by -1.
        {"32 bits hold the quotient", ratio(0x10000, 0x8000, 255, 0xFFFF, 0xFFFF), "aspectX 16"},
        {"square pixels make 720x480 a 4:3 picture", ratio(45, 30, 1), "aspectX 16 aspect_ratio_idc 1"},
        {"ratio 2 is no 4:3", ratio(45, 36, 2), "aspectX 4"},
        {"ratio 3 is no 4:3", ratio(45, 30, 3), "aspectX 4"},
        {"ratio 4 is 4:3", ratio(45, 36, 4), "aspectX 16"},
        {"an absent ratio is not read", avc({.usability = absentRatio}), "aspectX 4 aspect_ratio_idc 2 videoFormat 5"},
        {"an absent timing is read", avc({.usability = absentRatio}),
         "timing_info_present_flag 0 fixed_frame_rate_flag 1"},

        {"a field rate of 50 is not halved", with(timing(1, 50)), "frameRateTimes100 2500 avgTimePerFrame 400000"},
        {"a signal type shifts the timing", with(timing(1, 50)), "videoFormat 2 fixed_frame_rate_flag 0"},
        {"a field rate of 50 is halved twice", avc({.framesOnly = false, .usability = timing(1, 50)}),
         "frameRateTimes100 2500 avgTimePerFrame 400000"},
        // 10^7 / 59.94 = 166833.3; truncated, then doubled
        {"30000/1001 is rounded", with(timing(1001, 60000)), "frameRateTimes100 2997 avgTimePerFrame 333666"},
        {"30 frames are taken for fields", with(timing(1, 30)), "frameRateTimes100 3000 avgTimePerFrame 333333"},
        {"a rate of exactly 31 is halved", with(timing(1, 31)), "frameRateTimes100 3100 avgTimePerFrame 645160"},
        {"0 units are divided by", with(timing(0, 50)), "frameRateTimes100 0 avgTimePerFrame 333667"},
        {"a rate of 0 is divided by", with(timing(7, 0)), "frameRateTimes100 0 avgTimePerFrame 333667"},
        {"rate x 100 is taken at 32 bits", with(timing(1, 0xFFFFFFFF)),
         "frameRateTimes100 2147483598 avgTimePerFrame 0"},

        {"the last schedule counts", with({.nalHrd = first}), "nal_hrd_parameters_present_flag 1" + ofFirst},
        {"the VCL parameters alone are not read", with({.vclHrd = first}),
         "vcl_hrd_parameters_present_flag 1" + ofFirst},
        {"both parameters are read", with({.nalHrd = first, .vclHrd = second}),
         "vcl_hrd_parameters_present_flag 1" + ofFirst},
    };
    expectFacts(kAvc, cases);
}

constexpr std::uint32_t kP = 0, kB = 1, kI = 2;

Data unitPacket(const Data& unit)
{
    return packet({.pid = kPid, .unitStart = false}, unit);
}

TEST(Headers, OfTheCodingStructureOfAvc)
{
    const Data set = alone(inPes({sps({})})), fields = alone(inPes({sps({.framesOnly = false})}));
    const auto slices = [&](std::initializer_list<std::uint32_t> types) {
        Data packets;
        for (const std::uint32_t type : types)
            append(packets, unitPacket(slice(0, type)));
        return join({packets, set});
    };
    const Data open = slices({kI, kP, kB, kB, kP, kB});
    const Data sliced = unitPacket(join({slice(0, kI), slice(10, kI), slice(0, kP), slice(10, kP)}));
    const auto adapted = [&](std::uint8_t size, const Data& payload) {
        return join({packet({.pid = kPid, .control = 3, .adaptation = size}, payload), set});
    };
    // A set's start code and header, so many bytes before the packet's end; the rest comes in the next packet.
    const auto atEnd = [&](std::size_t spare) {
        return adapted(1, join({filled(178 - spare, 0x55), {0, 0, 1, 0x67}, filled(spare, 0x55)}));
    };
    const char* const reached = "gopPictureCount 0";
    const char* const notReached = "gopPictureCount null";
    const HeaderCases cases = {
        {"a later run of B pictures counts", join({set, open}), "slicesPerPicture 1 bFrameRun 2 gopPictureCount 6"},
        {"frames of two fields are not halved", join({fields, open}), "bFrameRun 1 gopPictureCount 3"},
        {"slice types above 4 are unknown", join({set, slices({7, 5, 6, 6, 6, 5})}), "bFrameRun 3 gopPictureCount 6"},
        {"later slices count, or are pictures", join({set, sliced, set}), "slicesPerPicture 2 gopPictureCount 2"},
        {"counts are wider than a byte", join({set, repeat(unitPacket(slice(0, kB)), 300), set}), "bFrameRun 44"},
        {"entropy coding is misread", join({set, unitPacket(pps(true)), set}), "entropy_coding_mode_flag 1"},
        {"one set is enough", set, notReached},
        {"a header among a packet's last 4 bytes is read", atEnd(3), notReached},
        {"a header ahead of them is not", atEnd(4), reached},
        {"the adaptation field's last byte is left out", adapted(1, bytesFrom(sps({}), 2)), reached},
        {"an adaptation field over the packet's end is read", adapted(255, {}), notReached},
    };
    expectFacts(kAvc, cases);
    EXPECT_EQ(factsOf(kAvc, atEnd(0), reached, true), reached) << "of 192 bytes the last 4 are the next packet's";
}

}  // namespace
}  // namespace zarnow::test
