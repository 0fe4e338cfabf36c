#include "tests/robustness/facts.h"

#include <algorithm>
#include <cstdio>

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

std::string hexText(const std::uint8_t* bytes, std::size_t count)
{
    std::string text;
    for (std::size_t i = 0; i < count; ++i)
        text += formatted("%02X", bytes[i]);
    return text;
}

std::string selectionText(CProgramSelection& selection)
{
    std::string text = programName(selection.currentProgramNumber) + "\n";
    for (const VideoProbeRecord& record : selection.videoStreams) {
        if (record.pid != 0)
            text += "  " + mediaText(record) + formatted(" format %u at %u\n", record.videoFormat, record.filePosition);
    }
    for (const AudioProbeRecord& record : selection.audioStreams) {
        if (record.pid != 0)
            text += "  " + mediaText(record) + formatted(" at %u\n", record.filePosition);
    }
    for (const PsiEntry& stream : selection.streamList) {
        std::string words;
        if (stream.belongsTo(selection.currentPmtPid, selection.currentProgramNumber) &&
            selection.describeStream(stream.streamType, stream.pid, words))
            text += "  " + words + "\n";
    }
    return text + formatted("  %.6f seconds from offset %u\n", selection.durationSeconds, selection.startOffset);
}

}  // namespace

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

std::string mediaText(const VideoProbeRecord& record)
{
    if (record.streamType == stream_type::kAvc)
        return formatted("video 0x%04X: id 0x%02X type 0x%02X %ux%u frame %lld aspect %u:%u progressive %u", record.pid,
                         record.streamId, record.streamType, record.codedWidth, record.codedHeight,
                         static_cast<long long>(record.avgTimePerFrame), record.aspectX, record.aspectY,
                         record.progressive);
    std::string text = formatted("video 0x%04X: id 0x%02X type 0x%02X profile %u level %u %ux%u vbv %u", record.pid,
                                 record.streamId, record.streamType, record.profile, record.level, record.codedWidth,
                                 record.codedHeight, record.vbvBufferBytes);
    text += formatted(" frame %u %lld rate %.6f bits %u pels %u %u aspect %u:%u progressive %u", record.frameTicks90k,
                      static_cast<long long>(record.avgTimePerFrame), record.frameRate, record.bitRate,
                      record.pelsPerMeterX, record.pelsPerMeterY, record.aspectX, record.aspectY, record.progressive);
    const std::size_t size = std::min<std::size_t>(record.sequenceHeaderLength, record.sequenceHeader.size());
    return text + " header " + hexText(record.sequenceHeader.data(), size);
}

std::string mediaText(const AudioProbeRecord& record)
{
    return formatted("audio 0x%04X: id 0x%02X type 0x%02X layer %u rate %u bytes/s %u lpcm %u channels %u bits %u",
                     record.pid, record.streamId, record.streamType, record.layer, record.sampleRate,
                     record.avgBytesPerSec, record.isLpcm, record.channels, record.bitsPerSample);
}

std::string structureText(const AvcStreamInfo& info)
{
    std::string text =
        formatted("avc: profile %u level %u aspect %u sar %u:%u refs %u slices %u run %u gop %u", info.profile_idc,
                  info.level_idc, info.aspect_ratio_idc, info.sarWidthLow, info.sarHeightLow, info.num_ref_frames,
                  info.slicesPerPicture, info.bFrameRun, info.gopPictureCount);
    text += formatted(" frames only %u mbaff %u cabac %u hrd %u %u fixed %u timing %u rate %u",
                      info.frame_mbs_only_flag, info.mb_adaptive_frame_field_flag, info.entropy_coding_mode_flag,
                      info.nal_hrd_parameters_present_flag, info.vcl_hrd_parameters_present_flag,
                      info.fixed_frame_rate_flag, info.timing_info_present_flag, info.frameRateTimes100);
    return text + formatted(" cpb %u delay %u of %u, offset %u", info.hrdCpbSize, info.initialCpbRemovalDelay,
                            info.initialCpbRemovalDelayLength, info.timeOffsetLength);
}

std::string allFacts(CProgramSelection& selection)
{
    if (!selection.analysed)
        return "not analysed\n";
    std::string text = formatted("packets of %u bytes\n", selection.packetSize) + tablesText(selection);
    for (std::uint32_t i = 0; selection.selectProgram(i); ++i) {
        text += selectionText(selection);
        AvcStreamInfo info;
        if (selection.readVideoInfo(info))
            text += "  " + structureText(info) +
                    formatted("\n  %u bit/s, on average %u\n", info.hrdBitRate, info.estimatedAverageBitRate);
    }
    selection.selectProgram(0);
    return text;
}

}  // namespace zarnow::test
