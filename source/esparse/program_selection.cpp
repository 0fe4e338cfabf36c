#include "esparse/program_selection.h"

#include <algorithm>

#include "analysis/stream_type.h"

namespace zarnow {

namespace {

constexpr std::uint16_t kDefaultProgramNumber = 1;

}  // namespace

void CProgramSelection::resetAnalysis() noexcept
{
    programList.clear();
    streamList.clear();
    videoStreamCount = 0;
    audioStreamCount = 0;
    analysed = false;
    startOffset = 0;
    currentPmtPid = 0;
    currentProgramNumber = 0;
    avcStreamInfo = {};
    forgetSearches();
}

LoadResult CProgramSelection::loadFile(const CTransportFile::PathChar* path)
{
    resetAnalysis();
    if (path != nullptr) {
        if (const std::uint32_t error = file.open(path); error != 0)
            return {.status = LoadResult::Status::cannotOpen, .systemError = error};
    }
    if (!file.size(fileSize))
        fileSize = 0;
    if (fileSize == 0)
        return {.status = LoadResult::Status::noData};
    try {
        analysed = analyse();
    } catch (...) {
        analysed = false;  // a file that needs more memory than there is counts as not analysable
    }
    if (!analysed) {
        file.moveTo(0);
        startOffset = 0;
    }
    configureDemultiplexer();
    return {};
}

bool CProgramSelection::analyse()
{
    if (!detectFilePacketSize())
        return false;
    if (useDefaultPids)
        fillTablesFromDefaults();
    else if (!scanProgramTables())
        return false;
    analysed = true;
    if (!useDefaultPids)
        pruneUnplayablePrograms();
    selectProgram(0);
    rewindToData();
    return !abortScan;
}

void CProgramSelection::setDefaultStreams(std::uint16_t pmtPid, std::uint16_t videoPid, std::uint16_t videoStreamType,
                                          std::uint16_t audioPid, std::uint16_t audioStreamType) noexcept
{
    constexpr DefaultPids kDefaults;
    useDefaultPids = videoPid != 0 && audioPid != 0;
    defaultPids = {.pmtPid = pmtPid != 0 ? pmtPid : kDefaults.pmtPid,
                   .videoPid = videoPid,
                   .audioPid = audioPid,
                   .videoStreamType = videoStreamType,
                   .audioStreamType = audioStreamType != 0 ? audioStreamType : kDefaults.audioStreamType};
}

void CProgramSelection::fillTablesFromDefaults()
{
    const std::uint16_t pmtPid = defaultPids.pmtPid;
    const auto stream = [=](std::uint16_t pid, std::uint16_t type) {
        return PsiEntry{.pid = pid,
                        .pmtPid = pmtPid,
                        .streamType = static_cast<std::uint8_t>(type),
                        .reserved = 0,
                        .programNumber = kDefaultProgramNumber};
    };
    programList.push_back({.pid = pmtPid, .pmtPid = pmtPid, .programNumber = kDefaultProgramNumber});
    streamList.push_back({});
    streamList.push_back(stream(defaultPids.videoPid, defaultPids.videoStreamType));
    streamList.push_back(stream(defaultPids.audioPid, defaultPids.audioStreamType));
}

void CProgramSelection::pruneUnplayablePrograms()
{
    if (programList.size() < 2)
        return;
    for (std::uint32_t i = 0; i < programList.size();) {
        const PsiEntry program = programList[i];
        probeProgram(program);
        const bool playable = isPlayable(program);  // asked first: the selection may be another one afterwards
        finishSelection();
        if (abortScan)
            return;
        const bool removed = !playable && removeProgram(i, program.pmtPid, program.programNumber);
        i = removed ? 0 : i + 1;
    }
}

bool CProgramSelection::isPlayable(const PsiEntry& program) const noexcept
{
    return std::any_of(streamList.begin(), streamList.end(), [&](const PsiEntry& stream) {
        if (!stream.belongsTo(program.pmtPid, program.programNumber))
            return false;
        return (stream_type::isVideo(stream.streamType) && isListedAsVideo(stream.pid)) ||
               (stream_type::isAudio(stream.streamType) && isListedAsAudio(stream.pid));
    });
}

bool CProgramSelection::selectProgram(std::uint32_t index)
{
    if (index >= programList.size())
        return false;
    forgetFailedSearches();
    probeProgram(programList[index]);
    if (videoStreams[0].pid != 0)
        firstVideoDuration(videoStreams[0].pid, durationSeconds);
    finishSelection();
    return true;
}

bool CProgramSelection::selectProgramByNumber(std::uint16_t pmtPid, std::uint16_t programNumber)
{
    const auto program = std::find_if(programList.begin(), programList.end(),
                                      [=](const PsiEntry& entry) { return entry.belongsTo(pmtPid, programNumber); });
    if (program == programList.end())
        return false;
    forgetFailedSearches();
    probeProgram(*program);
    finishSelection();
    return true;
}

void CProgramSelection::probeProgram(const PsiEntry& program)
{
    currentPmtPid = program.pmtPid;
    currentProgramNumber = program.programNumber;
    videoStreamCount = 0;
    audioStreamCount = 0;
    probeVideoStreams();
    probeAudioStreams();
}

void CProgramSelection::finishSelection()
{
    rewindToData();
    configureDemultiplexer();
}

bool CProgramSelection::findCurrentProgram(std::uint32_t& index) const noexcept
{
    const auto current = std::find_if(programList.begin(), programList.end(), [this](const PsiEntry& entry) {
        return entry.belongsTo(currentPmtPid, currentProgramNumber);
    });
    if (current == programList.end())
        return false;
    index = static_cast<std::uint32_t>(current - programList.begin());
    return true;
}

}  // namespace zarnow
