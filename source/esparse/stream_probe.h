/// @file
/// Reads the headers of the selected program's elementary streams from the file.
#pragma once

#include <array>

#include "analysis/file_scan.h"
#include "esparse/probe_records.h"

namespace zarnow {

/// Every probe begins at the first packet and reads blocks of whole packets until a header parser accepts one, the
/// file ends, or the stop flag is set.
class CStreamProbe : public CFileScan
{
public:
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

private:
    enum class AudioSearch { found, notInBlock, givenUp };

    template <class Parser>
    bool probeUnitStarts(std::uint16_t pid, VideoProbeRecord& record, Parser parser);
    template <class Parser>
    const std::uint8_t* findAccepted(const Block& block, std::uint16_t headerKey, Parser& parser);
    bool probeAudioTypes(const PsiEntry& stream, std::size_t entry);
    AudioSearch findAudioHeader(const Block& block, std::uint16_t& headerKey, bool lpcmMode, std::uint8_t streamType,
                                AudioProbeRecord& record);
    std::int64_t lastPtsInBlock(const Block& block, std::uint16_t headerKey) const noexcept;
    std::uint32_t lowFilePosition() const noexcept;
};

}  // namespace zarnow
