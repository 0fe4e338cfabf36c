// The load of a whole file, and what an application may ask afterwards, in any order.

#include <string>

#include "esparse/program_selection.h"
#include "tests/fuzz/memory_file.h"
#include "tests/fuzz/target.h"
#include "tests/support/random_stream.h"

namespace zarnow::fuzz {

namespace {

enum LoadOption : std::uint8_t { smallBuffer = 2, fixedPids = 4, stopped = 8 };

class Session
{
public:
    Session(const char* path, Options& options) : path_(path)
    {
        const std::uint8_t flags = options.byte();
        const unsigned size = options.word();
        if ((flags & smallBuffer) != 0)
            selection_.setReadBufferSize(size % 8192);
        if ((flags & fixedPids) != 0) {
            const auto pid = [&] { return static_cast<std::uint16_t>(0x20 + options.byte() % 10); };
            const std::uint8_t videoType = options.byte();
            selection_.setDefaultStreams(pid(), pid(), videoType, pid(), options.byte());
        }
        selection_.abortScan = (flags & stopped) != 0;
        load();
    }

    /// The upper half of the byte chooses the step, the lower one the program.
    void step(std::uint8_t choice)
    {
        const std::uint32_t index = choice & 0x0F;
        switch (choice >> 4 & 7) {
            case 0:
                return selectByIndex(index);
            case 1:
            case 2:
                return selectByNumber(index);
            case 3:
                return readVideoInfo();
            case 4:
                return selection_.setReadBufferSize(1000 * (index + 1));
            case 5:
                selection_.abortScan = index == 0;
                return;
            case 6:
                return load();
            default:
                describeAll();
        }
    }

private:
    void load()
    {
        const LoadResult result = selection_.loadFile(path_);
        require(result.status != LoadResult::Status::cannotOpen, "a file cannot be opened");
        require(selection_.analysed || selection_.startOffset == 0, "a start without an analysis");
        require(!selection_.analysed || !selection_.streamList.empty(), "analysed without tables");
        requireCounts();
    }

    void requireCounts() const
    {
        require(selection_.videoStreamCount <= selection_.videoStreams.size(), "too many video streams");
        require(selection_.audioStreamCount <= selection_.audioStreams.size(), "too many audio streams");
    }

    void selectByIndex(std::uint32_t index)
    {
        require(selection_.selectProgram(index) == (index < selection_.programList.size()), "the wrong program");
        requireCounts();
    }

    void selectByNumber(std::uint32_t index)
    {
        const std::size_t count = selection_.programList.size();
        const PsiEntry wanted = count != 0 ? selection_.programList[index % count] : PsiEntry{};
        require(selection_.selectProgramByNumber(wanted.pmtPid, wanted.programNumber) == (count != 0), "no selection");
        requireCounts();
        std::uint32_t current = 0;
        require(selection_.findCurrentProgram(current) == (count != 0), "no selected program");
        require(current == 0 || current < count, "no such program");
    }

    void readVideoInfo()
    {
        AvcStreamInfo info;
        info.level_idc = 0x12345678;
        require(selection_.readVideoInfo(info) || info.level_idc == 0x12345678, "facts written without an answer");
    }

    void describeAll()
    {
        for (const PsiEntry& stream : selection_.streamList) {
            std::string text;
            require(selection_.describeStream(stream.streamType, stream.pid, text) == !text.empty(), "no description");
        }
    }

    CProgramSelection selection_;
    const char* path_;
};

void run(Bytes whole)
{
    static MemoryFile file;
    StreamInput input(whole);
    file.assign(input.stream);
    Session session(file.path(), input.options);
    while (!input.options.empty())
        session.step(input.options.byte());
}

}  // namespace

const Target loadTarget{"load", Layout::stream, run, test::randomPackets};

}  // namespace zarnow::fuzz
