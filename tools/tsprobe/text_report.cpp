#include "tools/tsprobe/text_report.h"

#include <algorithm>
#include <vector>

#include "analysis/media_clock.h"
#include "analysis/stream_type.h"
#include "tools/tsprobe/text_tables.h"

namespace tsprobe {

namespace {

using zarnow::AudioProbeRecord;
using zarnow::AvcStreamInfo;
using zarnow::PsiEntry;
using zarnow::VideoProbeRecord;
namespace stream_type = zarnow::stream_type;

using Words = std::vector<std::string>;

std::string joined(const Words& words)
{
    std::string text;
    for (const std::string& word : words)
        text += (text.empty() ? "" : ", ") + word;
    return text;
}

/// A name, padded into a column, and a value.
std::string line(const std::string& name, const std::string& value)
{
    constexpr std::size_t kColumn = 12;
    return "  " + name + std::string(kColumn - std::min(name.size(), kColumn - 1), ' ') + value + "\n";
}

/// A sequence extension is kept behind the header of 12 bytes and its matrices. MPEG-1 video has none, whatever the
/// program map says that it is.
bool hasExtension(const VideoProbeRecord& record)
{
    constexpr std::uint32_t kPlainHeader = 12, kMatrix = 64;
    return record.sequenceHeaderLength % kMatrix > kPlainHeader;
}

Words mpegVideoWords(const VideoProbeRecord& record)
{
    Words words{frameRateText(record.frameRate)};
    if (hasExtension(record)) {
        words.push_back(mpegProfileName(record.profile) + " at " + mpegLevelName(record.level));
        words.push_back(record.progressive != 0 ? "progressive" : "interlaced");
    }
    words.push_back(record.bitRate != 0 ? bitRateText(record.bitRate) : "variable bit rate");
    words.push_back("VBV " + withSeparators(record.vbvBufferBytes) + " bytes");
    return words;
}

Words avcVideoWords(const VideoProbeRecord& record)
{
    Words words;
    if (record.avgTimePerFrame > 0)
        words.push_back(frameRateText(zarnow::kUnitsPerSecond / static_cast<double>(record.avgTimePerFrame)));
    words.push_back(record.progressive != 0 ? "progressive" : "interlaced");
    return words;
}

std::string videoText(const VideoProbeRecord& record)
{
    Words words{std::to_string(record.codedWidth) + " x " + std::to_string(record.codedHeight)};
    if (record.aspectX != 0)
        words.push_back(std::to_string(record.aspectX) + ":" + std::to_string(record.aspectY));
    const Words more = record.streamType == stream_type::kAvc ? avcVideoWords(record) : mpegVideoWords(record);
    words.insert(words.end(), more.begin(), more.end());
    return joined(words);
}

std::string audioText(const AudioProbeRecord& record)
{
    Words words;
    if (record.isLpcm != 0)
        words.push_back("LPCM, " + std::to_string(record.bitsPerSample) + " bits");
    else if (stream_type::isPrivateAudio(record.streamType))
        words.push_back("AC-3");
    if (record.layer != 0)
        words.push_back("layer " + std::string(record.layer, 'I'));
    if (record.sampleRate != 0)
        words.push_back(std::to_string(record.sampleRate) + " Hz");
    words.push_back(counted(record.channels, "channel"));
    if (record.avgBytesPerSec != 0)
        words.push_back(bitRateText(record.avgBytesPerSec * 8.0));
    return joined(words);
}

/// What probing found out about a stream; empty where it found nothing.
std::string detailOf(const Inspection& inspection, std::uint16_t pid)
{
    for (const VideoProbeRecord& record : inspection.video()) {
        if (record.pid == pid)
            return videoText(record);
    }
    for (const AudioProbeRecord& record : inspection.audio()) {
        if (record.pid == pid)
            return audioText(record);
    }
    return {};
}

std::string streamLine(const Inspection& inspection, const PsiEntry& stream, bool selected)
{
    constexpr std::size_t kColumn = 20;
    std::string text = "    " + hexPid(stream.pid) + "  " + streamTypeName(stream.streamType);
    const std::string detail = selected ? detailOf(inspection, stream.pid) : "";
    const bool silent = selected && detail.empty() &&
                        (stream_type::isVideo(stream.streamType) || stream_type::isAudio(stream.streamType));
    if (detail.empty() && !silent)
        return text + "\n";
    text += std::string(kColumn > text.size() - 12 ? kColumn - (text.size() - 12) : 1, ' ');
    return text + (silent ? "(no header found)" : detail) + "\n";
}

std::string programText(const Inspection& inspection, std::uint32_t index)
{
    const zarnow::CProgramSelection& state = inspection.state();
    const PsiEntry& program = state.programList[index];
    const bool selected = inspection.currentIndex() == index;
    std::string text = "  " + zarnow::programName(program.programNumber) + " (index " + std::to_string(index) +
                       ", PMT PID " + hexPid(program.pmtPid) + ")" + (selected ? ", selected" : "") + "\n";
    for (const PsiEntry& stream : state.streamList) {
        if (stream.belongsTo(program.pmtPid, program.programNumber))
            text += streamLine(inspection, stream, selected);
    }
    return text;
}

std::string avcText(const AvcStreamInfo& info)
{
    Words words{avcProfileName(info.profile_idc) + " at level " + avcLevelName(info.level_idc),
                info.entropy_coding_mode_flag != 0 ? "CABAC" : "CAVLC",
                counted(info.num_ref_frames, "reference frame"),
                counted(info.slicesPerPicture, "slice") + " per picture",
                counted(info.bFrameRun, "B picture") + " in a row",
                counted(info.gopPictureCount, "picture") + " in the first GOP"};
    if (info.frameRateTimes100 != 0)
        words.push_back(frameRateText(info.frameRateTimes100 / 100.0) +
                        (info.fixed_frame_rate_flag != 0 ? " (fixed)" : ""));
    std::string text = line("AVC", joined(words));
    const bool coded = info.nal_hrd_parameters_present_flag != 0 || info.vcl_hrd_parameters_present_flag != 0;
    text += line("AVC rate", bitRateText(info.hrdBitRate) + (coded ? " (HRD)" : " (estimated from the file)") +
                                 ", average about " + bitRateText(info.estimatedAverageBitRate) +
                                 (info.hrdCpbSize != 0 ? ", CPB " + withSeparators(info.hrdCpbSize) + " bits" : ""));
    return text;
}

std::string durationLine(const Inspection& inspection)
{
    const bool measured = !inspection.video().empty() && inspection.state().durationSeconds != 0.0;
    return line("Duration", measured ? durationText(inspection.state().durationSeconds) : "not known");
}

}  // namespace

std::string textReport(Inspection& inspection)
{
    const zarnow::CProgramSelection& state = inspection.state();
    std::string text = inspection.path() + "\n";
    text += line("Size", withSeparators(static_cast<std::uint64_t>(state.fileSize)) + " bytes");
    if (!state.analysed)
        return text + line("Analysis", "failed: " + inspection.reason());
    text += line("Packets",
                 std::to_string(state.packetSize) + " bytes, the first at offset " + std::to_string(state.startOffset));
    text += durationLine(inspection);
    for (std::uint32_t index = 0; index < state.programList.size(); ++index)
        text += programText(inspection, index);
    if (inspection.avc())
        text += avcText(*inspection.avc());
    return text;
}

}  // namespace tsprobe
