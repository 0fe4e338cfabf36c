#include "esparse/header_search.h"

#include <algorithm>

#include "analysis/byte_search.h"
#include "analysis/packet_walk.h"
#include "analysis/transport_file.h"
#include "esparse/audio_header.h"
#include "esparse/avc_sequence_header.h"
#include "esparse/mpeg_video_header.h"
#include "esparse/sps_parser.h"

namespace zarnow {

namespace {

/// Where the file would be after moving back from the block's end by the packet's offset in the block; kept: that is
/// what applications get as the packet's position. A move that is refused leaves the position where it was.
std::uint32_t movedBackPosition(const ProbeBlock& block, const std::uint8_t* packet) noexcept
{
    const std::int64_t target = block.end - (packet - block.bytes.data());
    return static_cast<std::uint32_t>(CTransportFile::canMoveTo(target) ? target : block.end);
}

/// The packets of a PID that come up in a block when each search begins behind the sync byte of the packet before. It
/// mostly leads to the packet that the walk over the block met next; from there the walk's notes tell.
class CCandidates
{
public:
    CCandidates(const ProbeBlock& block, std::uint16_t headerKey) noexcept
        : block_(block), headerKey_(headerKey), expected_(block.packets.firstOffset()), rest_(block.packets.noted())
    {
    }

    /// Null when there are no more.
    const std::uint8_t* next() noexcept
    {
        if (block_.bytes.size() - position_ <= block_.parser.packetSize + 2)
            return nullptr;
        CPacketWalk walk(block_.parser, block_.bytes.subspan(position_));
        const bool noted = position_ + walk.position() == expected_;
        const std::uint8_t* packet = noted ? nextNoted() : walk.nextOf(headerKey_);
        if (packet != nullptr)
            position_ = static_cast<std::size_t>(packet - block_.bytes.data()) + 1;
        return packet;
    }

private:
    const std::uint8_t* nextNoted() noexcept
    {
        const auto isWanted = [this](const std::uint8_t* packet) {
            return matchesKey(maskedHeaderWord(packet), headerKey_);
        };
        const auto found = std::ranges::find_if(rest_, isWanted);
        if (found == rest_.end())
            return nullptr;
        rest_ = std::span(found + 1, rest_.end());
        expected_ = static_cast<std::size_t>(*found - block_.bytes.data()) + block_.parser.packetSize;
        return *found;
    }

    const ProbeBlock& block_;
    std::uint16_t headerKey_;
    std::size_t position_ = 0;                   // where the next search begins
    std::size_t expected_;                       // from where on the walk over the block tells
    std::span<const std::uint8_t* const> rest_;  // noted from there on
};

}  // namespace

bool ProbeBlock::mayHoldVideoHeader(bool avc) const noexcept
{
    std::optional<bool>& found = codeFound[avc ? 1 : 0];
    if (!found)
        found = avc ? CStartCode::standsIn(bytes) : hasSequenceHeaderCode(bytes);
    return *found;
}

bool ProbeBlock::packetsAreAll() const noexcept
{
    if (!noOtherPackets)
        noOtherPackets = packets.areAllThereAre(bytes);
    return *noOtherPackets;
}

void CVideoSearch::look(const ProbeBlock& block)
{
    const std::uint32_t packetSize = block.parser.packetSize;
    CCandidates candidates(block, headerKey_);
    for (int inVain = dense_ ? kManyPacketsInVain : 0; const std::uint8_t* packet = candidates.next(); ++inVain) {
        // Where packets by the hundred start a PES packet, one look at the whole block is the quicker answer.
        if (inVain == kManyPacketsInVain) {
            dense_ = !mayFindHeader(block);
            if (dense_)
                return;
        }
        if (!hasPayload(packet) || !accepts(payloadOf(packet, packetSize), block.scratch))
            continue;
        for (VideoProbeRecord* record : {&effects_->record.first, &effects_->record.second}) {
            record->streamId = payloadOf(packet, packetSize)[3];
            record->filePosition = movedBackPosition(block, packet);
            record->pid = pid_;
        }
        return succeed();
    }
}

/// An AVC header is the first thing in its packet, so that the packets' first bytes tell, if those noted are all.
bool CVideoSearch::mayFindHeader(const ProbeBlock& block) const noexcept
{
    if (!block.mayHoldVideoHeader(avc_))
        return false;
    if (!avc_ || !block.packetsAreAll())
        return true;
    const std::size_t lastStart = block.parser.packetSize - kAvcStartSize;
    return std::ranges::any_of(block.packets.noted(), [&](const std::uint8_t* packet) {
        const auto payload = static_cast<std::size_t>(payloadOffset(packet));
        const bool mayBegin =
            payload > lastStart ||
            mayBeginWithParameterSet(std::span<const std::uint8_t, kAvcStartSize>(packet + payload, kAvcStartSize));
        const bool searchGoesOnFromSync = packet[1] == kSyncByte;
        return (mayBegin || searchGoesOnFromSync) && matchesKey(maskedHeaderWord(packet), headerKey_);
    });
}

bool CVideoSearch::accepts(Bytes payload, std::vector<std::uint8_t>& scratch)
{
    return avc_ ? acceptsAvc(payload, scratch) : acceptsMpeg(payload);
}

bool CVideoSearch::acceptsMpeg(Bytes payload)
{
    const Bytes header = findSequenceHeaderCode(payload);
    if (header.empty())
        return false;
    const auto parse = [&](VideoProbeRecord& record) {
        if (!parseSequenceHeader(header.data(), static_cast<std::int32_t>(header.size()), record))
            return false;
        const auto length = static_cast<std::int32_t>(payload.size());
        record.firstPts = static_cast<std::uint64_t>(CPSIParser::findPesPts(payload.data(), payload[3], length));
        return true;
    };
    parse(effects().record.second);
    return parse(effects().record.first);
}

bool CVideoSearch::acceptsAvc(Bytes payload, std::vector<std::uint8_t>& scratch)
{
    const auto sps = findSequenceParameterSet(payload, scratch);
    if (!sps)
        return false;
    CSpsParser(*sps, effects().avc.second, effects().record.second).parse();
    return CSpsParser(*sps, effects().avc.first, effects().record.first).parse();
}

CVideoSearch::Effects& CVideoSearch::effects()
{
    if (effects_ == nullptr)
        effects_ = std::make_unique<Effects>();
    return *effects_;
}

void CVideoSearch::applyTo(VideoProbeRecord& record, AvcStreamInfo& info) const noexcept
{
    if (effects_ == nullptr)
        return;
    effects_->record.applyTo(record);
    // The first stream ever parsed fixes these two, so they are no plain writes.
    const AvcStreamInfo& written = effects_->avc.first;
    const std::uint32_t bitRate = info.hrdBitRate != 0 ? info.hrdBitRate : written.hrdBitRate;
    const std::uint32_t cpbSize = info.hrdCpbSize != 0 ? info.hrdCpbSize : written.hrdCpbSize;
    effects_->avc.applyTo(info);
    info.hrdBitRate = bitRate;
    info.hrdCpbSize = cpbSize;
}

void CAudioSearch::look(const ProbeBlock& block) noexcept
{
    auto budget = static_cast<std::int64_t>(block.bytes.size());
    std::int64_t position = 0;
    for (;;) {
        // The budget is reduced by the whole position before every search, not by the step since the last one: only
        // the first candidates of a block are looked at. Which streams are listed depends on it.
        budget -= position;
        const std::uint8_t* packet = nullptr;
        if (budget <= 0 || !block.parser.findNextPacket(block.bytes.data() + position,
                                                        static_cast<std::int32_t>(budget), headerKey_, packet))
            return;
        if (!hasPayload(packet))
            return end();
        looked_ = true;
        record_ = {};
        const Bytes payload = payloadOf(packet, block.parser.packetSize);
        if (parseAudioHeader(payload.data(), static_cast<std::int32_t>(payload.size()), streamType_, record_,
                             lpcmMode_)) {
            record_.streamId = payload[3];
            record_.pid = pid_;
            record_.filePosition = static_cast<std::uint32_t>(block.end) - 1;
            return succeed();
        }
        headerKey_ &= static_cast<std::uint16_t>(~kUnitStartBit);
        position = packet - block.bytes.data() + 1;
    }
}

}  // namespace zarnow
