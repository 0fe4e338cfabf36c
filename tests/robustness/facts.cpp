#include "tests/robustness/facts.h"

#include <cstdio>
#include <regex>

#include "analysis/stream_type.h"

namespace zarnow::test {

namespace {

template <class... Values>
std::string formatted(const char* format, Values... values)
{
    char text[400];
    std::snprintf(text, sizeof text, format, values...);
    return text;
}

std::string tablesText(const CProgramSelection& selection)
{
    std::string text;
    for (const PsiEntry& program : selection.programList)
        text += formatted("program %u: map 0x%04X\n", program.programNumber, program.pmtPid);
    for (const PsiEntry& stream : selection.streamList)
        text += formatted("stream 0x%04X: type 0x%02X, map 0x%04X, program %u\n", stream.pid, stream.streamType,
                          stream.pmtPid, stream.programNumber);
    return text;
}

std::string mpegText(const VideoProbeRecord& record)
{
    std::string text = formatted(" profile %u level %u vbv %u frame %u rate %.6f bits %u pels %u %u header ",
                                 record.profile, record.level, record.vbvBufferBytes, record.frameTicks90k,
                                 record.frameRate, record.bitRate, record.pelsPerMeterX, record.pelsPerMeterY);
    for (std::size_t i = 0; i < record.sequenceHeaderLength && i < record.sequenceHeader.size(); ++i)
        text += formatted("%02X", record.sequenceHeader[i]);
    return text;
}

std::string recordText(const VideoProbeRecord& record)
{
    return formatted("video 0x%04X: id 0x%02X type 0x%02X %ux%u frame %lld aspect %u:%u progressive %u", record.pid,
                     record.streamId, record.streamType, record.codedWidth, record.codedHeight,
                     static_cast<long long>(record.avgTimePerFrame), record.aspectX, record.aspectY,
                     record.progressive) +
           (record.streamType == stream_type::kAvc ? "" : mpegText(record));
}

std::string recordText(const AudioProbeRecord& record)
{
    return formatted("audio 0x%04X: id 0x%02X type 0x%02X layer %u rate %u bytes/s %u lpcm %u channels %u bits %u",
                     record.pid, record.streamId, record.streamType, record.layer, record.sampleRate,
                     record.avgBytesPerSec, record.isLpcm, record.channels, record.bitsPerSample);
}

template <class Records>
std::string recordsText(const Records& records)
{
    std::string text;
    for (const auto& record : records) {
        if (record.pid != 0)
            text += "  " + recordText(record) + formatted(" at %u\n", record.filePosition);
    }
    return text;
}

std::string avcText(const AvcStreamInfo& info)
{
    return formatted("  avc: profile %u level %u aspect %u sar %u:%u refs %u slices %u run %u gop %u", info.profile_idc,
                     info.level_idc, info.aspect_ratio_idc, info.sarWidthLow, info.sarHeightLow, info.num_ref_frames,
                     info.slicesPerPicture, info.bFrameRun, info.gopPictureCount) +
           formatted(" frames only %u mbaff %u cabac %u hrd %u %u fixed %u timing %u rate %u", info.frame_mbs_only_flag,
                     info.mb_adaptive_frame_field_flag, info.entropy_coding_mode_flag,
                     info.nal_hrd_parameters_present_flag, info.vcl_hrd_parameters_present_flag,
                     info.fixed_frame_rate_flag, info.timing_info_present_flag, info.frameRateTimes100) +
           formatted(" cpb %u delay %u of %u, offset %u\n  %u bit/s, on average %u\n", info.hrdCpbSize,
                     info.initialCpbRemovalDelay, info.initialCpbRemovalDelayLength, info.timeOffsetLength,
                     info.hrdBitRate, info.estimatedAverageBitRate);
}

}  // namespace

std::string allFacts(CProgramSelection& selection)
{
    if (!selection.analysed)
        return "not analysed\n";
    std::string text = formatted("packets of %u bytes\n", selection.packetSize) + tablesText(selection);
    for (std::uint32_t i = 0; selection.selectProgram(i); ++i) {
        text += programName(selection.currentProgramNumber) + "\n" + recordsText(selection.videoStreams) +
                recordsText(selection.audioStreams);
        for (const PsiEntry& stream : selection.streamList) {
            std::string words;
            if (stream.belongsTo(selection.currentPmtPid, selection.currentProgramNumber) &&
                selection.describeStream(stream.streamType, stream.pid, words))
                text += "  " + words + "\n";
        }
        text += formatted("  %.6f seconds from offset %u\n", selection.durationSeconds, selection.startOffset);
        AvcStreamInfo info;
        if (selection.readVideoInfo(info))
            text += avcText(info);
    }
    selection.selectProgram(0);
    return text;
}

std::string withoutPlaces(const std::string& facts)
{
    static const std::regex places("packets of .*| at \\d+|.* bit/s.*|[0-9.]+ seconds from offset \\d+");
    return std::regex_replace(facts, places, "");
}

}  // namespace zarnow::test
