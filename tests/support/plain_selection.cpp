#include "tests/support/plain_selection.h"

#include <algorithm>
#include <cstring>
#include <utility>

#include "analysis/stream_type.h"
#include "esparse/audio_header.h"
#include "esparse/avc_sequence_header.h"
#include "esparse/mpeg_video_header.h"

namespace zarnow::test {

bool PlainSelection::plainLoad(const CTransportFile::PathChar* path)
{
    resetAnalysis();
    if (file.open(path) != 0 || !detectFilePacketSize() || !(useDefaultPids ? defaultTables() : plainTables()))
        return false;
    analysed = true;
    if (programList.size() >= 2)
        prune();
    if (!programList.empty()) {
        plainSelectProgram(programList[0]);
        if (videoStreams[0].pid != 0)
            durationSeconds = plainDuration(videoStreams[0].pid);
    }
    rewindToData();
    return true;
}

bool PlainSelection::defaultTables()
{
    const auto& [map, video, audio, videoType, audioType] = defaultPids;
    programList = {{map, map, 0, 0, 1}};
    streamList = {{},
                  {video, map, static_cast<std::uint8_t>(videoType), 0, 1},
                  {audio, map, static_cast<std::uint8_t>(audioType), 0, 1}};
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
    int sharing = 0;
    for (std::size_t i = 1; i < programList.size(); ++i)
        sharing += programList[i].pmtPid == programList[0].pmtPid ? 1 : 0;
    auto remaining = static_cast<int>(programList.size()) - 1;
    std::size_t current = 0;
    bool searching = true;
    bool found = false;
    bool wrapped = false;
    rewindToData();
    while (searching) {
        const PsiEntry program = programList[current];
        const std::uint16_t key = headerKeyOfPid(program.pmtPid);
        Block block;
        readBlock(size, block);
        if (sharing > 0)
            file.moveBy(-186);
        bool parsed = false;
        if (block.length() > 0)
            parsed = sharing > 0
                         ? parsePmtForProgram(block.data(), block.length(), key, program.programNumber, searching)
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
        plainSelectProgram(program);
        i = !playable(program) && removeProgram(i, program.pmtPid, program.programNumber) ? 0 : i + 1;
    }
}

bool PlainSelection::playable(const PsiEntry& program) const
{
    for (const PsiEntry& stream : streamList) {
        for (std::size_t i = 0; i < 3; ++i) {  // only the first three records count
            const std::uint16_t listed = stream_type::isVideo(stream.streamType)   ? videoStreams[i].pid
                                         : stream_type::isAudio(stream.streamType) ? audioStreams[i].pid
                                                                                   : std::uint16_t{0};
            if (listed != 0 && listed == stream.pid && stream.belongsTo(program.pmtPid, program.programNumber))
                return true;
        }
    }
    return false;
}

void PlainSelection::plainSelectProgram(const PsiEntry& program)
{
    currentPmtPid = program.pmtPid;
    currentProgramNumber = program.programNumber;
    plainProbes();
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

namespace {

bool sameTables(const std::vector<PsiEntry>& a, const std::vector<PsiEntry>& b)
{
    return std::equal(a.begin(), a.end(), b.begin(), b.end(), [](const PsiEntry& x, const PsiEntry& y) {
        return x.pid == y.pid && x.streamType == y.streamType && x.belongsTo(y.pmtPid, y.programNumber);
    });
}

template <class Value>
bool sameBytes(const Value& a, const Value& b)
{
    return std::memcmp(&a, &b, sizeof(Value)) == 0;
}

}  // namespace

std::string differenceOf(const CProgramSelection& selection, const CProgramSelection& plain)
{
    const std::pair<const char*, bool> comparisons[] = {
        {"analysed", selection.analysed == plain.analysed},
        {"programList", sameTables(selection.programList, plain.programList)},
        {"streamList", sameTables(selection.streamList, plain.streamList)},
        {"currentPmtPid", selection.currentPmtPid == plain.currentPmtPid},
        {"currentProgramNumber", selection.currentProgramNumber == plain.currentProgramNumber},
        {"videoStreamCount", selection.videoStreamCount == plain.videoStreamCount},
        {"audioStreamCount", selection.audioStreamCount == plain.audioStreamCount},
        {"startOffset", selection.startOffset == plain.startOffset},
        {"durationSeconds", sameBytes(selection.durationSeconds, plain.durationSeconds)},
        {"videoStreams", sameBytes(selection.videoStreams, plain.videoStreams)},
        {"audioStreams", sameBytes(selection.audioStreams, plain.audioStreams)},
        {"avcStreamInfo", sameBytes(selection.avcStreamInfo, plain.avcStreamInfo)},
    };
    std::string different;
    for (const auto& [name, same] : comparisons) {
        if (!same)
            different.append(different.empty() ? "" : ", ").append(name);
    }
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
    plain.plainLoad(path);
    if (!plain.analysed)
        plain.startOffset = 0;
}

void SelectionPair::select(std::size_t index, bool byNumber)
{
    if (index >= plain.programList.size())
        return;
    const PsiEntry program = plain.programList[index];
    if (byNumber)
        selection.selectProgramByNumber(program.pmtPid, program.programNumber);
    else
        selection.selectProgram(static_cast<std::uint32_t>(index));
    plain.plainSelectProgram(program);
    if (!byNumber && plain.videoStreams[0].pid != 0)
        plain.durationSeconds = plain.plainDuration(plain.videoStreams[0].pid);
    plain.rewindToData();
}

bool SelectionPair::readVideoInfo(AvcStreamInfo& info)
{
    AvcStreamInfo plainInfo = info;
    plain.fileSize = selection.fileSize;
    const bool read = selection.readVideoInfo(info);
    sameVideoInfo = plain.readVideoInfo(plainInfo) == read && sameBytes(info, plainInfo);
    return read;
}

}  // namespace zarnow::test
