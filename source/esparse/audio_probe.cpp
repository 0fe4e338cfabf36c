#include "analysis/stream_type.h"
#include "esparse/stream_search.h"

namespace zarnow {

bool CStreamProbe::probeAudioStreams()
{
    if (!file.isOpen())
        return false;
    for (AudioProbeRecord& record : audioStreams)
        record.pid = 0;

    std::size_t filled = 0;
    for (const PsiEntry& stream : streamList) {
        if (!stream.belongsTo(currentPmtPid, currentProgramNumber) || !stream_type::isAudio(stream.streamType))
            continue;
        if (filled == audioStreams.size())
            break;
        if (probeAudioTypes(stream, filled))
            ++filled;
    }
    audioStreamCount = static_cast<std::uint32_t>(filled);
    return filled > 0;
}

bool CStreamProbe::probeAudioTypes(const PsiEntry& stream, std::size_t entry)
{
    if (probeAudioStream(stream.pid, stream.streamType, entry, false))
        return true;
    return stream_type::isPrivateAudio(stream.streamType) &&
           probeAudioStream(stream.pid, stream.streamType, entry, true);
}

bool CStreamProbe::probeAudioStream(std::uint16_t pid, std::uint8_t streamType, std::size_t entry, bool lpcmMode)
{
    const CAudioSearch& search = searchFor(audioSearches, pid, streamType, lpcmMode);
    if (!readUntilEnded(audioSearches, search))
        return false;
    search.applyTo(audioStreams[entry]);
    return search.found();
}

void CStreamProbe::addListedStreams(CSearchPass<CAudioSearch>& pass)
{
    for (const PsiEntry& stream : streamList) {
        if (!stream_type::isAudio(stream.streamType))
            continue;
        pass.add(stream.pid, stream.streamType, false);
        if (stream_type::isPrivateAudio(stream.streamType))
            pass.add(stream.pid, stream.streamType, true);
    }
}

}  // namespace zarnow
