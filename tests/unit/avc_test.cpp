// AVC parameter sets and coding structure.

#include <gtest/gtest.h>

#include <sstream>

#include "esparse/avc_sequence_header.h"
#include "esparse/gop_scan.h"
#include "tests/support/temporary_file.h"
#include "tests/support/transport_stream.h"
#include "tests/support/video_headers.h"

namespace zarnow::test {
namespace {

constexpr const char* kRefused = "refused";

/// What a parameter set says; every figure behind its name.
std::string factsOfSet(const Data& payload)
{
    const ExactBuffer buffer(payload);
    AvcStreamInfo info;
    VideoProbeRecord record;
    if (!parseAvcSequenceHeader(info, buffer.data(), buffer.length(), record))
        return kRefused;
    std::ostringstream text;
    text << record.codedWidth << "x" << record.codedHeight << (record.progressive != 0 ? " frames " : " fields ")
         << int{info.frame_mbs_only_flag} << int{info.mb_adaptive_frame_field_flag} << " aspect " << record.aspectX
         << ":" << record.aspectY << " idc " << int{info.aspect_ratio_idc} << " sar " << int{info.sarWidthLow}
         << " format " << int{record.videoFormat} << " rate " << info.frameRateTimes100 << " duration "
         << record.avgTimePerFrame << " timing " << int{info.timing_info_present_flag} << " fixed "
         << int{info.fixed_frame_rate_flag} << " hrd " << int{info.nal_hrd_parameters_present_flag}
         << int{info.vcl_hrd_parameters_present_flag} << " bits " << info.hrdBitRate << " buffer " << info.hrdCpbSize
         << " delay " << info.initialCpbRemovalDelayLength << " offset " << info.timeOffsetLength << " profile "
         << info.profile_idc << " level " << info.level_idc << " references " << int{info.num_ref_frames};
    return text.str();
}

/// In a PES packet with room behind it: the last two bytes of a payload are not read.
Data inPes(std::initializer_list<Data> units)
{
    return pes(0xE0, join({join(units), filled(60, 0x55)}), 90000);
}

TEST(AvcSequenceHeader, WhereItIsFound)
{
    const Data set = sps({});
    const Data shortSet(set.begin() + 1, set.end());  // start code of three bytes
    const auto delimited = [&](std::size_t size) {
        return pes(0xE0, join({accessUnitDelimiter(), shortSet, filled(size - shortSet.size() + 3, 0x55)}), 90000);
    };
    const struct
    {
        const char* fault;
        Data payload;
        bool accepted;
    } cases[] = {
        {"no start code of four bytes", inPes({set}), true},
        {"the delimiter is not stepped over", inPes({accessUnitDelimiter(), set}), true},
        {"a delimiter with nal_ref_idc is stepped over", inPes({nal(0x29, {0xF0}), set}), false},
        {"a set with nal_ref_idc 0 is taken", inPes({withByte(set, 4, 0x07)}), false},
        {"40 bytes behind the delimiter are too few", delimited(40), true},
        {"39 bytes behind the delimiter are enough", delimited(39), false},
        {"the PES header's length is not followed", withByte(inPes({filled(7, 0xFF), set}), 8, 12), true},
        {"stream_id 0xEF is refused", withByte(inPes({set}), 3, 0xEF), true},
        {"the payload's last two bytes are read", pes(0xE0, set, 90000), false},
        {"more than the last two bytes are left out", pes(0xE0, join({set, {0x55, 0x55}}), 90000), true},
    };
    for (const auto& test : cases)
        EXPECT_EQ(factsOfSet(test.payload) != kRefused, test.accepted) << test.fault;
}

TEST(AvcSequenceHeader, Fields)
{
    const auto scalingLists = [](BitWriter& out) {
        out.ue(3).flag(false).ue(0).ue(0).flag(false).flag(true);  // 4:4:4, with lists
        for (int list = 0; list < 8; ++list)
            out.flag(true).se(-8);
    };
    const auto orderCount1 = [](BitWriter& out) { out.ue(1).flag(true).se(-3).se(4).ue(2).se(5).se(-6); };
    const auto ratio = [](unsigned width, unsigned height, int idc, unsigned sarWidth = 0, unsigned sarHeight = 0) {
        return Sps{.widthInMbs = width,
                   .heightInMapUnits = height,
                   .usability = Usability{.aspectRatio = idc, .sarWidth = sarWidth, .sarHeight = sarHeight}};
    };
    const auto timing = [](std::uint32_t unitsInTick, std::uint32_t timeScale, bool framesOnly = true) {
        const Usability usability{.videoFormat = 2, .timing = true, .unitsInTick = unitsInTick, .timeScale = timeScale};
        return Sps{.framesOnly = framesOnly, .usability = usability};
    };
    const auto first = hrd(1, 2, {{999, 499}, {7, 7}}, 23, 24), second = hrd(0, 0, {{1, 1}}, 3, 4);
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
    const struct
    {
        const char* fault;
        Sps sps;
        const char* expected;
    } cases[] = {
        {"profile, level or references are misread", {}, "profile 77 level 40 references 3"},
        {"fields are not doubled", {.framesOnly = false}, "720x1152 fields 01"},
        {"cropping is applied", {.widthInMbs = 120, .cropping = true}, "1920x576 frames 10"},
        {"order count type 1 is misread", {.pictureOrderCount = orderCount1}, "720x576"},
        {"4:4:4 has twelve lists", {.profile = 144, .highProfile = scalingLists}, "720x576"},
        {"profile 244 is known", {.profile = 244}, "720x576"},

        {"1088 lines are not taken for 1080", ratio(90, 68, 255, 100, 103), "4:3 idc 255 sar 100"},
        {"an extended ratio of 4:3 is missed", ratio(45, 36, 255, 16, 15), "4:3 idc 255 sar 16"},
        {"an odd ratio becomes 4:3", ratio(45, 36, 255, 5, 1), "16:9 idc 255 sar 5"},
        {"a width of 0 is divided by", ratio(45, 36, 255, 0, 3), "16:9 idc 255 sar 0"},
        // The products wrap: -2^31 is divided by -1.
        {"32 bits hold the quotient", ratio(0x10000, 0x8000, 255, 0xFFFF, 0xFFFF), "16:9"},
        {"square pixels make 720x480 a 4:3 picture", ratio(45, 30, 1), "16:9 idc 1"},
        {"ratio 2 is no 4:3", ratio(45, 36, 2), "4:3 idc 2"},
        {"ratio 3 is no 4:3", ratio(45, 30, 3), "4:3 idc 3"},
        {"ratio 4 is 4:3", ratio(45, 36, 4), "16:9 idc 4"},
        {"an absent ratio does not shift what follows",
         {.usability = absentRatio},
         "4:3 idc 2 sar 0 format 5 rate 0 duration 0 timing 0 fixed 1"},

        {"a field rate of 50 is not halved", timing(1, 50), "format 2 rate 2500 duration 400000 timing 1 fixed 0"},
        {"a field rate of 50 is halved twice", timing(1, 50, false), "rate 2500 duration 400000"},
        // 10^7 / 59.94 = 166833.3; truncated, then doubled
        {"30000/1001 is rounded", timing(1001, 60000), "rate 2997 duration 333666"},
        {"30 frames are taken for fields", timing(1, 30), "rate 3000 duration 333333"},
        {"a rate of exactly 31 is halved", timing(1, 31), "rate 3100 duration 645160"},
        {"0 units are divided by", timing(0, 50), "rate 0 duration 333667"},
        {"a rate of 0 is divided by", timing(7, 0), "rate 0 duration 333667"},
        {"rate x 100 is taken at 32 bits", timing(1, 0xFFFFFFFF), "rate 2147483598 duration 0"},

        {"the last schedule counts", parameters(first, nullptr), "hrd 10 bits 128000 buffer 32000 delay 24 offset 25"},
        {"the VCL parameters alone are not read", parameters(nullptr, first), "hrd 01 bits 128000 buffer 32000"},
        {"both parameters are read", parameters(first, second), "hrd 11 bits 128000 buffer 32000 delay 24 offset 25"},
    };
    for (const auto& test : cases) {
        const std::string whole = ' ' + std::string(test.expected) + ' ';  // no figure's first digits alone
        EXPECT_PRED_FORMAT2(testing::IsSubstring, whole, ' ' + factsOfSet(inPes({sps(test.sps)})) + ' ') << test.fault;
    }
}

TEST(AvcSequenceHeader, CutAnywhereIsRefused)
{
    const Usability usability{.aspectRatio = 255, .timing = true, .nalHrd = hrd(1, 2, {{999, 499}}, 23, 24)};
    // All of it is needed but the trailing bits, which begin a byte of their own here.
    const Data whole = pes(0xE0, sps({.usability = usability}), 90000);
    for (std::size_t size = 0; size < whole.size() - 2; ++size)
        EXPECT_EQ(factsOfSet(join({firstBytes(whole, size), {0x55, 0x55}})), kRefused) << size;
    EXPECT_NE(factsOfSet(join({whole, {0x55, 0x55}})), kRefused);
}

// Coding structure -----------------------------------------------------------------------------------------------

constexpr std::uint32_t kP = 0, kB = 1, kI = 2;
const Data kEnd = join({sps({}), filled(20, 0x55)});

Data group(std::initializer_list<std::uint32_t> types)
{
    Data units = join({sps({}), pps(true)});
    for (const std::uint32_t type : types)
        append(units, slice(0, type));
    return units;
}

/// The payloads as they come, after one another.
AvcStreamInfo scan(const std::vector<Data>& payloads, AvcStreamInfo info = {.frame_mbs_only_flag = 1})
{
    CGopScanner scanner(info);
    bool reached = false;
    for (const Data& payload : payloads) {
        const ExactBuffer buffer(payload);
        reached = scanner.scanAvcPayload(buffer.data(), buffer.length());
    }
    EXPECT_TRUE(reached);
    scanner.storeCounts();
    return info;
}

/// Slices in a picture, B pictures in a run, pictures.
using Counts = std::array<int, 3>;

Counts countsOf(const Data& units, std::uint8_t framesOnly = 1)
{
    const AvcStreamInfo info = scan({join({units, kEnd})}, {.frame_mbs_only_flag = framesOnly});
    return {info.slicesPerPicture, info.bFrameRun, info.gopPictureCount};
}

TEST(GopScan, Counts)
{
    const Data open = group({kI, kP, kB, kB, kP, kB});
    EXPECT_EQ(countsOf(open), (Counts{1, 2, 6})) << "the first run of B pictures counts";
    EXPECT_EQ(countsOf(open, 0), (Counts{1, 1, 3})) << "frames of two fields";
    EXPECT_EQ(countsOf(group({7, 5, 6, 6, 6, 5})), (Counts{1, 3, 6})) << "slice types above 4";
    EXPECT_EQ(countsOf(join({sps({}), slice(0, kI), slice(10, kI), slice(0, kP), slice(10, kP)})), (Counts{2, 0, 2}))
        << "slices of later pictures neither count nor are pictures";
    EXPECT_EQ(countsOf(join({sps({}), repeat(slice(0, kB), 300)})), (Counts{1, 300 - 256, 300 - 256}));
}

TEST(GopScan, UnitsCutBetweenPayloadsAreCountedOnce)
{
    const Data units = join({group({kI, kP, kB, kB, kP}), kEnd});
    for (std::size_t size = 4; size <= units.size(); ++size) {
        std::vector<Data> payloads;
        for (std::size_t at = 0; at < units.size(); at += size)
            payloads.push_back(bytesFrom(units, at, std::min(size, units.size() - at)));
        EXPECT_EQ(scan(payloads).gopPictureCount, 5) << size;
    }
}

/// Whether a second set is reached in a file of two packets; the first one's payload stands behind an adaptation field.
bool reaches(const Data& payload, bool withPrefixes = false, std::uint8_t adaptation = 1)
{
    const Data first = packet({.pid = 0x100, .control = 3, .adaptation = adaptation}, payload);
    const Data file = join({first, packet({.pid = 0x100}, sps({})), nullPackets(12)});
    const TemporaryFile source(withPrefixes ? timed(file) : file);
    CGopScan scanner;
    EXPECT_EQ(scanner.file.open(source.path().c_str()), 0U);
    EXPECT_TRUE(scanner.detectFilePacketSize());
    return scanner.scanAvcGop(0x100);
}

TEST(GopScan, WhichBytesOfAPacketCount)
{
    // A set's start code and header, so many bytes before the packet's end; the rest comes in the next packet.
    const auto atEnd = [&](std::size_t spare) {
        return join({filled(178 - spare, 0x55), {0, 0, 1, 0x67}, filled(spare, 0x55)});
    };
    EXPECT_FALSE(reaches(filled(10, 0x55))) << "one set alone";
    EXPECT_FALSE(reaches(atEnd(3))) << "its header is among the last 4 bytes";
    EXPECT_TRUE(reaches(atEnd(4)));
    EXPECT_TRUE(reaches(atEnd(0), true)) << "the last 4 bytes of 192 are the next packet's";
    EXPECT_TRUE(reaches(bytesFrom(sps({}), 2))) << "the adaptation field's last byte belongs to it";
    EXPECT_FALSE(reaches({}, false, 255)) << "an adaptation field over the packet's end";
}

}  // namespace
}  // namespace zarnow::test
