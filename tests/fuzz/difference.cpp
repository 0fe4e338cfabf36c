// The load and every selection, which read the file once for all, against plain ones, which keep nothing.

#include "tests/fuzz/memory_file.h"
#include "tests/fuzz/target.h"
#include "tests/support/plain_selection.h"
#include "tests/support/random_stream.h"

namespace zarnow::fuzz {

namespace {

/// The upper half of the byte chooses the step, the lower one the program.
void step(test::SelectionPair& pair, const char* path, std::uint8_t choice)
{
    const std::uint32_t index = choice & 0x0F;
    AvcStreamInfo info;
    switch (choice >> 4 & 7) {
        case 0:
            return pair.load(path);
        case 1:
            return pair.setReadBufferSize(1000 * (index + 1));
        case 2:
            pair.readVideoInfo(info);
            return;
        default:
            pair.select(index, (choice & 0x10) != 0);
    }
}

void run(Bytes whole)
{
    static MemoryFile file;
    StreamInput input(whole);
    file.assign(input.stream);
    const bool large = (input.options.byte() & 2) != 0;
    const std::uint32_t size = input.options.word() % 8192;
    test::SelectionPair pair;
    pair.setReadBufferSize(large ? kDefaultReadBufferSize : size);
    pair.load(file.path());
    for (std::string difference = pair.difference();; difference = pair.difference()) {
        require(difference.empty(), difference.c_str());
        if (input.options.empty())
            break;
        step(pair, file.path(), input.options.byte());
    }
}

}  // namespace

const Target differenceTarget{"difference", Layout::stream, run, test::randomPackets};

}  // namespace zarnow::fuzz
