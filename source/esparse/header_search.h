/// @file
/// The search for one stream's header: it is shown the file's blocks in order until a parser accepts a packet.
#pragma once

#include <array>
#include <memory>
#include <optional>
#include <vector>

#include "analysis/block_packets.h"
#include "esparse/probe_records.h"
#include "esparse/written_bytes.h"

namespace zarnow {

/// Searches of a block that find no more in a packet than this cost about what a look at all of the block does.
inline constexpr int kManyPacketsInVain = 8;

/// A block of whole packets, and what looking at it takes.
struct ProbeBlock
{
    CPSIParser& parser;
    Bytes bytes;
    const CBlockPackets& packets;
    std::vector<std::uint8_t>& scratch;  ///< for unescaped payloads
    std::int64_t end = 0;                ///< file offset behind the block

    /// Whether there may be a video header in any packet: looked for once for all searches.
    bool mayHoldVideoHeader(bool avc) const noexcept;

    /// Whether the notes tell every packet that a search finds; found out once for all searches.
    bool packetsAreAll() const noexcept;

    mutable std::array<std::optional<bool>, 2> codeFound = {};  ///< of MPEG and of AVC video; empty: not looked for yet
    mutable std::optional<bool> noOtherPackets = {};
};

/// What the searches for both kinds have in common. A search that has ended is not shown any further block.
class CHeaderSearch
{
public:
    std::uint16_t pid() const noexcept { return pid_; }
    std::uint16_t headerKey() const noexcept { return headerKey_; }  ///< of the packets that it looks for now
    bool ended() const noexcept { return ended_; }
    bool found() const noexcept { return found_; }
    void end() noexcept { ended_ = true; }

protected:
    explicit CHeaderSearch(std::uint16_t pid) noexcept : pid_(pid), headerKey_(withUnitStart(headerKeyOfPid(pid))) {}

    void succeed() noexcept { ended_ = found_ = true; }

    std::uint16_t pid_;
    std::uint16_t headerKey_;

private:
    bool ended_ = false;
    bool found_ = false;
};

/// Hands the payload of every packet that starts a PES packet to the parser. One that found nothing may leave fields
/// behind all the same.
class CVideoSearch : public CHeaderSearch
{
public:
    CVideoSearch(std::uint16_t pid, bool avc) noexcept : CHeaderSearch(pid), avc_(avc) {}

    /// Tells the searches apart.
    static std::uint32_t keyOf(std::uint16_t pid, bool avc) noexcept { return pid | (avc ? 0x10000U : 0U); }

    void look(const ProbeBlock& block);

    /// Writes what the plain search would have written.
    void applyTo(VideoProbeRecord& record, AvcStreamInfo& info) const noexcept;

private:
    struct Effects
    {
        CWrittenBytes<VideoProbeRecord> record;
        CWrittenBytes<AvcStreamInfo> avc;
    };

    bool mayFindHeader(const ProbeBlock& block) const noexcept;
    bool accepts(Bytes payload, std::vector<std::uint8_t>& scratch);
    bool acceptsMpeg(Bytes payload);
    bool acceptsAvc(Bytes payload, std::vector<std::uint8_t>& scratch);
    Effects& effects();

    std::unique_ptr<Effects> effects_;  // null while nothing was written
    bool avc_;
    bool dense_ = false;  // the last block had many packets in vain
};

/// Begins with packets that start a PES packet; after the first of them any packet will do.
class CAudioSearch : public CHeaderSearch
{
public:
    CAudioSearch(std::uint16_t pid, std::uint8_t streamType, bool lpcmMode) noexcept
        : CHeaderSearch(pid), streamType_(streamType), lpcmMode_(lpcmMode)
    {
    }

    static std::uint32_t keyOf(std::uint16_t pid, std::uint8_t streamType, bool lpcmMode) noexcept
    {
        return pid | static_cast<std::uint32_t>(streamType) << 16 | (lpcmMode ? 0x1000000U : 0U);
    }

    void look(const ProbeBlock& block) noexcept;

    void applyTo(AudioProbeRecord& record) const noexcept
    {
        if (looked_)
            record = record_;
    }

private:
    AudioProbeRecord record_;
    bool looked_ = false;  // at any packet: the record is cleared for each
    std::uint8_t streamType_;
    bool lpcmMode_;
};

}  // namespace zarnow
