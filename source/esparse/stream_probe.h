/// @file
/// Reads the headers of the selected program's elementary streams from the file.
#pragma once

#include <array>

#include "analysis/file_scan.h"
#include "esparse/search_pass.h"

namespace zarnow {

/// A probe searches blocks of whole packets, from the first packet on, until a header parser accepts one, the file
/// ends, or the stop flag is set. Within one load the file is read once for all searches of a kind: the block that one
/// of them waits for is shown to every other.
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

    /// The same after a search that a failed read ended, or a lack of memory: it may succeed now.
    void forgetFailedSearches() noexcept;

private:
    static constexpr std::uint32_t kMaxAudioBlocks = 24;  // an audio header that has not come by then is not waited for

    bool probeVideo(std::uint16_t pid, std::size_t entry, bool avc);
    bool probeAudioTypes(const PsiEntry& stream, std::size_t entry);
    void addListedStreams(CSearchPass<CVideoSearch>& pass);
    void addListedStreams(CSearchPass<CAudioSearch>& pass);
    template <class Search, class... Arguments>
    Search& searchFor(CSearchPass<Search>& pass, Arguments... arguments);
    template <class Search>
    bool readUntilEnded(CSearchPass<Search>& pass, const Search& search);
    std::int64_t lastPtsInBlock(const Block& block, std::uint16_t headerKey, bool& dense) const noexcept;
    bool mayHoldPts(const Block& block, std::uint16_t headerKey) const noexcept;
    std::int64_t ptsOfPacket(const Block& block, const std::uint8_t* packet) const noexcept;

    CSearchPass<CVideoSearch> videoSearches;
    CSearchPass<CAudioSearch> audioSearches{kMaxAudioBlocks};
    bool searchFailed = false;  // since the searches were forgotten
};

}  // namespace zarnow
