#include <algorithm>

#include "tools/common/formatted.h"
#include "tools/common/utf8.h"
#include "tools/tsgraph/media_type_text.h"
#include "tools/tsgraph/report.h"

namespace tsgraph {
namespace {

// What the filter reports while it has measured no duration.
constexpr double kUnknownDuration = 4.0e12;

std::string durationText(double seconds)
{
    return seconds >= kUnknownDuration ? std::string("unknown") : formatted("%.3f s", seconds);
}

std::string streamLine(const StreamFacts& stream)
{
    const std::string words = stream.description.empty() ? "(not described)" : stream.description;
    return formatted("  PID 0x%04X  ", unsigned{stream.pid}) + words + "\n";
}

std::string programLines(const ProgramFacts& program, std::size_t index)
{
    std::string text = formatted("Program %zu: ", index) + program.name +
                       formatted(", number %u, PMT PID 0x%04X%s\n", unsigned{program.programNumber},
                                 unsigned{program.pmtPid}, program.selected ? " (selected)" : "");
    for (const StreamFacts& stream : program.streams)
        text += streamLine(stream);
    return text;
}

std::string avcLines(const TarnwellVideoInfo& info)
{
    return formatted("AVC video: profile_idc %lu, level_idc %lu, %.2f frames/s, %s, reference frames: %u\n",
                     info.profile_idc, info.level_idc, static_cast<double>(info.frameRateTimes100) / 100.0,
                     info.entropy_coding_mode_flag != 0 ? "CABAC" : "CAVLC", unsigned{info.num_ref_frames}) +
           formatted("  slices per picture: %u, B pictures in a row: %u, pictures in the first GOP: %u, %s\n",
                     unsigned{info.slicesPerPicture}, unsigned{info.bFrameRun}, unsigned{info.gopPictureCount},
                     info.frame_mbs_only_flag != 0 ? "frames only" : "fields or frames") +
           formatted("  bit rate %lu bit/s (average %lu), buffer %lu bit\n", info.hrdBitRate,
                     info.estimatedAverageBitRate, info.hrdCpbSize);
}

std::string mappingText(const std::vector<PID_MAP>& pids)
{
    std::string text;
    for (const PID_MAP& entry : pids) {
        const char* content =
            entry.MediaSampleContent == MEDIA_TRANSPORT_PAYLOAD ? "transport payload" : "elementary stream";
        text += formatted("%sPID 0x%04lX, %s", text.empty() ? "" : "; ", entry.ulPID, content);
    }
    return text.empty() ? "no PID" : text;
}

std::string sampleText(const AM_MEDIA_TYPE& type)
{
    return formatted("%s samples, sample size %lu, %s",
                     type.bFixedSizeSamples != FALSE ? "fixed-size" : "variable-size", type.lSampleSize,
                     type.bTemporalCompression != FALSE ? "temporal compression" : "no temporal compression");
}

std::string pinLines(const PinFacts& facts)
{
    return "  " + toUtf8(facts.name) + ": " + mappingText(facts.pids) + "\n    " + describeMediaType(facts.type) +
           "\n    " + sampleText(facts.type) + "\n";
}

std::string writtenLine(const PlayedPin& pin)
{
    const std::string name = "  " + toUtf8(pin.facts.name);
    const std::string file = pin.outputFile.empty() ? "" : " in " + toUtf8(pin.outputFile);
    const char* end = pin.writer->reachedEnd() ? "" : " (the end of the stream was not reached)";
    return name + formatted(": %llu bytes", static_cast<unsigned long long>(pin.writer->bytes())) + file + end + "\n";
}

}  // namespace

std::string sourceReport(const std::wstring& file, const SourceFacts& facts)
{
    std::string text = toUtf8(file) + "\nDuration: " + durationText(facts.durationSeconds) + "\n";
    for (std::size_t i = 0; i < facts.programs.size(); ++i)
        text += programLines(facts.programs[i], i);
    return facts.avc ? text + avcLines(*facts.avc) : text;
}

std::string pinsReport(const PlayGraph& graph)
{
    std::string text = graph.usesStandIn() ? "Demultiplexer pins (stand-in demultiplexer):\n" : "Demultiplexer pins:\n";
    for (const PlayedPin& pin : graph.pins())
        text += pinLines(pin.facts);
    return graph.pins().empty() ? text + "  none\n" : text;
}

std::string playReport(const PlayGraph& graph, const PlayResult& result)
{
    const double megabytes = static_cast<double>(result.bytes) / 1e6;
    std::string text = formatted(
        "Played %llu samples, %llu bytes in %.3f s (%.1f MB/s)\n", static_cast<unsigned long long>(result.samples),
        static_cast<unsigned long long>(result.bytes), result.seconds, megabytes / std::max(result.seconds, 1e-9));
    for (const PlayedPin& pin : graph.pins())
        text += writtenLine(pin);
    return text;
}

}  // namespace tsgraph
