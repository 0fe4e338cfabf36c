// The load of a whole file, and what an application may ask afterwards, in any order. If the input says so it is
// compared with what a plain selection finds, which reads the file for every search from its beginning.

#include "tests/fuzz/target.h"
#include "tests/support/plain_selection.h"
#include "tests/support/random_stream.h"
#include "tests/support/temporary_file.h"

namespace zarnow::fuzz {

namespace {

enum LoadOption : std::uint8_t { smallBuffer = 2, fixedPids = 4, stopped = 8, compared = 16 };

class Session
{
public:
    Session(const char* path, Options& options, test::Data& facts) : path_(path), facts_(facts)
    {
        const std::uint8_t flags = options.byte();
        const unsigned size = options.word();
        pair_.compared = (flags & compared) != 0;
        if ((flags & smallBuffer) != 0)
            pair_.setReadBufferSize(size % 8192);
        if ((flags & fixedPids) != 0) {
            const auto pid = [&] {
                const unsigned choice = options.byte();  // some PIDs have more than the 13 bits of a packet's
                return static_cast<std::uint16_t>((choice < 128 ? 0 : choice << 8 & 0xC000) | (0x20 + choice % 10));
            };
            const std::uint8_t videoType = options.byte();
            const std::uint16_t map = pid(), video = pid(), audio = pid();
            pair_.setDefaultStreams({map, video, audio, videoType, options.byte()});
        }
        selection_.abortScan = (flags & (compared | stopped)) == stopped;  // a plain selection is never stopped
        load();
        requireSound();
    }

    /// The upper half of the byte chooses the step, the lower one the program.
    void step(std::uint8_t choice)
    {
        take(choice >> 4 & 7, choice & 0x0F);
        requireSound();
    }

private:
    void take(int step, std::uint32_t index)
    {
        const std::size_t count = selection_.programList.size();
        switch (step) {
            case 0:
                return require(pair_.select(index) == (index < count), "the wrong program");
            case 1:
            case 2:
                return require(pair_.select(index, true) == (index < count), "the wrong program by number");
            case 3:
                return readVideoInfo();
            case 4:
                return pair_.setReadBufferSize(1000 * (index + 1));
            case 5:
                selection_.abortScan = !pair_.compared && index == 0;
                return;
            case 6:
                return load();
            default:
                for (const PsiEntry& stream : selection_.streamList) {
                    std::string text;
                    selection_.describeStream(stream.streamType, stream.pid, text);
                    note(facts_, text);
                }
        }
    }

    void load()
    {
        pair_.load(path_);
        require(selection_.analysed || selection_.startOffset == 0, "a start without an analysis");
        require(!selection_.analysed || !selection_.streamList.empty(), "analysed without tables");
    }

    void requireSound()
    {
        require(selection_.videoStreamCount <= selection_.videoStreams.size(), "too many video streams");
        require(selection_.audioStreamCount <= selection_.audioStreams.size(), "too many audio streams");
        const std::string difference = pair_.difference();
        require(difference.empty(), difference.c_str());
        for (const auto& [name, bytes] : test::factsOf(selection_))
            note(facts_, bytes);
        std::uint32_t current = 0;
        note(facts_, selection_.file.position(), selection_.findCurrentProgram(current), current);
    }

    void readVideoInfo()
    {
        AvcStreamInfo info;
        info.level_idc = 0x12345678;
        require(pair_.readVideoInfo(info) || info.level_idc == 0x12345678, "facts written without an answer");
        note(facts_, info);
    }

    const char* path_;
    test::Data& facts_;
    test::SelectionPair pair_;
    CProgramSelection& selection_ = pair_.selection;
};

void run(Bytes whole, test::Data& facts)
{
    static const test::TemporaryFile file({}, ".ts", test::directoryInMemory());
    Options rest(whole);
    Options options(rest.take(kOptionBytes));
    file.write(rest.take(whole.size()));
    Session session(file.path().c_str(), options, facts);
    while (!options.empty())
        session.step(options.byte());
}

}  // namespace

const Target loadTarget{"load", Layout::stream, run, test::randomPackets};

}  // namespace zarnow::fuzz
