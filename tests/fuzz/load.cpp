// The load of a whole file, and what an application may ask afterwards, in any order. If the input says so it is
// compared with what a plain selection finds, which reads the file for every search from its beginning.

#include "tests/fuzz/target.h"
#include "tests/support/plain_selection.h"
#include "tests/support/random_stream.h"
#include "tests/support/temporary_file.h"

namespace zarnow::fuzz {

namespace {

enum LoadOption : std::uint8_t { smallBuffer = 2, fixedPids = 4, stopped = 8, compared = 16 };

void prepare(test::SelectionPair& pair, Options& options)
{
    const std::uint8_t flags = options.byte();
    const unsigned size = options.word();
    pair.compared = (flags & compared) != 0;
    if ((flags & smallBuffer) != 0)
        pair.setReadBufferSize(size % 8192);
    if ((flags & fixedPids) != 0) {
        const auto pid = [&] {
            const unsigned choice = options.byte();
            if (choice < 128)
                return static_cast<std::uint16_t>(0x20 + choice % 10);
            // More than the 13 bits of a packet's PID: they match packets of others, some of which have PID 0.
            return static_cast<std::uint16_t>((choice << 8 & 0xC000) | (choice % 10 == 9 ? 0xFF : 0x20 + choice % 10));
        };
        const std::uint8_t videoType = options.byte();
        const std::uint16_t map = pid(), video = pid(), audio = pid();
        pair.setDefaultStreams({map, video, audio, videoType, options.byte()});
    }
    pair.selection.abortScan = (flags & (compared | stopped)) == stopped;  // a plain selection is never stopped
}

void load(test::SelectionPair& pair, const char* path)
{
    pair.load(path);
    const CProgramSelection& selection = pair.selection;
    require(selection.analysed || selection.startOffset == 0, "a start without an analysis");
    require(!selection.analysed || !selection.streamList.empty(), "analysed without tables");
}

void readVideoInfo(test::SelectionPair& pair, test::Data& facts)
{
    AvcStreamInfo info;
    info.level_idc = 0x12345678;
    require(pair.readVideoInfo(info) || info.level_idc == 0x12345678, "facts written without an answer");
    note(facts, info);
}

void takeStep(test::SelectionPair& pair, const char* path, int step, std::uint32_t index, test::Data& facts)
{
    CProgramSelection& selection = pair.selection;
    switch (step) {
        case 0:
        case 1:
        case 2: {
            const bool exists = index < selection.programList.size();
            return require(pair.select(index, step != 0) == exists, "the wrong program");
        }
        case 3:
            return readVideoInfo(pair, facts);
        case 4:
            return pair.setReadBufferSize(1000 * (index + 1));
        case 5:
            selection.abortScan = !pair.compared && index == 0;
            return;
        case 6:
            return load(pair, path);
        default:
            for (const PsiEntry& stream : selection.streamList) {
                std::string text;
                selection.describeStream(stream.streamType, stream.pid, text);
                note(facts, text);
            }
    }
}

void requireSound(const test::SelectionPair& pair, test::Data& facts)
{
    const CProgramSelection& selection = pair.selection;
    require(selection.videoStreamCount <= selection.videoStreams.size(), "too many video streams");
    require(selection.audioStreamCount <= selection.audioStreams.size(), "too many audio streams");
    const std::string difference = pair.difference();
    require(difference.empty(), difference.c_str());
    for (const auto& [name, bytes] : test::factsOf(selection))
        note(facts, bytes);
    std::uint32_t current = 0;
    note(facts, selection.file.position(), selection.findCurrentProgram(current), current);
}

void run(Bytes whole, test::Data& facts)
{
    static const test::TemporaryFile file({}, test::directoryInMemory());
    Options rest(whole);
    Options options(rest.take(kOptionBytes));
    file.write(rest.take(whole.size()));
    test::SelectionPair pair;
    prepare(pair, options);
    load(pair, file.path().c_str());
    requireSound(pair, facts);
    while (!options.empty()) {
        const std::uint8_t choice = options.byte();  // its upper half is the step, the lower one the program
        takeStep(pair, file.path().c_str(), choice >> 4 & 7, choice & 0x0F, facts);
        requireSound(pair, facts);
    }
}

}  // namespace

const Target loadTarget{"load", Layout::stream, run, test::randomPackets};

}  // namespace zarnow::fuzz
