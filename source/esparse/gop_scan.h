/// @file
/// The coding structure of an AVC stream, read from its NAL units (ITU-T H.264, 7.3) without assembling PES packets.
#pragma once

#include <algorithm>
#include <array>
#include <vector>

#include "analysis/byte_search.h"
#include "esparse/bit_reader.h"
#include "esparse/stream_probe.h"

namespace zarnow {

/// Walks the NAL units of one packet payload after the other, up to the second sequence parameter set.
class CGopScanner
{
public:
    /// @param info  entropy_coding_mode_flag and initialCpbRemovalDelay are written as they are met
    explicit CGopScanner(AvcStreamInfo& info) noexcept : info_(info) {}

    /// @return true when the second sequence parameter set was reached
    bool scanAvcPayload(const std::uint8_t* payload, std::int32_t length)
    {
        const Bytes bytes = bytesOf(payload, length);
        return !passOver(bytes) && scanUnits(bytes);
    }

    /// Writes the counts, halved for streams that may code fields.
    void storeCounts() noexcept;

private:
    static constexpr std::uint32_t kSpsWanted = 2;
    static constexpr std::size_t kBytesCarried = 4;       // where no start code is left: one may begin in them
    static constexpr std::size_t kMostBytesCarried = 13;  // a start code, and a NAL unit too short to be looked into

    bool passOver(Bytes payload) noexcept;
    bool scanUnits(Bytes payload);
    void loadBuffer(Bytes payload);
    void carryFrom(std::size_t position) noexcept;
    void carry(Bytes bytes) noexcept;
    void takeNalUnit(std::size_t header);  ///< where its header byte lies in the working buffer
    void takeSlice(Bytes data) noexcept;
    void countPicture() noexcept;
    void countBRun(bool bPicture) noexcept;
    void takePictureParameterSet(Bytes data) noexcept;
    void takeSei(Bytes data) noexcept;
    void takeBufferingPeriod(Bytes data) noexcept;

    AvcStreamInfo& info_;
    bool firstPictureDone_ = false;  // closed by the start of the second
    bool firstPictureOpen_ = false;
    bool bRunDone_ = false;
    bool inBRun_ = false;
    bool bufferingPeriodRead_ = false;
    std::uint32_t slicesInFirstPicture_ = 0;
    std::uint32_t bPictureRun_ = 0;
    std::uint32_t pictureCount_ = 0;
    std::uint32_t spsCount_ = 0;
    std::array<std::uint8_t, kMostBytesCarried> carried_ = {};  // left for the next packet
    std::size_t carriedCount_ = 0;
    bool mayJoin_ = false;              // a zero pair is among them, or with the next payload
    std::vector<std::uint8_t> buffer_;  // the carried bytes and the unescaped payload
};

/// Most payloads are the inside of slices: here the scan of a long stream spends its time. One that has nothing to
/// unescape and no start code leaves its end to the next packet, and need not be copied for that.
inline bool CGopScanner::passOver(Bytes payload) noexcept
{
    if (mayJoin_ || spsCount_ >= kSpsWanted || payload.size() < kBytesCarried)
        return false;
    if (payload.back() == 0 || CZeroPair::standsIn(payload))
        return false;
    std::copy_n(payload.last(kBytesCarried).begin(), kBytesCarried, carried_.begin());
    carriedCount_ = kBytesCarried;
    return true;
}

class CGopScan : public CStreamProbe
{
public:
    /// Scans a stream from the first packet on and fills its facts in `avcStreamInfo`.
    /// @return true when a second sequence parameter set was reached
    bool scanAvcGop(std::uint16_t pid);

private:
    bool scanBlock(const Block& block, std::uint16_t pid, CGopScanner& scanner) const;
};

}  // namespace zarnow
