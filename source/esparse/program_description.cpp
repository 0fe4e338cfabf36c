#include <algorithm>
#include <array>
#include <cstdio>
#include <span>

#include "analysis/media_clock.h"
#include "analysis/stream_type.h"
#include "esparse/program_selection.h"

namespace zarnow {

namespace {

constexpr std::size_t kListedRecords = 3;  // the first records of each kind that count as listed

enum class Listed { always, asVideo, asAudio };

struct StreamText
{
    std::uint8_t streamType;
    Listed condition;
    const char* text;
};

// AAC and AVC streams are described even when probing did not accept them, all others only when it did.
constexpr std::array kStreamTexts{
    StreamText{stream_type::kMpeg1Video, Listed::asVideo, "MPEG1 Video"},
    StreamText{stream_type::kMpeg2Video, Listed::asVideo, "MPEG2 Video"},
    StreamText{stream_type::kMpeg1Audio, Listed::asAudio, "MPEG1 Audio"},
    StreamText{stream_type::kMpeg2Audio, Listed::asAudio, "MPEG2 Audio"},
    StreamText{stream_type::kPrivateData, Listed::asAudio, "AC3"},
    StreamText{stream_type::kAdts, Listed::always, "MPEG2-ADTS Audio"},
    StreamText{stream_type::kLatm, Listed::always, "LATM Audio"},
    StreamText{stream_type::kAvc, Listed::always, "AVC (H.264) Video"},
    StreamText{stream_type::kFirstUserPrivate, Listed::asAudio, "AC3"},
};

template <class Record>
bool isListed(std::span<const Record> records, std::uint16_t pid) noexcept
{
    const auto first = records.first(kListedRecords);
    return pid != 0 && std::any_of(first.begin(), first.end(), [=](const Record& record) { return record.pid == pid; });
}

// Shares of the HRD bit rate and of the file's mean bit rate that stand for the video.
constexpr double kAverageShareOfHrd = 0.8;
constexpr double kVideoShareOfFile = 0.88;

}  // namespace

std::string programName(std::uint16_t programNumber)
{
    return "Program " + std::to_string(programNumber);
}

bool CProgramSelection::isListedAsVideo(std::uint16_t pid) const noexcept
{
    return isListed<VideoProbeRecord>(videoStreams, pid);
}

bool CProgramSelection::isListedAsAudio(std::uint16_t pid) const noexcept
{
    return isListed<AudioProbeRecord>(audioStreams, pid);
}

bool CProgramSelection::describeStream(std::uint8_t streamType, std::uint16_t pid, std::string& text) const
{
    text.clear();
    const std::uint8_t known = std::min(streamType, stream_type::kFirstUserPrivate);
    const auto entry = std::find_if(kStreamTexts.begin(), kStreamTexts.end(),
                                    [=](const StreamText& candidate) { return candidate.streamType == known; });
    if (entry == kStreamTexts.end() || (entry->condition == Listed::asVideo && !isListedAsVideo(pid)) ||
        (entry->condition == Listed::asAudio && !isListedAsAudio(pid)))
        return false;
    std::array<char, 16> suffix{};
    std::snprintf(suffix.data(), suffix.size(), " (0x%.4X)", static_cast<unsigned>(pid));
    text.append(entry->text).append(suffix.data());
    return true;
}

bool CProgramSelection::readVideoInfo(AvcStreamInfo& info)
{
    if (!hasStreamOfType(stream_type::kAvc))
        return false;
    const bool scanned = std::any_of(streamList.begin(), streamList.end(), [this](const PsiEntry& stream) {
        return stream.streamType == stream_type::kAvc && stream.belongsTo(currentPmtPid, currentProgramNumber) &&
               scanAvcGop(stream.pid);
    });
    if (scanned) {
        completeBitRates();
        info = avcStreamInfo;
    }
    seekToFirstPacket();
    return scanned;
}

void CProgramSelection::completeBitRates() noexcept
{
    if (avcStreamInfo.hrdBitRate == 0) {
        const double bytesPerSecond = static_cast<double>(fileSize) / durationSeconds;
        avcStreamInfo.hrdBitRate = truncateToUint32(bytesPerSecond * 8.0 * kVideoShareOfFile);
    }
    avcStreamInfo.estimatedAverageBitRate = truncateToUint32(avcStreamInfo.hrdBitRate * kAverageShareOfHrd);
}

}  // namespace zarnow
