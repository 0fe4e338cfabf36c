/// @file
/// MPEG video sequence headers (ISO/IEC 13818-2, 6.2.2) and AVC NAL units (H.264, 7.3), field by field, and headers in
/// a packet.
#pragma once

#include <functional>

#include "tests/support/data.h"

namespace zarnow::test {

/// Most-significant-bit-first writing with the Exp-Golomb codes of H.264 (clause 9.1).
class BitWriter
{
public:
    BitWriter& bits(std::uint64_t value, unsigned count);
    BitWriter& flag(bool value) { return bits(value ? 1 : 0, 1); }
    BitWriter& ue(std::uint32_t value);
    BitWriter& se(std::int32_t value);

    /// rbsp_trailing_bits: a 1 and zeros up to the next byte.
    BitWriter& trailing();

    /// Zero bits up to the next byte are added.
    const Data& bytes() const noexcept { return bytes_; }

private:
    Data bytes_;
    unsigned used_ = 8;  // bits of the last byte
};

struct SequenceHeader
{
    unsigned width = 720;
    unsigned height = 576;
    unsigned aspect = 3;       ///< aspect_ratio_information
    unsigned rate = 3;         ///< frame_rate_code
    unsigned bitRate = 10000;  ///< units of 400 bit/s
    unsigned vbvSize = 112;    ///< units of 2 KiB
    bool marker = true;
    bool constrained = false;
    bool intraMatrix = false;
    bool nonIntraMatrix = false;
};

Data sequenceHeader(const SequenceHeader& fields = {});
Data sequenceExtension(unsigned profile = 4, unsigned level = 8, bool progressive = false);

/// The fields that a sequence parameter set is read for. Functions write what their name says and may be empty.
struct Sps
{
    using Fields = std::function<void(BitWriter&)>;

    unsigned profile = 77;
    unsigned level = 40;
    Fields highProfile = nullptr;  ///< from chroma_format_idc on
    Fields pictureOrderCount = [](BitWriter& out) { out.ue(2); };
    unsigned references = 3;  ///< max_num_ref_frames
    unsigned widthInMbs = 45;
    unsigned heightInMapUnits = 36;
    bool framesOnly = true;
    bool cropping = false;
    Fields usability = nullptr;  ///< from aspect_ratio_info_present_flag on
};

/// The parts of the VUI in their order; a test changes one of them.
struct Usability
{
    int aspectRatio = 1;    ///< aspect_ratio_idc
    unsigned sarWidth = 0;  ///< with 255
    unsigned sarHeight = 0;
    int videoFormat = -1;  ///< less than 0: no video_signal_type
    bool timing = false;
    std::uint32_t unitsInTick = 1;
    std::uint32_t timeScale = 50;
    bool fixedFrameRate = false;
    Sps::Fields nalHrd = nullptr;
    Sps::Fields vclHrd = nullptr;

    void operator()(BitWriter& out) const;
};

/// hrd_parameters (annex E.1.2). @param rates  bit_rate_value_minus1 and cpb_size_value_minus1 of every schedule
Sps::Fields hrd(unsigned bitRateScale, unsigned cpbSizeScale, std::vector<std::pair<unsigned, unsigned>> rates,
                unsigned delayLength, unsigned timeOffsetLength);

/// Start code, NAL header and payload with emulation-prevention bytes.
Data nal(std::uint8_t header, const Data& rbsp, bool longStartCode = false);
Data accessUnitDelimiter();
Data sps(const Sps& fields);
Data pps(bool cabac);

/// @param type  slice_type: 0 P, 1 B, 2 I
Data slice(std::uint32_t firstMacroblock, std::uint32_t type);

/// A packet with a stamp of one second and such a header.
Data mpegVideoPacket(std::uint16_t pid);
Data ac3Packet(std::uint16_t pid);

}  // namespace zarnow::test
