#include "analysis/stream_type.h"
#include "esparse/stream_search.h"

namespace zarnow {

bool CStreamProbe::probeVideoStreams()
{
    if (!file.isOpen())
        return false;
    for (VideoProbeRecord& record : videoStreams)
        record.pid = 0;
    const bool mpeg = hasStreamOfType(stream_type::kMpeg2Video) || hasStreamOfType(stream_type::kMpeg1Video);
    if (!mpeg && !hasStreamOfType(stream_type::kAvc))
        return false;

    std::size_t filled = 0;
    for (const PsiEntry& stream : streamList) {
        const bool wanted = mpeg ? stream_type::isMpegVideo(stream.streamType) : stream.streamType == stream_type::kAvc;
        if (!wanted || !stream.belongsTo(currentPmtPid, currentProgramNumber))
            continue;
        if (filled == videoStreams.size())
            break;
        if (mpeg ? probeVideoStream(stream.pid, filled) : probeAvcStream(stream.pid, filled))
            videoStreams[filled++].streamType = stream.streamType;
    }
    videoStreamCount = static_cast<std::uint32_t>(filled);
    return filled > 0;
}

bool CStreamProbe::probeVideoStream(std::uint16_t pid, std::size_t entry)
{
    return probeVideo(pid, entry, false);
}

bool CStreamProbe::probeAvcStream(std::uint16_t pid, std::size_t entry)
{
    return probeVideo(pid, entry, true);
}

bool CStreamProbe::probeVideo(std::uint16_t pid, std::size_t entry, bool avc)
{
    const CVideoSearch& search = searchFor(videoSearches, pid, avc);
    if (!readUntilEnded(videoSearches, search))
        return false;
    search.applyTo(videoStreams[entry], avcStreamInfo);
    return search.found();
}

void CStreamProbe::addListedStreams(CSearchPass<CVideoSearch>& pass)
{
    for (const PsiEntry& stream : streamList) {
        if (stream_type::isVideo(stream.streamType))
            pass.add(stream.pid, stream.streamType == stream_type::kAvc);
    }
}

}  // namespace zarnow
