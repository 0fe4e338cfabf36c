#include <algorithm>

#include "analysis/file_scan.h"

namespace zarnow {

namespace {

constexpr std::uint32_t kBlockMargin = 100;  // the table scans read this much less than the buffer holds
constexpr std::int32_t kBlockOverlap = 186;  // a section cut by a block's end is whole in the next one

}  // namespace

bool CFileScan::scanProgramTables()
{
    const std::uint32_t blockSize = readBufferSize > kBlockMargin ? readBufferSize - kBlockMargin : 0;
    if (!file.isOpen() || blockSize < packetSize || !rewindToData())
        return false;
    if (!scanAssociationTable(blockSize) || !scanProgramMaps(blockSize))
        return false;
    foldDuplicateStreams();
    return true;
}

/// Reads up to the first block whose program association table yields a program.
bool CFileScan::scanAssociationTable(std::uint32_t blockSize)
{
    bool stillSearching = true;
    Block block;
    while (stillSearching && readBlock(blockSize, block)) {
        parsePat(block.data(), block.length(), stillSearching);
        if (abortScan)
            return false;
        if (!block.full)
            break;
    }
    return !stillSearching;
}

bool CFileScan::programsShareFirstPid() const noexcept
{
    const auto shares = [this](const PsiEntry& program) { return program.pmtPid == programList.front().pmtPid; };
    return std::any_of(programList.begin() + 1, programList.end(), shares);
}

/// The walk over the programs: for each one the file is read from its beginning until a map section of its PID (or,
/// where programs share the first one's PID, a section of its number) is found.
class CFileScan::ProgramMapWalk
{
public:
    ProgramMapWalk(CFileScan& scan, std::uint32_t blockSize)
        : scan_(scan),
          blockSize_(blockSize),
          byNumber_(scan.programsShareFirstPid()),
          remaining_(static_cast<std::int64_t>(scan.programList.size()) - 1)
    {
    }

    bool run()
    {
        scan_.rewindToData();
        while (searching_) {
            const bool full = readAndParse();
            if (scan_.abortScan)
                return false;
            if (!full || (parsed_ && remaining_ >= 1))
                leaveProgram();
            else if (parsed_)
                found_ = true;  // the last program: done, or back in the list's beginning after it: ends there
        }
        return found_;
    }

private:
    /// @return whether the block was full
    bool readAndParse()
    {
        Block block;
        scan_.readBlock(blockSize_, block);
        if (byNumber_)
            scan_.file.moveBy(-kBlockOverlap);
        parsed_ = !block.bytes.empty() && parse(block);
        return block.full;
    }

    bool parse(const Block& block)
    {
        const PsiEntry program = scan_.programList[current_];
        const std::uint16_t key = headerKeyOfPid(program.pmtPid);
        return byNumber_
                   ? scan_.parsePmtForProgram(block.data(), block.length(), key, program.programNumber, searching_)
                   : scan_.parsePmt(block.data(), block.length(), key, searching_);
    }

    /// On to the next program. At the list's end the walk is over if the last program was found; otherwise it wraps
    /// round once: what a walk found nothing in, or a second time round, would only repeat itself.
    void leaveProgram()
    {
        found_ = found_ || parsed_;
        --remaining_;
        ++current_;
        if (current_ == scan_.programList.size()) {
            if (!searching_ || wrapped_ || !found_) {
                searching_ = false;
                return;
            }
            wrapped_ = true;
            current_ = 0;
        }
        searching_ = true;
        scan_.rewindToData();
    }

    CFileScan& scan_;
    std::uint32_t blockSize_;
    bool byNumber_;
    std::int64_t remaining_;  // programs after the current one; negative once the walk has wrapped round
    std::size_t current_ = 0;
    bool searching_ = true;  // cleared by the parsers
    bool parsed_ = false;    // by the last block
    bool found_ = false;
    bool wrapped_ = false;
};

bool CFileScan::scanProgramMaps(std::uint32_t blockSize)
{
    return ProgramMapWalk(*this, blockSize).run();
}

void CFileScan::foldDuplicateStreams()
{
    for (const PsiEntry& program : programList)
        removeDuplicateStreams(program.pmtPid, program.programNumber);
}

}  // namespace zarnow
