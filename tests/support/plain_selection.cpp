#include "tests/support/plain_selection.h"

#include <algorithm>
#include <cstring>
#include <utility>

#include "analysis/stream_type.h"
#include "esparse/audio_header.h"
#include "esparse/avc_sequence_header.h"
#include "esparse/mpeg_video_header.h"

namespace zarnow::test {

void PlainSelection::plainLoad(const CTransportFile::PathChar* path)
{
    resetAnalysis();
    analysed = file.open(path) == 0 && detectFilePacketSize() && (useDefaultPids ? defaultTables() : plainTables());
    if (!analysed) {
        startOffset = 0;
        return;
    }
    if (programList.size() >= 2)
        prune();
    if (!programList.empty())
        plainSelectProgram(programList[0], true);
    rewindToData();
}

bool PlainSelection::defaultTables()
{
    const auto& [map, video, audio, videoType, audioType] = defaultPids;
    const auto stream = [map = map](std::uint16_t pid, std::uint16_t type) {
        return PsiEntry{pid, map, static_cast<std::uint8_t>(type), 0, 1};
    };
    programList = {stream(map, 0)};
    streamList = {{}, stream(video, videoType), stream(audio, audioType)};
    return true;
}

bool PlainSelection::plainTables()
{
    const std::uint32_t size = readBufferSize > 100 ? readBufferSize - 100 : 0;
    if (size < packetSize || !rewindToData() || !readAssociation(size) || !readMaps(size))
        return false;
    for (const PsiEntry& program : programList)
        removeDuplicateStreams(program.pmtPid, program.programNumber);
    return true;
}

bool PlainSelection::readAssociation(std::uint32_t size)
{
    bool searching = true;
    Block block{{}, true};
    while (searching && block.full && readBlock(size, block))
        parsePat(block.data(), block.length(), searching);
    return !searching;
}

bool PlainSelection::readMaps(std::uint32_t size)
{
    const auto sharesFirst = [&](const PsiEntry& program) { return program.pmtPid == programList[0].pmtPid; };
    const bool byNumber = std::count_if(programList.begin(), programList.end(), sharesFirst) > 1;
    auto remaining = static_cast<int>(programList.size()) - 1;
    std::size_t current = 0;
    bool searching = true, found = false, wrapped = false;
    rewindToData();
    while (searching) {
        const PsiEntry program = programList[current];
        const std::uint16_t key = headerKeyOfPid(program.pmtPid);
        Block block;
        readBlock(size, block);
        if (byNumber)
            file.moveBy(-186);
        const bool parsed =
            byNumber ? parsePmtForProgram(block.data(), block.length(), key, program.programNumber, searching)
                     : parsePmt(block.data(), block.length(), key, searching);
        found = found || parsed;
        if (block.full && (!parsed || remaining < 1))
            continue;
        --remaining;
        if (++current == programList.size()) {
            if (!searching || !found || wrapped)  // a second time round would only repeat itself
                break;
            wrapped = true;
            current = 0;
        }
        searching = true;
        rewindToData();
    }
    return found;
}

void PlainSelection::prune()
{
    for (std::uint32_t i = 0; i < programList.size();) {
        const PsiEntry program = programList[i];
        plainSelectProgram(program, false);
        i = !playable(program) && removeProgram(i, program.pmtPid, program.programNumber) ? 0 : i + 1;
    }
}

bool PlainSelection::playable(const PsiEntry& program) const
{
    return std::any_of(streamList.begin(), streamList.end(), [&](const PsiEntry& stream) {
        bool listed = false;
        for (std::size_t i = 0; i < 3; ++i)  // only the first three records count
            listed = listed || (stream_type::isVideo(stream.streamType) && videoStreams[i].pid == stream.pid) ||
                     (stream_type::isAudio(stream.streamType) && audioStreams[i].pid == stream.pid);
        return listed && stream.pid != 0 && stream.belongsTo(program.pmtPid, program.programNumber);
    });
}

void PlainSelection::plainSelectProgram(const PsiEntry& program, bool measured)
{
    currentPmtPid = program.pmtPid;
    currentProgramNumber = program.programNumber;
    plainProbes();
    if (measured && videoStreams[0].pid != 0)
        durationSeconds = plainDuration(videoStreams[0].pid);
}

void PlainSelection::plainProbes()
{
    for (VideoProbeRecord& record : videoStreams)
        record.pid = 0;
    for (AudioProbeRecord& record : audioStreams)
        record.pid = 0;
    const bool mpeg = hasStreamOfType(2) || hasStreamOfType(1);
    videoStreamCount = audioStreamCount = 0;
    for (const PsiEntry& stream : streamList) {
        const auto& [pid, owner, type, reserved, number] = stream;
        if (!stream.belongsTo(currentPmtPid, currentProgramNumber))
            continue;
        const bool video = mpeg ? type == 1 || type == 2 : type == 0x1B;
        if (video && videoStreamCount < videoStreams.size() && probeVideo(pid, videoStreams[videoStreamCount], !mpeg))
            videoStreams[videoStreamCount++].streamType = type;
        const bool twice = type == 6 || type >= 0x80;
        if (stream_type::isAudio(type) && audioStreamCount < audioStreams.size() &&
            (probeAudio(pid, type, audioStreams[audioStreamCount], false) ||
             (twice && probeAudio(pid, type, audioStreams[audioStreamCount], true))))
            ++audioStreamCount;
    }
}

bool PlainSelection::accepts(Bytes payload, VideoProbeRecord& record, bool avc)
{
    const auto length = static_cast<std::int32_t>(payload.size());
    if (avc ? !parseAvcSequenceHeader(avcStreamInfo, payload.data(), length, record)
            : !findSequenceHeader(payload.data(), length, record))
        return false;
    record.streamId = payload[3];
    if (!avc)
        record.firstPts = static_cast<std::uint64_t>(findPesPts(payload.data(), payload[3], length));
    return true;
}

bool PlainSelection::probeVideo(std::uint16_t pid, VideoProbeRecord& record, bool avc)
{
    seekToFirstPacket();
    Block block{{}, true};
    while (block.full && readBlock(probeBlockSize(), block)) {
        const std::uint8_t* packet = nullptr;
        const std::uint16_t key = withUnitStart(headerKeyOfPid(pid));
        for (std::int32_t at = 0; block.length() - at > static_cast<std::int32_t>(packetSize) + 2 &&
                                  findNextPacket(block.data() + at, block.length() - at, key, packet);
             at = static_cast<std::int32_t>(packet - block.data()) + 1) {
            if (!hasPayload(packet) || !accepts(payloadOf(packet, packetSize), record, avc))
                continue;
            file.moveBy(-static_cast<std::int32_t>(packet - block.data()));
            record.filePosition = static_cast<std::uint32_t>(file.position());
            record.pid = pid;
            return true;
        }
    }
    return false;
}

bool PlainSelection::probeAudio(std::uint16_t pid, std::uint8_t type, AudioProbeRecord& record, bool lpcmMode)
{
    std::uint16_t key = withUnitStart(headerKeyOfPid(pid));
    seekToFirstPacket();
    Block block{{}, true};
    for (int blocks = 0; blocks < 24 && block.full && readBlock(probeBlockSize(), block); ++blocks) {
        const std::uint8_t* packet = nullptr;
        std::int32_t at = 0;
        for (std::int32_t covered = block.length(); findNextPacket(block.data() + at, covered, key, packet);
             covered -= at) {
            if (!hasPayload(packet))
                return false;
            record = {};
            const Bytes data = payloadOf(packet, packetSize);
            if (parseAudioHeader(data.data(), static_cast<std::int32_t>(data.size()), type, record, lpcmMode)) {
                record.pid = pid;
                record.streamId = data[3];
                record.filePosition = static_cast<std::uint32_t>(file.position()) - 1;
                return true;
            }
            key &= static_cast<std::uint16_t>(~kUnitStartBit);
            at = static_cast<std::int32_t>(packet - block.data()) + 1;
        }
    }
    return false;
}

double PlainSelection::plainDuration(std::uint16_t pid)
{
    const std::uint16_t key = withUnitStart(headerKeyOfPid(pid));
    const auto step = static_cast<std::int32_t>(packetSize);
    auto back = static_cast<std::int32_t>(readBufferSize);
    file.moveFromEnd(-4);
    Block block;
    while (file.moveBy(-back) && readBlock(probeBlockSize(), block) && block.full) {
        const std::uint8_t* packet = nullptr;
        for (std::int32_t length = block.length(); findLastPacket(block.data(), length, key, packet); length -= step) {
            const auto left = static_cast<std::uint32_t>(block.data() + block.length() - packet);
            if (left <= 4 || !hasPayload(packet))
                continue;
            const Bytes data = payloadOf(packet, std::min(left, packetSize));
            const std::int64_t ticks =
                findPesPts(data.data(), videoStreams[0].streamId, static_cast<std::int32_t>(data.size()));
            if (ticks != 0)
                return static_cast<double>(ticks - static_cast<std::int64_t>(videoStreams[0].firstPts)) / 90000.0;
        }
        back = static_cast<std::int32_t>(readBufferSize * 2);
    }
    return 0.0;
}

std::vector<std::pair<const char*, Data>> factsOf(const CProgramSelection& selection)
{
    const auto bytes = [](const auto& value) {
        const auto raw = rawBytes(value);
        return Data(raw.begin(), raw.end());
    };
    return {{"analysed", bytes(selection.analysed)},
            {"programList", bytes(selection.programList)},
            {"streamList", bytes(selection.streamList)},
            {"currentPmtPid", bytes(selection.currentPmtPid)},
            {"currentProgramNumber", bytes(selection.currentProgramNumber)},
            {"videoStreamCount", bytes(selection.videoStreamCount)},
            {"audioStreamCount", bytes(selection.audioStreamCount)},
            {"startOffset", bytes(selection.startOffset)},
            {"durationSeconds", bytes(selection.durationSeconds)},
            {"videoStreams", bytes(selection.videoStreams)},
            {"audioStreams", bytes(selection.audioStreams)},
            {"avcStreamInfo", bytes(selection.avcStreamInfo)}};
}

std::string SelectionPair::difference() const
{
    if (!compared)
        return "";
    std::string different = sameVideoInfo ? "" : "video facts ";
    const auto facts = factsOf(selection), plainFacts = factsOf(plain);
    for (std::size_t i = 0; i < facts.size(); ++i)
        different += facts[i].second != plainFacts[i].second ? facts[i].first + std::string(" ") : "";
    return different;
}

void SelectionPair::setReadBufferSize(std::uint32_t size)
{
    selection.setReadBufferSize(size);
    plain.setReadBufferSize(size);
}

void SelectionPair::setDefaultStreams(const DefaultPids& given)
{
    for (CProgramSelection* one : {&selection, static_cast<CProgramSelection*>(&plain)})
        one->setDefaultStreams(given.pmtPid, given.videoPid, given.videoStreamType, given.audioPid,
                               given.audioStreamType);
}

void SelectionPair::load(const CTransportFile::PathChar* path)
{
    selection.loadFile(path);
    if (compared)
        plain.plainLoad(path);
}

bool SelectionPair::select(std::size_t index, bool byNumber)
{
    const bool exists = index < selection.programList.size();
    const PsiEntry program = exists ? selection.programList[index] : PsiEntry{.pmtPid = 0xFFFF};
    const bool selected = byNumber ? selection.selectProgramByNumber(program.pmtPid, program.programNumber)
                                   : selection.selectProgram(static_cast<std::uint32_t>(index));
    if (!exists || !compared)
        return selected;
    plain.plainSelectProgram(program, !byNumber);
    plain.rewindToData();
    return selected;
}

std::string SelectionPair::differenceInPrograms(bool firstByNumber)
{
    std::string different;
    for (std::size_t i = 0; i < plain.programList.size() && different.empty(); ++i) {
        AvcStreamInfo info;
        select(i, firstByNumber && i == 0);
        readVideoInfo(info);
        different = difference();
    }
    return different;
}

bool SelectionPair::readVideoInfo(AvcStreamInfo& info)
{
    AvcStreamInfo plainInfo = info;
    plain.fileSize = selection.fileSize;
    const bool read = selection.readVideoInfo(info);
    sameVideoInfo =
        !compared || (plain.readVideoInfo(plainInfo) == read && std::memcmp(&info, &plainInfo, sizeof info) == 0);
    return read;
}

}  // namespace zarnow::test
