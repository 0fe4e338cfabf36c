// The load and every selection, which read the file once for all, against plain ones, which keep nothing.

#include "tests/fuzz/memory_file.h"
#include "tests/fuzz/target.h"
#include "tests/support/plain_selection.h"
#include "tests/support/random_stream.h"

namespace zarnow::fuzz {

namespace {

class Pair
{
public:
    Pair(const char* path, std::uint32_t bufferSize) : path_(path)
    {
        setBufferSize(bufferSize);
        load();
    }

    /// The upper half of the byte chooses the step, the lower one the program.
    void step(std::uint8_t choice)
    {
        const std::uint32_t index = choice & 0x0F;
        switch (choice >> 4 & 7) {
            case 0:
                load();
                break;
            case 1:
                setBufferSize(1000 * (index + 1));
                break;
            case 2:
                readVideoInfo();
                break;
            default:
                select(index, (choice & 0x10) != 0);
        }
        const std::string difference = test::differenceOf(selection_, plain_);
        require(difference.empty(), difference.c_str());
    }

private:
    void setBufferSize(std::uint32_t size)
    {
        selection_.setReadBufferSize(size);
        plain_.setReadBufferSize(size);
    }

    void load()
    {
        selection_.loadFile(path_);
        plain_.plainLoad(path_);
        require(selection_.analysed == plain_.analysed, "analysed");
        if (!plain_.analysed)
            plain_.startOffset = 0;
    }

    void readVideoInfo()
    {
        AvcStreamInfo info;
        AvcStreamInfo plainInfo;
        plain_.fileSize = selection_.fileSize;
        require(selection_.readVideoInfo(info) == plain_.readVideoInfo(plainInfo), "one of them has video facts");
        require(std::memcmp(&info, &plainInfo, sizeof(info)) == 0, "other video facts");
    }

    void select(std::uint32_t index, bool byNumber)
    {
        if (index >= plain_.programList.size())
            return;
        const PsiEntry program = plain_.programList[index];
        if (byNumber)
            selection_.selectProgramByNumber(program.pmtPid, program.programNumber);
        else
            selection_.selectProgram(index);
        plain_.plainSelectProgram(program);
        if (!byNumber && plain_.videoStreams[0].pid != 0)
            plain_.durationSeconds = plain_.plainDuration(plain_.videoStreams[0].pid);
        plain_.rewindToData();
    }

    CProgramSelection selection_;
    test::PlainSelection plain_;
    const char* path_;
};

void run(Bytes whole)
{
    static MemoryFile file;
    StreamInput input(whole);
    file.assign(input.stream);
    const bool large = (input.options.byte() & 2) != 0;
    const std::uint32_t size = input.options.word() % 8192;
    Pair pair(file.path(), large ? kDefaultReadBufferSize : size);
    while (!input.options.empty())
        pair.step(input.options.byte());
}

}  // namespace

const Target differenceTarget{"difference", Layout::stream, run, test::randomPackets};

}  // namespace zarnow::fuzz
