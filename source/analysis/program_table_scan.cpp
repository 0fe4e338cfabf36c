#include <algorithm>

#include "analysis/block_packets.h"
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

/// The walk over the programs: for each one the file is searched from its beginning for a map section of its PID (or,
/// where programs share the first one's PID, a section of its number). The searches are made side by side, in one pass
/// over the file; the walk then goes by what they found.
class CFileScan::ProgramMapWalk
{
public:
    ProgramMapWalk(CFileScan& scan, std::uint32_t blockSize)
        : scan_(scan),
          blockSize_(blockSize),
          byNumber_(scan.programsShareFirstPid()),
          searches_(scan.programList.size())
    {
        for (const PsiEntry& program : scan.programList)
            packets_.want(mapKeyOf(program));
    }

    bool run()
    {
        scan_.rewindToData();
        for (std::size_t pending = searches_.size(); pending > 0;) {
            Block block;
            scan_.readBlock(blockSize_, block);
            if (byNumber_)
                scan_.file.moveBy(-kBlockOverlap);
            if (!block.bytes.empty())
                pending -= searchBlock(block);
            if (scan_.abortScan)
                return false;
            if (!block.full)
                break;
        }
        return takeStreams();
    }

private:
    struct Search
    {
        std::vector<PsiEntry> streams;  // also of sections that were given up
        bool parsed = false;
        bool inFullBlock = false;  // with parsed
    };

    static std::uint16_t mapKeyOf(const PsiEntry& program) noexcept
    {
        return withUnitStart(headerKeyOfPid(program.pmtPid));
    }

    /// @return how many searches ended in this block
    std::size_t searchBlock(const Block& block)
    {
        std::size_t ended = 0;
        packets_.note(scan_, block.bytes);
        for (std::size_t i = 0; i < searches_.size(); ++i) {
            Search& search = searches_[i];
            const PsiEntry& program = scan_.programList[i];
            if (search.parsed || !packets_.match(mapKeyOf(program)))
                continue;
            search.parsed = parse(block, program, search.streams);
            search.inFullBlock = block.full;
            ended += search.parsed ? 1 : 0;
        }
        return ended;
    }

    bool parse(const Block& block, const PsiEntry& program, std::vector<PsiEntry>& streams)
    {
        const std::uint16_t key = headerKeyOfPid(program.pmtPid);
        bool searching = true;
        scan_.streamList.swap(streams);
        const bool parsed =
            byNumber_ ? scan_.parsePmtForProgram(block.data(), block.length(), key, program.programNumber, searching)
                      : scan_.parsePmt(block.data(), block.length(), key, searching);
        scan_.streamList.swap(streams);
        return parsed;
    }

    /// Every program's streams in the order of the programs. When the last program has no map the walk goes round once
    /// more, up to the first map in a full block; the streams it takes again are folded later.
    bool takeStreams()
    {
        for (const Search& search : searches_)
            take(search);
        if (std::none_of(searches_.begin(), searches_.end(), [](const Search& search) { return search.parsed; }))
            return false;
        if (searches_.back().parsed)
            return true;
        for (const Search& search : searches_) {
            take(search);
            if (search.parsed && search.inFullBlock)
                break;
        }
        return true;
    }

    void take(const Search& search)
    {
        scan_.streamList.insert(scan_.streamList.end(), search.streams.begin(), search.streams.end());
    }

    CFileScan& scan_;
    std::uint32_t blockSize_;
    bool byNumber_;
    std::vector<Search> searches_;  // one for each program
    CBlockPackets packets_;
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
