// AVC parameter sets and coding structure.

#include <gtest/gtest.h>

#include <array>

#include "esparse/avc_sequence_header.h"
#include "esparse/gop_scan.h"
#include "tests/support/temporary_file.h"
#include "tests/support/transport_stream.h"
#include "tests/support/video_headers.h"

namespace zarnow::test {
namespace {

struct Parsed
{
    bool accepted = false;
    AvcStreamInfo info{};
    VideoProbeRecord record{};
};

Parsed parsePayload(const Data& payload, const AvcStreamInfo& before = {})
{
    Parsed result{.info = before};
    const ExactBuffer buffer(payload);
    result.accepted = parseAvcSequenceHeader(result.info, buffer.data(), buffer.length(), result.record);
    return result;
}

/// The set in a payload with room behind it: the last two bytes of a payload are not read.
Parsed parseSps(const Sps& fields, const AvcStreamInfo& before = {})
{
    return parsePayload(pes(0xE0, join({sps(fields), filled(60, 0x55)}), 90000), before);
}

TEST(AvcSequenceHeader, WhereItIsFound)
{
    const Data set = sps({});
    const Data shortSet(set.begin() + 1, set.end());  // start code of three bytes
    const Data tail = filled(60, 0x55);
    const auto e0 = [](std::initializer_list<Data> parts) { return pes(0xE0, join(parts), 90000); };
    const auto delimited = [&](std::size_t size) {
        return e0({accessUnitDelimiter(), shortSet, filled(size - set.size() + 4, 0x55)});
    };
    const struct
    {
        const char* fault;
        Data payload;
        bool accepted;
    } cases[] = {
        {"no start code of four bytes", e0({set, tail}), true},
        {"no start code of three bytes", e0({shortSet, tail}), true},
        {"the delimiter is not stepped over", e0({accessUnitDelimiter(), set, tail}), true},
        {"no short start code behind the delimiter", e0({accessUnitDelimiter(), shortSet, tail}), true},
        {"a delimiter with nal_ref_idc is stepped over", e0({nal(0x29, {0xF0}), set, tail}), false},
        {"a set with nal_ref_idc 0 is taken", e0({withByte(set, 4, 0x07), tail}), false},
        {"another NAL unit is stepped over", e0({pps(false), set, tail}), false},
        {"two delimiters are stepped over", e0({accessUnitDelimiter(), accessUnitDelimiter(), set, tail}), false},
        {"40 bytes behind the delimiter are too few", delimited(40), true},
        {"39 bytes behind the delimiter are enough", delimited(39), false},
        {"the 40 bytes are counted without emulation prevention",
         e0({accessUnitDelimiter(), shortSet, Data{0, 0, 3}, filled(40 - set.size() + 4 - 3, 0x55)}), true},
        {"a byte before the start code is stepped over", e0({{0x55}, set, tail}), false},
        {"the PES header's length is not followed", withByte(e0({filled(7, 0xFF), set, tail}), 8, 12), true},
        {"private streams are taken for video", withByte(e0({set, tail}), 3, 0xBD), false},
        {"stream_id 0xEF is refused", withByte(e0({set, tail}), 3, 0xEF), true},
        {"a PES header longer than the payload is followed", withByte(e0({set, tail}), 8, 255), false},
        {"the payload's last two bytes are read", e0({set}), false},
        {"more than the last two bytes are left out", e0({set, {0x55, 0x55}}), true},
    };
    for (const auto& test : cases) {
        SCOPED_TRACE(test.fault);
        EXPECT_EQ(parsePayload(test.payload).accepted, test.accepted);
    }
}

using Figures = std::vector<std::int64_t>;

Figures pictureOf(const Parsed& result)
{
    return {result.record.codedWidth, result.record.codedHeight, result.record.progressive,
            result.info.frame_mbs_only_flag, result.info.mb_adaptive_frame_field_flag};
}

Figures aspectOf(const Parsed& result)
{
    return {result.record.aspectX, result.record.aspectY, result.info.aspect_ratio_idc, result.info.sarWidthLow};
}

/// Rate, picture duration, what a stream says of its timing, and the video format before it.
Figures timingOf(const Parsed& result)
{
    return {result.info.frameRateTimes100, result.record.avgTimePerFrame, result.info.timing_info_present_flag,
            result.info.fixed_frame_rate_flag, result.record.videoFormat};
}

/// Bit rate, buffer size, lengths of delay and offset, and which parameters are there.
Figures hrdOf(const Parsed& result)
{
    const AvcStreamInfo& info = result.info;
    return {info.hrdBitRate,
            info.hrdCpbSize,
            info.initialCpbRemovalDelayLength,
            info.timeOffsetLength,
            info.nal_hrd_parameters_present_flag,
            info.vcl_hrd_parameters_present_flag};
}

TEST(AvcSequenceHeader, Fields)
{
    const auto chroma = [](std::uint32_t format, bool lists) {
        return [=](BitWriter& out) {
            out.ue(format);
            if (format == 3)
                out.flag(false);
            out.ue(0).ue(0).flag(false).flag(lists);
            for (int list = 0; lists && list < 8; ++list)
                out.flag(true).se(-8);
        };
    };
    const auto count0 = [](BitWriter& out) { out.ue(0).ue(4); };
    const auto count1 = [](BitWriter& out) { out.ue(1).flag(true).se(-3).se(4).ue(2).se(5).se(-6); };
    const auto ratio = [](unsigned width, unsigned height, int idc, unsigned sarWidth = 0, unsigned sarHeight = 0) {
        return Sps{.widthInMbs = width,
                   .heightInMapUnits = height,
                   .usability = Usability{.aspectRatio = idc, .sarWidth = sarWidth, .sarHeight = sarHeight}};
    };
    const auto timing = [](std::uint32_t unitsInTick, std::uint32_t timeScale, bool framesOnly) {
        const Usability usability{.videoFormat = 2, .timing = true, .unitsInTick = unitsInTick, .timeScale = timeScale};
        return Sps{.framesOnly = framesOnly, .usability = usability};
    };
    const auto first = hrd(1, 2, {{999, 499}, {7, 7}}, 23, 24), second = hrd(0, 0, {{1, 1}}, 3, 4);
    const auto large = hrd(15, 15, {{0x7FF, 0x1FFF}, {0, 0}}, 31, 31);
    const auto parameters = [](const Sps::Fields& nal, const Sps::Fields& vcl) {
        return Sps{.usability = Usability{.nalHrd = nal, .vclHrd = vcl}};
    };
    const auto absentRatio = [](BitWriter& out) {
        out.flag(false);             // aspect_ratio_info_present_flag
        out.bits(0b00000010, 8);     // read as aspect_ratio_idc 2, whatever was meant
        out.flag(true).flag(false);  // overscan information
        out.flag(true).bits(5, 3).flag(false).flag(false);
        out.flag(false).flag(false).flag(false).flag(false);
    };
    const Figures sd{720, 576, 1, 1, 0};
    const struct
    {
        const char* fault;
        Figures (*read)(const Parsed&);
        Sps sps;
        Figures expected;
        AvcStreamInfo before{};
    } cases[] = {
        {"fields are not doubled", pictureOf, {.framesOnly = false}, {720, 1152, 0, 0, 1}},
        {"cropping is applied", pictureOf, {.widthInMbs = 120, .cropping = true}, {1920, 576, 1, 1, 0}},
        {"order count type 0 has no field", pictureOf, {.pictureOrderCount = count0}, sd},
        {"order count type 1 is misread", pictureOf, {.pictureOrderCount = count1}, sd},
        {"High fields are not skipped", pictureOf, {.profile = 100, .highProfile = chroma(1, false)}, sd},
        {"4:4:4 has twelve lists", pictureOf, {.profile = 144, .highProfile = chroma(3, true)}, sd},
        {"4:2:0 has no eight lists", pictureOf, {.profile = 122, .highProfile = chroma(1, true)}, sd},
        {"profile 244 is known", pictureOf, {.profile = 244}, sd},

        {"1088 lines are not taken for 1080", aspectOf, ratio(90, 68, 255, 100, 103), {4, 3, 255, 100}},
        {"an extended ratio of 4:3 is missed", aspectOf, ratio(45, 36, 255, 16, 15), {4, 3, 255, 16}},
        {"an odd ratio becomes 4:3", aspectOf, ratio(45, 36, 255, 5, 1), {16, 9, 255, 5}},
        {"a width of 0 is divided by", aspectOf, ratio(45, 36, 255, 0, 3), {16, 9, 255, 0}},
        // The products wrap: -2^31 is divided by -1.
        {"32 bits hold the quotient", aspectOf, ratio(0x10000, 0x8000, 255, 0xFFFF, 0xFFFF), {16, 9, 255, 0xFF}},
        {"square pixels make 720x480 a 4:3 picture", aspectOf, ratio(45, 30, 1), {16, 9, 1, 0}},
        {"ratio 2 is no 4:3", aspectOf, ratio(45, 36, 2), {4, 3, 2, 0}},
        {"ratio 3 is no 4:3", aspectOf, ratio(45, 30, 3), {4, 3, 3, 0}},
        {"ratio 0 is no 16:9", aspectOf, ratio(45, 36, 0), {16, 9, 0, 0}},
        {"ratio 4 is 4:3", aspectOf, ratio(45, 36, 4), {16, 9, 4, 0}},
        {"an absent ratio does not shift what follows", aspectOf, {.usability = absentRatio}, {4, 3, 2, 0}},

        {"a field rate of 50 is not halved", timingOf, timing(1, 50, true), {2500, 400000, 1, 0, 2}},
        {"a field rate of 50 is halved twice", timingOf, timing(1, 50, false), {2500, 400000, 1, 0, 2}},
        // 10^7 / 59.94 = 166833.3; truncated, then doubled
        {"30000/1001 is rounded", timingOf, timing(1001, 60000, true), {2997, 333666, 1, 0, 2}},
        {"a frame rate of 25 is halved", timingOf, timing(1, 25, true), {2500, 400000, 1, 0, 2}},
        {"30 frames are taken for fields", timingOf, timing(1, 30, true), {3000, 333333, 1, 0, 2}},
        {"a rate of exactly 31 is halved", timingOf, timing(1, 31, true), {3100, 322580 * 2, 1, 0, 2}},
        {"0 units are divided by", timingOf, timing(0, 50, true), {4711, 333667, 1, 0, 2}, {.frameRateTimes100 = 4711}},
        {"a rate of 0 is divided by", timingOf, timing(7, 0, true), {0, 333667, 1, 0, 2}},
        {"rate x 100 is taken at 32 bits", timingOf, timing(1, 0xFFFFFFFF, true), {0xFFFFFF9C / 2, 0, 1, 0, 2}},
        {"without timing it is not fixed", timingOf, {.usability = absentRatio}, {0, 0, 0, 1, 5}},

        {"the last schedule counts", hrdOf, parameters(first, nullptr), {128000, 32000, 24, 25, 1, 0}},
        {"the VCL parameters alone are not read", hrdOf, parameters(nullptr, first), {128000, 32000, 24, 25, 0, 1}},
        {"both parameters are read", hrdOf, parameters(first, second), {128000, 32000, 24, 25, 1, 1}},
        {"the first rate goes",
         hrdOf,
         parameters(first, nullptr),
         {5, 6, 24, 25, 1, 0},
         {.hrdBitRate = 5, .hrdCpbSize = 6}},
        {"shifts are wider than 32 bits", hrdOf, parameters(large, nullptr), {1 << 21, 1 << 19, 32, 32, 1, 0}},
    };
    for (const auto& test : cases) {
        SCOPED_TRACE(test.fault);
        const Parsed result = parseSps(test.sps, test.before);
        EXPECT_TRUE(result.accepted);
        EXPECT_EQ(test.read(result), test.expected);
        EXPECT_EQ(result.info.profile_idc, test.sps.profile);
        EXPECT_EQ(result.info.level_idc, 40U);
        EXPECT_EQ(result.info.num_ref_frames, 3);
    }
}

TEST(AvcSequenceHeader, CutAnywhereIsRefused)
{
    const Usability usability{.aspectRatio = 255, .timing = true, .nalHrd = hrd(1, 2, {{999, 499}}, 23, 24)};
    // All of it is needed but the trailing bits, which begin a byte of their own here.
    const Data whole = pes(0xE0, sps({.usability = usability}), 90000);
    for (std::size_t size = 0; size < whole.size() - 2; ++size)
        EXPECT_FALSE(parsePayload(join({firstBytes(whole, size), {0x55, 0x55}})).accepted) << size;
    EXPECT_TRUE(parsePayload(join({whole, {0x55, 0x55}})).accepted);
    EXPECT_EQ(parsePayload(firstBytes(whole, 30)).info.profile_idc, 77U) << "what came before the cut stays";
}

// Coding structure -----------------------------------------------------------------------------------------------

constexpr std::uint32_t kP = 0, kB = 1, kI = 2;

Data group(std::initializer_list<std::uint32_t> types)
{
    Data units = join({sps({}), pps(true)});
    for (const std::uint32_t type : types)
        units = join({units, slice(0, type)});
    return units;
}

/// The payloads as they come, after one another.
Parsed scan(const std::vector<Data>& payloads, const AvcStreamInfo& before = {.frame_mbs_only_flag = 1})
{
    Parsed result{.info = before};
    CGopScanner scanner(result.info);
    for (const Data& payload : payloads) {
        const ExactBuffer buffer(payload);
        result.accepted = scanner.scanAvcPayload(buffer.data(), buffer.length());
    }
    scanner.storeCounts();
    return result;
}

TEST(GopScan, Counts)
{
    const Data open = group({kI, kP, kB, kB, kP, kB});
    const Data next = sps({});
    const Data sliced = join({sps({}), slice(0, kI), slice(10, kI), slice(20, kI), slice(0, kP), slice(10, kP)});
    const struct
    {
        const char* fault;
        Data units;
        int slices, bRun, pictures;
        bool framesOnly = true;
    } cases[] = {
        {"the run of B pictures goes on after the first", open, 1, 2, 6},
        {"slice types above 4 are not known", group({7, 5, 6, 6, 6, 5}), 1, 3, 6},
        {"frames of two fields are not halved", open, 1, 1, 3, false},
        {"slices of later pictures are counted, or are pictures", sliced, 3, 0, 2},
        {"a run still open does not count", group({kI, kB, kB}), 1, 2, 3},
        {"the counts are not kept at 8 bits", join({sps({}), repeat(slice(0, kB), 300)}), 1, 300 - 256, 300 - 256},
    };
    for (const auto& test : cases) {
        SCOPED_TRACE(test.fault);
        const std::uint8_t framesOnly = test.framesOnly ? 1 : 0;
        const Parsed result = scan({join({test.units, next, filled(20, 0x55)})}, {.frame_mbs_only_flag = framesOnly});
        EXPECT_TRUE(result.accepted);
        EXPECT_EQ(result.info.slicesPerPicture, test.slices);
        EXPECT_EQ(result.info.bFrameRun, test.bRun);
        EXPECT_EQ(result.info.gopPictureCount, test.pictures);
        EXPECT_FALSE(scan({test.units}, {}).accepted) << "one parameter set does not end the scan";
    }
}

TEST(GopScan, UnitsCutBetweenPayloadsAreCountedOnce)
{
    const Data units = join({group({kI, kP, kB, kB, kP}), sps({}), filled(20, 0x55)});
    for (std::size_t size = 4; size <= units.size(); ++size) {
        std::vector<Data> payloads;
        for (std::size_t at = 0; at < units.size(); at += size)
            payloads.push_back(bytesFrom(units, at, std::min(size, units.size() - at)));
        const Parsed result = scan(payloads);
        EXPECT_TRUE(result.accepted) << size;
        EXPECT_EQ(result.info.gopPictureCount, 5) << size;
        EXPECT_EQ(result.info.entropy_coding_mode_flag, 1) << size;
    }
}

TEST(GopScan, ParameterSetsAndEmulationPrevention)
{
    const Data end = join({sps({}), filled(20, 0x55)});
    EXPECT_EQ(scan({join({pps(true), pps(false), end})}).info.entropy_coding_mode_flag, 0) << "the last one counts";
    // 00 00 03 01 inside a unit is no start code, also when it ends the payload
    const Data escaped = join({nal(0x21, join({{0xB8}, Data{0, 0, 1, 0x67, 0, 0, 1}})), filled(12, 0x55)});
    const Parsed result = scan({join({sps({}), escaped, end})});
    EXPECT_EQ(result.info.gopPictureCount, 1);
}

TEST(GopScan, BufferingPeriod)
{
    const Data period = seiMessage(0, BitWriter().ue(0).bits(0xABCDEF, 24).trailing().bytes());
    const Data other = seiMessage(5, filled(300, 0x11));
    const struct
    {
        const char* fault;
        Data unit;
        std::uint32_t expected;
    } cases[] = {
        {"the delay is misread", sei(period), 0xABCDEF},
        {"a message before it ends the walk", sei(join({other, seiMessage(300, filled(1)), period})), 0xABCDEF},
        {"a later one replaces the first",
         join({sei(period), sei(seiMessage(0, BitWriter().ue(0).bits(1, 24).trailing().bytes()))}), 0xABCDEF},
        {"a message that runs over the unit's end is skipped into the next unit",
         join({nal(0x06, {5, 17}), filled(4, 0x11), sei(period)}), 0xABCDEF},
        {"a cut one is read on behind its unit", join({nal(0x06, {5, 5, 1, 1, 1, 1, 1, 0, 9, 0x80}), pps(true)}), 4711},
        {"an endless size is read on", nal(0x06, join({{5}, filled(40, 0xFF)})), 4711},
    };
    for (const auto& test : cases) {
        SCOPED_TRACE(test.fault);
        const Parsed result =
            scan({test.unit, sps({})}, {.initialCpbRemovalDelayLength = 24, .initialCpbRemovalDelay = 4711});
        EXPECT_EQ(result.info.initialCpbRemovalDelay, test.expected);
    }
}

/// One packet's payload at its end, behind an adaptation field of `adaptation` bytes.
Data scanFile(std::uint8_t adaptation, const Data& payload)
{
    const Data end = packet({.pid = 0x100}, sps({}));
    return join({packet({.pid = 0x100, .control = 3, .adaptation = adaptation}, payload), end, nullPackets(12)});
}

TEST(GopScan, WhichBytesOfAPacketCount)
{
    const Data set = sps({});
    // A set's start code and header, so many bytes before the packet's end; the rest comes in the next packet.
    const auto atEnd = [&](std::size_t spare) {
        return join({filled(178 - spare, 0x55), {0, 0, 1, 0x67}, filled(spare, 0x55)});
    };
    const struct
    {
        const char* fault;
        Data file;
        bool reached;
    } cases[] = {
        {"the first set alone is enough", scanFile(1, filled(10, 0x55)), false},
        {"the last 4 bytes are looked at", scanFile(1, atEnd(0)), false},
        {"the last byte but 3 is looked at", scanFile(1, atEnd(3)), false},
        {"more than the last 4 bytes are left out", scanFile(1, atEnd(4)), true},
        {"the adaptation field's last byte is left out",
         scanFile(1, join({Data(set.begin() + 2, set.end()), filled(20, 0x55)})), true},
        {"with 192 bytes the last 4 are left out", timed(scanFile(1, atEnd(0))), true},
        {"an adaptation field over the packet's end is followed", scanFile(255, {}), false},
    };
    for (const auto& test : cases) {
        SCOPED_TRACE(test.fault);
        const TemporaryFile source(test.file);
        CGopScan scanner;
        ASSERT_EQ(scanner.file.open(source.path().c_str()), 0U);
        ASSERT_TRUE(scanner.detectFilePacketSize());
        EXPECT_EQ(scanner.scanAvcGop(0x100), test.reached);
        scanner.abortScan = true;
        EXPECT_FALSE(scanner.scanAvcGop(0x100));
    }
}

}  // namespace
}  // namespace zarnow::test
