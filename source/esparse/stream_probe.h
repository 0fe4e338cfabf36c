/// @file
/// Reads the headers of the selected program's elementary streams from the file.
#pragma once

#include <array>

#include "analysis/file_scan.h"
#include "esparse/block_index.h"
#include "esparse/probe_cache.h"

namespace zarnow {

/// Every probe begins at the first packet and reads blocks of whole packets until a header parser accepts one, the
/// file ends, or the stop flag is set. Within one load a PID is searched once by a given parser, and blocks without
/// its packets are read no more than once for all.
class CStreamProbe : public CFileScan
{
public:
    void setReadBufferSize(std::uint32_t size) noexcept;

    /// Fills `videoStreams` with the program's MPEG video streams or, when it has none, its AVC streams.
    /// @return whether a record was filled
    bool probeVideoStreams();

    /// Fills `audioStreams`. @return whether a record was filled
    bool probeAudioStreams();

    bool probeVideoStream(std::uint16_t pid, std::size_t entry);  ///< MPEG-1 and MPEG-2 video
    bool probeAvcStream(std::uint16_t pid, std::size_t entry);
    bool probeAudioStream(std::uint16_t pid, std::uint8_t streamType, std::size_t entry, bool lpcmMode);

    /// Finds `startOffset` anew and moves there. @return false without an open file
    bool seekToFirstPacket();

    /// Seconds from the first video record's first time stamp to the stream's last one in the file.
    /// @param seconds  out: 0 when no last time stamp was found
    bool firstVideoDuration(std::uint16_t pid, double& seconds);

    std::array<VideoProbeRecord, 5> videoStreams{};
    std::array<AudioProbeRecord, 8> audioStreams{};
    std::uint32_t videoStreamCount = 0;
    std::uint32_t audioStreamCount = 0;
    AvcStreamInfo avcStreamInfo{};

protected:
    /// Whole packets, two fewer than the read buffer holds; 0 for a buffer of less than three.
    std::uint32_t probeBlockSize() const noexcept;

    bool hasStreamOfType(std::uint8_t streamType) const noexcept;

    /// Forgets what earlier searches read: the file or the blocks are others now.
    void forgetSearches() noexcept;

    /// The same after a read or a move that failed: what was not found then may be there now.
    void forgetFailedSearches() noexcept;

private:
    enum class AudioResult { found, notInBlock, givenUp };

    template <class Parser>
    bool probeVideo(std::uint16_t pid, std::size_t entry, bool avc, Parser parser);
    template <class Parser>
    bool searchUnitStarts(std::uint16_t pid, VideoSearch& search, Parser& parser);
    template <class Parser>
    const std::uint8_t* findAccepted(const Block& block, std::uint16_t headerKey, VideoSearch& search, Parser& parser);
    bool probeAudioTypes(const PsiEntry& stream, std::size_t entry);
    bool searchAudio(std::uint16_t pid, std::uint8_t streamType, bool lpcmMode, AudioSearch& search);
    AudioResult findAudioHeader(const Block& block, std::uint16_t& headerKey, bool lpcmMode, std::uint8_t streamType,
                                AudioSearch& search);
    bool readBlockWith(std::uint16_t headerKey, std::uint32_t& number, std::uint32_t limit, Block& block);
    bool readKnownBlock(std::uint32_t number, Block& block) noexcept;
    bool readNewBlock(Block& block);
    bool resumeAtBlock(std::uint32_t number) noexcept;
    std::int64_t lastPtsInBlock(const Block& block, std::uint16_t headerKey) const noexcept;
    std::uint32_t lowFilePosition() const noexcept;

    CBlockIndex blockIndex;
    std::int64_t firstBlockOffset = 0;  // of the blocks in the index
    bool readFailed = false;            // since the searches were forgotten
    ProbeCache<VideoSearch> videoSearches;
    ProbeCache<AudioSearch> audioSearches;
};

}  // namespace zarnow
