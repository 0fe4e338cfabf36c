#include "tools/tsprobe/json_report.h"

#include <nlohmann/json.hpp>

namespace tsprobe {

namespace {

using Json = nlohmann::ordered_json;
using zarnow::AudioProbeRecord;
using zarnow::AvcStreamInfo;
using zarnow::PsiEntry;
using zarnow::VideoProbeRecord;

template <class Value>
Json orNull(const std::optional<Value>& value)
{
    return value ? Json(*value) : Json(nullptr);
}

std::string hexOf(std::span<const std::uint8_t> bytes)
{
    constexpr std::string_view kDigits = "0123456789abcdef";
    std::string text;
    for (const std::uint8_t byte : bytes) {
        text += kDigits[byte >> 4];
        text += kDigits[byte & 0x0F];
    }
    return text;
}

/// The JSON of every item, in order.
template <class Items, class Make>
Json listOf(const Items& items, Make make)
{
    Json list = Json::array();
    for (const auto& item : items)
        list.push_back(make(item));
    return list;
}

Json currentProgram(const Inspection& inspection)
{
    return {{"index", orNull(inspection.currentIndex())},
            {"pmtPid", inspection.state().currentPmtPid},
            {"programNumber", inspection.state().currentProgramNumber}};
}

Json programs(const std::vector<PsiEntry>& entries)
{
    Json list = Json::array();
    for (const PsiEntry& entry : entries) {
        list.push_back({{"index", list.size()},
                        {"pmtPid", entry.pmtPid},
                        {"programNumber", entry.programNumber},
                        {"name", zarnow::programName(entry.programNumber)}});
    }
    return list;
}

Json stream(const PsiEntry& entry)
{
    return {{"pid", entry.pid},
            {"pmtPid", entry.pmtPid},
            {"streamType", entry.streamType},
            {"programNumber", entry.programNumber}};
}

Json video(const VideoProbeRecord& record)
{
    return {{"pid", record.pid},
            {"streamId", record.streamId},
            {"streamType", record.streamType},
            {"filePosition", record.filePosition},
            {"profile", record.profile},
            {"level", record.level},
            {"codedWidth", record.codedWidth},
            {"codedHeight", record.codedHeight},
            {"vbvBufferBytes", record.vbvBufferBytes},
            {"frameTicks90k", record.frameTicks90k},
            {"avgTimePerFrame", record.avgTimePerFrame},
            {"frameRate", record.frameRate},
            {"bitRate", record.bitRate},
            {"pelsPerMeterX", record.pelsPerMeterX},
            {"pelsPerMeterY", record.pelsPerMeterY},
            {"aspectX", record.aspectX},
            {"aspectY", record.aspectY},
            {"firstPts", static_cast<std::int64_t>(record.firstPts)},
            {"progressive", record.progressive},
            {"videoFormat", record.videoFormat},
            {"sequenceHeader", hexOf(std::span(record.sequenceHeader).first(record.sequenceHeaderLength))}};
}

Json audio(const AudioProbeRecord& record)
{
    return {{"pid", record.pid},
            {"streamId", record.streamId},
            {"layer", record.layer},
            {"filePosition", record.filePosition},
            {"sampleRate", record.sampleRate},
            {"avgBytesPerSec", record.avgBytesPerSec},
            {"streamType", record.streamType},
            {"isLpcm", record.isLpcm},
            {"channels", record.channels},
            {"bitsPerSample", record.bitsPerSample}};
}

Json descriptions(const zarnow::CProgramSelection& state)
{
    Json list = Json::array();
    if (!state.analysed)
        return list;
    for (const PsiEntry& entry : state.streamList) {
        if (!entry.belongsTo(state.currentPmtPid, state.currentProgramNumber))
            continue;
        std::string text;
        const bool described = state.describeStream(entry.streamType, entry.pid, text);
        list.push_back({{"index", list.size()}, {"pid", entry.pid}, {"text", described ? Json(text) : Json(nullptr)}});
    }
    return list;
}

Json avc(const AvcStreamInfo& info)
{
    return {{"profile_idc", info.profile_idc},
            {"level_idc", info.level_idc},
            {"aspect_ratio_idc", info.aspect_ratio_idc},
            {"sarWidthLow", info.sarWidthLow},
            {"sarHeightLow", info.sarHeightLow},
            {"num_ref_frames", info.num_ref_frames},
            {"slicesPerPicture", info.slicesPerPicture},
            {"bFrameRun", info.bFrameRun},
            {"gopPictureCount", info.gopPictureCount},
            {"frame_mbs_only_flag", info.frame_mbs_only_flag},
            {"mb_adaptive_frame_field_flag", info.mb_adaptive_frame_field_flag},
            {"entropy_coding_mode_flag", info.entropy_coding_mode_flag},
            {"nal_hrd_parameters_present_flag", info.nal_hrd_parameters_present_flag},
            {"vcl_hrd_parameters_present_flag", info.vcl_hrd_parameters_present_flag},
            {"fixed_frame_rate_flag", info.fixed_frame_rate_flag},
            {"timing_info_present_flag", info.timing_info_present_flag},
            {"frameRateTimes100", info.frameRateTimes100},
            {"estimatedAverageBitRate", info.estimatedAverageBitRate},
            {"hrdBitRate", info.hrdBitRate},
            {"hrdCpbSize", info.hrdCpbSize},
            {"initialCpbRemovalDelayLength", info.initialCpbRemovalDelayLength},
            {"timeOffsetLength", info.timeOffsetLength},
            {"initialCpbRemovalDelay", info.initialCpbRemovalDelay}};
}

}  // namespace

std::string jsonReport(const Inspection& inspection)
{
    const zarnow::CProgramSelection& state = inspection.state();
    const Json report = {{"file", inspection.path()},
                         {"fileSize", state.fileSize},
                         {"packetSize", state.packetSize},
                         {"analysed", state.analysed},
                         {"startOffset", state.startOffset},
                         {"durationSeconds", state.durationSeconds},
                         {"currentProgram", currentProgram(inspection)},
                         {"programs", programs(state.programList)},
                         {"streams", listOf(state.streamList, stream)},
                         {"video", listOf(inspection.video(), video)},
                         {"audio", listOf(inspection.audio(), audio)},
                         {"descriptions", descriptions(state)},
                         {"avc", inspection.avc() ? avc(*inspection.avc()) : Json(nullptr)}};
    return report.dump(2, ' ', false, Json::error_handler_t::replace);
}

}  // namespace tsprobe
