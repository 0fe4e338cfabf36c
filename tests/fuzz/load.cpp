// The load of a whole file, and what an application may ask afterwards, in any order. If the input says so it is
// compared with what a plain selection finds, which reads the file for every search from its beginning.

#include <cerrno>
#include <string>
#include <sys/mman.h>
#include <system_error>
#include <unistd.h>

#include "tests/fuzz/target.h"
#include "tests/support/plain_selection.h"
#include "tests/support/random_stream.h"

namespace zarnow::fuzz {

namespace {

enum LoadOption : std::uint8_t { smallBuffer = 2, fixedPids = 4, stopped = 8, compared = 16 };

/// Lies in memory, is quickly written anew for every input, and may be opened by its path.
class MemoryFile
{
public:
    void assign(Bytes content)
    {
        const auto size = static_cast<ssize_t>(content.size());
        if (ftruncate(descriptor_, size) != 0 || pwrite(descriptor_, content.data(), content.size(), 0) != size)
            throw std::system_error(errno, std::generic_category(), "writing the file");
    }

    const char* path() const { return path_.c_str(); }

private:
    int descriptor_ = memfd_create("fuzz", MFD_CLOEXEC);  // open until the program ends
    std::string path_ = "/proc/self/fd/" + std::to_string(descriptor_);
};

class Session
{
public:
    Session(const char* path, Options& options) : path_(path)
    {
        const std::uint8_t flags = options.byte();
        const unsigned size = options.word();
        compared_ = (flags & (compared | stopped)) == compared;
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
        selection_.abortScan = (flags & stopped) != 0;
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
        switch (step) {
            case 0:
                return compared_ ? pair_.select(index) : selectByIndex(index);
            case 1:
            case 2:
                return compared_ ? pair_.select(index, true) : selectByNumber(index);
            case 3:
                return readVideoInfo();
            case 4:
                return pair_.setReadBufferSize(1000 * (index + 1));
            case 5:
                selection_.abortScan = !compared_ && index == 0;
                return;
            case 6:
                return load();
            default:
                describeAll();
        }
    }

    void load()
    {
        if (compared_)
            return pair_.load(path_);
        require(selection_.loadFile(path_).status != LoadResult::Status::cannotOpen, "a file cannot be opened");
        require(selection_.analysed || selection_.startOffset == 0, "a start without an analysis");
        require(!selection_.analysed || !selection_.streamList.empty(), "analysed without tables");
    }

    void requireSound() const
    {
        require(selection_.videoStreamCount <= selection_.videoStreams.size(), "too many video streams");
        require(selection_.audioStreamCount <= selection_.audioStreams.size(), "too many audio streams");
        const std::string difference = compared_ ? pair_.difference() : "";
        require(difference.empty(), difference.c_str());
    }

    void selectByIndex(std::uint32_t index)
    {
        require(selection_.selectProgram(index) == (index < selection_.programList.size()), "the wrong program");
    }

    void selectByNumber(std::uint32_t index)
    {
        const std::size_t count = selection_.programList.size();
        const PsiEntry wanted = count != 0 ? selection_.programList[index % count] : PsiEntry{};
        require(selection_.selectProgramByNumber(wanted.pmtPid, wanted.programNumber) == (count != 0), "no selection");
        std::uint32_t current = 0;
        require(selection_.findCurrentProgram(current) == (count != 0), "no selected program");
        require(current == 0 || current < count, "no such program");
    }

    void readVideoInfo()
    {
        AvcStreamInfo info;
        info.level_idc = 0x12345678;
        const bool read = compared_ ? pair_.readVideoInfo(info) : selection_.readVideoInfo(info);
        require(read || info.level_idc == 0x12345678, "facts written without an answer");
    }

    void describeAll()
    {
        for (const PsiEntry& stream : selection_.streamList) {
            std::string text;
            require(selection_.describeStream(stream.streamType, stream.pid, text) == !text.empty(), "no description");
        }
    }

    test::SelectionPair pair_;
    CProgramSelection& selection_ = pair_.selection;
    const char* path_;
    bool compared_ = false;
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
