// Every sample in every environment: with buffers of any size, as packets of 188 and of 192 bytes, behind garbage, and
// with the file ending anywhere. What is found must not depend on these, but for what is derived here from the layout
// of the blocks that the searches read.

#include <gtest/gtest.h>

#include <cstdlib>
#include <fstream>
#include <map>
#include <sstream>

#include "analysis/media_clock.h"
#include "analysis/stream_type.h"
#include "tests/robustness/block_layout.h"
#include "tests/robustness/facts.h"
#include "tests/support/temporary_file.h"

namespace zarnow::test {
namespace {

/// ZARNOW_WRITE_GOLDEN in the environment makes the test write what it would compare with.
TEST(Golden, FactsOfEverySample)
{
    for (const Sample& one : samples()) {
        SCOPED_TRACE(one.name);
        const TemporaryFile file(one.packets);
        CProgramSelection selection;
        ASSERT_EQ(selection.loadFile(file.path().c_str()).status, LoadResult::Status::loaded);
        const std::string facts = allFacts(selection);
        const std::string path = ZARNOW_TEST_DATA "golden/" + one.name + ".txt";
        if (std::getenv("ZARNOW_WRITE_GOLDEN") != nullptr)
            std::ofstream(path, std::ios::binary) << facts;
        std::ostringstream golden;
        golden << std::ifstream(path, std::ios::binary).rdbuf();
        EXPECT_EQ(facts, golden.str());
    }
}

using MediaTexts = std::map<std::uint16_t, std::string>;

template <class Records>
void addTexts(const Records& records, MediaTexts& texts)
{
    for (const auto& record : records) {
        if (record.pid != 0)
            texts[record.pid] = mediaText(record);
    }
}

/// What the sample holds, as found in the environment that its golden text is about.
struct Reference
{
    explicit Reference(const Sample& sample, bool timed = false)
    {
        const Environment usual{.timed = timed};
        const TemporaryFile file(usual.content(sample));
        CProgramSelection selection;
        selection.loadFile(file.path().c_str());
        programs = selection.programList;
        streams = selection.streamList;
        for (std::uint32_t i = 0; selection.selectProgram(i); ++i) {
            addTexts(selection.videoStreams, media);
            addTexts(selection.audioStreams, media);
            AvcStreamInfo info;
            if (selection.readVideoInfo(info))
                structure[selection.currentProgramNumber] = structureText(info);
        }
    }

    std::vector<PsiEntry> programs;
    std::vector<PsiEntry> streams;
    MediaTexts media;
    std::map<std::uint16_t, std::string> structure;
};

bool sameEntry(const PsiEntry& a, const PsiEntry& b)
{
    return a.pid == b.pid && a.streamType == b.streamType && a.belongsTo(b.pmtPid, b.programNumber);
}

/// Whether `part` is `whole` with entries left out.
bool isSubsequence(const std::vector<PsiEntry>& part, const std::vector<PsiEntry>& whole)
{
    auto at = whole.begin();
    for (const PsiEntry& entry : part) {
        at = std::find_if(at, whole.end(), [&](const PsiEntry& one) { return sameEntry(one, entry); });
        if (at == whole.end())
            return false;
        ++at;
    }
    return true;
}

/// A video record's position is that of its header's packet, mirrored in the block.
void expectPlace(const Blocks& blocks, const VideoProbeRecord& record)
{
    const std::size_t block = blocks.of(record.filePosition);
    ASSERT_LT(block, blocks.count());
    const std::size_t at = blocks.begin(block) + (blocks.end(block) - record.filePosition);
    ASSERT_TRUE(blocks.isOf(at, record.pid, true));
    EXPECT_EQ(videoHeader(blocks, at, record.streamType), mediaText(record));
    if (record.streamType != stream_type::kAvc) {
        const Bytes payload = blocks.payload(at);
        EXPECT_EQ(static_cast<std::int64_t>(record.firstPts),
                  CPSIParser::readPesPts(payload.data(), static_cast<std::int32_t>(payload.size())));
    }
    EXPECT_LE(block, certainBlock(blocks, {.pid = record.pid, .streamType = record.streamType}));
}

/// An audio record's position is the end of what was read, less one.
void expectPlace(const Blocks& blocks, const AudioProbeRecord& record)
{
    const std::size_t block = blocks.of(record.filePosition + std::size_t{1});
    ASSERT_LT(block, std::min(blocks.count(), kMaxAudioBlocks));
    EXPECT_EQ(record.filePosition + std::size_t{1}, blocks.end(block));
    std::size_t headers = 0;
    for (std::size_t at = blocks.begin(block); at + blocks.step() < blocks.end(block); at += blocks.step())
        headers +=
            blocks.isOf(at, record.pid, false) && audioHeader(blocks, at, record.streamType) == mediaText(record);
    EXPECT_NE(headers, 0U);
    EXPECT_LE(block, certainBlock(blocks, {.pid = record.pid, .streamType = record.streamType}));
}

/// The duration is measured to a stamp of the first block, counted from the file's end, that has one. What
/// lies between those blocks is not read, and the last kilobyte of one, where the walk back finds its footing or gives
/// the block up, may not be looked at.
void expectDuration(const Blocks& blocks, const CProgramSelection& selection)
{
    constexpr std::size_t kTail = 4;
    constexpr std::size_t kUncertain = 1000;
    const VideoProbeRecord& video = selection.videoStreams[0];
    const std::size_t size = (selection.readBufferSize / blocks.step() - 2) * blocks.step();
    std::size_t end = blocks.file().size() - kTail;
    std::size_t step = selection.readBufferSize;
    std::vector<std::int64_t> possible;
    bool certain = false;
    while (!certain && end >= step) {
        const std::size_t begin = end - step;
        end = begin + size;
        step = std::size_t{selection.readBufferSize} * 2;
        const std::size_t grid = selection.startOffset;
        const std::size_t earlier = possible.size();
        std::uint32_t ignored = 0;
        const bool footing = selection.findSync(&blocks.file()[end - kUncertain], kUncertain, ignored);
        for (std::size_t at =
                 grid + (begin - std::min(begin, grid) + blocks.step() - 1) / blocks.step() * blocks.step();
             at < end; at += blocks.step()) {
            if (at <= begin || !blocks.isOf(at, video.pid, true))
                continue;
            const Bytes payload = blocks.payload(at);
            const std::int64_t stamp =
                CPSIParser::readPesPts(payload.data(), static_cast<std::int32_t>(payload.size()));
            if (at + kUncertain <= end && stamp != 0 && footing) {
                certain = true;  // at least this one is found
                possible.resize(earlier);
            }
            possible.push_back(stamp);
        }
    }
    const auto secondsTo = [&](std::int64_t stamp) {
        return secondsOfTicks(static_cast<std::int64_t>(static_cast<std::uint64_t>(stamp) - video.firstPts));
    };
    const bool fits = std::any_of(possible.begin(), possible.end(),
                                  [&](std::int64_t stamp) { return selection.durationSeconds == secondsTo(stamp); });
    EXPECT_TRUE(fits || (!certain && selection.durationSeconds == 0.0)) << selection.durationSeconds;
}

void expectStreams(const CProgramSelection& selection, const Reference& reference, const Blocks& blocks)
{
    MediaTexts found;
    addTexts(selection.videoStreams, found);
    addTexts(selection.audioStreams, found);
    for (const VideoProbeRecord& record : selection.videoStreams) {
        if (record.pid != 0)
            expectPlace(blocks, record);
    }
    for (const AudioProbeRecord& record : selection.audioStreams) {
        if (record.pid != 0)
            expectPlace(blocks, record);
    }
    for (const PsiEntry& stream : selection.streamList) {
        if (!stream.belongsTo(selection.currentPmtPid, selection.currentProgramNumber))
            continue;
        SCOPED_TRACE(testing::Message() << "stream " << stream.pid);
        const auto known = reference.media.find(stream.pid);
        const auto here = found.find(stream.pid);
        if (here != found.end()) {
            EXPECT_EQ(here->second, known != reference.media.end() ? known->second : "no such stream");
        } else if (known != reference.media.end()) {
            EXPECT_EQ(certainBlock(blocks, stream), Blocks::kNone) << "a header is overlooked";
        }
    }
}

/// A program is missing only where none of its streams has a header that is certainly found.
void expectPrograms(const CProgramSelection& selection, const Reference& reference, const Blocks& blocks)
{
    EXPECT_TRUE(isSubsequence(selection.programList, reference.programs));
    for (const PsiEntry& program : reference.programs) {
        const auto listed = [&](const PsiEntry& one) { return sameEntry(one, program); };
        if (std::any_of(selection.programList.begin(), selection.programList.end(), listed))
            continue;
        for (const PsiEntry& stream : selection.streamList) {
            if (stream.belongsTo(program.pmtPid, program.programNumber) && reference.media.contains(stream.pid)) {
                EXPECT_EQ(certainBlock(blocks, stream), Blocks::kNone) << program.programNumber;
            }
        }
    }
}

/// Everything that is found in an analysed file, against the reference. @param whole  nothing is cut off the file
void expectFacts(CProgramSelection& selection, const Reference& reference, const Environment& environment,
                 const Data& content, bool whole)
{
    const Blocks blocks(content, environment);
    EXPECT_EQ(selection.packetSize, environment.step());
    EXPECT_EQ(selection.startOffset, environment.start());
    EXPECT_EQ(selection.file.position(), static_cast<std::int64_t>(environment.start()));
    EXPECT_TRUE(isSubsequence(selection.streamList, reference.streams));
    EXPECT_TRUE(!whole || selection.streamList.size() == reference.streams.size());
    expectPrograms(selection, reference, blocks);
    for (std::uint32_t i = 0; selection.selectProgram(i); ++i) {
        SCOPED_TRACE(programName(selection.currentProgramNumber));
        expectStreams(selection, reference, blocks);
        if (selection.videoStreams[0].pid != 0)
            expectDuration(blocks, selection);
        AvcStreamInfo info;
        if (selection.readVideoInfo(info))
            EXPECT_EQ(structureText(info), reference.structure.at(selection.currentProgramNumber));
        else
            EXPECT_FALSE(whole && reference.structure.contains(selection.currentProgramNumber));
    }
}

TEST(Environments, AfterAnyOtherFile)
{
    for (const Sample& later : samples()) {
        for (const bool timed : {false, true}) {
            const Reference reference(later, timed);
            const Environment environment{.timed = timed};
            const Data content = environment.content(later);
            const TemporaryFile file(content);
            for (const Sample& earlier : samples()) {
                SCOPED_TRACE(later.name + " after " + earlier.name);
                const TemporaryFile other(Environment{.timed = !timed}.content(earlier));
                CProgramSelection selection;
                selection.loadFile(other.path().c_str());
                allFacts(selection);
                EXPECT_EQ(selection.loadFile(file.path().c_str()).status, LoadResult::Status::loaded);
                expectFacts(selection, reference, environment, content, true);
            }
        }
    }
}

constexpr std::size_t kAhead = 1000;  // bytes of packets that the search for the first one needs, and a few more

/// Loads one file and holds everything found in it against the reference. @return whether it was analysed
bool expectSame(const Reference& reference, const Environment& environment, const Data& content, bool whole)
{
    const TemporaryFile file(content);
    CProgramSelection selection;
    selection.setReadBufferSize(environment.bufferSize);
    EXPECT_EQ(selection.loadFile(file.path().c_str()).status, LoadResult::Status::loaded);
    if (selection.analysed)
        expectFacts(selection, reference, environment, content, whole);
    return selection.analysed;
}

void expectSameEverywhere(const Sample& sample)
{
    for (const bool timed : {false, true}) {
        const Reference reference(sample, timed);
        for (const std::uint32_t bufferSize : {2001U, 3000U, 7777U, 32768U, 33000U, 65536U, 1U << 20}) {
            for (const std::size_t garbage : {0U, 77U, 5000U, 120000U}) {
                const Environment environment{bufferSize, timed, garbage};
                SCOPED_TRACE(sample.name + ": " + environment.text());
                EXPECT_EQ(expectSame(reference, environment, environment.content(sample), true),
                          garbage + kAhead < bufferSize * 3)
                    << "three buffers are looked into";
                if (testing::Test::HasFailure())
                    return;
            }
        }
    }
}

TEST(Environments, EverySample)
{
    for (const Sample& one : samples())
        expectSameEverywhere(one);
}

TEST(Environments, FilesMadeByFfmpeg)
{
    const std::vector<Sample> made = madeSamples();
    if (made.empty())
        GTEST_SKIP() << "tests/run_tests.py makes them in " << ZARNOW_MADE_SAMPLES;
    for (const Sample& one : made)
        expectSameEverywhere(one);
}

TEST(Environments, FilesThatEndAnywhere)
{
    constexpr std::size_t kCuts = 60;
    for (const Sample& one : samples()) {
        for (const bool timed : {false, true}) {
            const Reference reference(one, timed);
            for (const std::uint32_t bufferSize : {2001U, 33000U}) {
                const Environment environment{bufferSize, timed};
                const Data content = environment.content(one);
                bool before = false;  // whether a shorter file was analysed
                for (std::size_t cut = 0; cut < kCuts && !HasFailure(); ++cut) {
                    // The first ones lie close together, around the tables; the others anywhere in their packets.
                    const std::size_t size = cut < kCuts / 2
                                                 ? 2000 + cut * cut
                                                 : content.size() * (cut * 2 - kCuts) / kCuts + cut * 37 % 190;
                    SCOPED_TRACE(testing::Message() << one.name << ": " << environment.text() << ", cut at " << size);
                    const bool analysed = expectSame(reference, environment, firstBytes(content, size), false);
                    EXPECT_TRUE(size > 2000 || !analysed);
                    EXPECT_TRUE(size < 2000 + kCuts || analysed || !before) << "a shorter file was analysed";
                    before = analysed;
                }
                EXPECT_TRUE(before) << one.name;
            }
        }
    }
}

}  // namespace
}  // namespace zarnow::test
