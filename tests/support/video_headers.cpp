#include "tests/support/video_headers.h"

#include <bit>

#include "tests/support/transport_stream.h"

namespace zarnow::test {

BitWriter& BitWriter::bits(std::uint64_t value, unsigned count)
{
    for (unsigned left = count; left > 0; --left) {
        if (used_ == 8) {
            bytes_.push_back(0);
            used_ = 0;
        }
        const auto bit = static_cast<unsigned>((value >> (left - 1)) & 1);
        bytes_.back() = static_cast<std::uint8_t>(bytes_.back() | (bit << (7 - used_)));
        ++used_;
    }
    return *this;
}

BitWriter& BitWriter::ue(std::uint32_t value)
{
    const std::uint64_t code = std::uint64_t{value} + 1;
    const auto length = static_cast<unsigned>(std::bit_width(code));
    return bits(0, length - 1).bits(code, length);
}

BitWriter& BitWriter::se(std::int32_t value)
{
    const std::int64_t twice = std::int64_t{value} * 2;
    return ue(static_cast<std::uint32_t>(value > 0 ? twice - 1 : -twice));
}

BitWriter& BitWriter::trailing()
{
    flag(true);
    used_ = 8;
    return *this;
}

Data sequenceHeader(const SequenceHeader& fields)
{
    BitWriter out;
    out.bits(0x000001B3, 32).bits(fields.width, 12).bits(fields.height, 12).bits(fields.aspect, 4).bits(fields.rate, 4);
    out.bits(fields.bitRate, 18).flag(fields.marker).bits(fields.vbvSize, 10).flag(fields.constrained);
    const auto matrix = [&](bool present) {
        out.flag(present);
        for (unsigned i = 0; present && i < 64; ++i)
            out.bits(16 + i, 8);
    };
    matrix(fields.intraMatrix);
    matrix(fields.nonIntraMatrix);
    return out.bytes();
}

Data sequenceExtension(unsigned profile, unsigned level, bool progressive)
{
    BitWriter out;
    out.bits(0x000001B5, 32).bits(1, 4).bits(profile, 4).bits(level, 4).flag(progressive).bits(1, 2).bits(0, 4);
    out.bits(0, 12).flag(true).bits(0, 8).flag(false).bits(0, 7);
    return out.bytes();
}

void Usability::operator()(BitWriter& out) const
{
    out.flag(true).bits(static_cast<unsigned>(aspectRatio), 8);
    if (aspectRatio == 255)
        out.bits(sarWidth, 16).bits(sarHeight, 16);
    out.flag(false);  // overscan_info_present_flag
    out.flag(videoFormat >= 0);
    if (videoFormat >= 0)
        out.bits(static_cast<unsigned>(videoFormat), 3).flag(false).flag(true).bits(0x010203, 24);
    out.flag(true).ue(1).ue(1);  // chroma_loc_info
    out.flag(timing);
    if (timing)
        out.bits(unitsInTick, 32).bits(timeScale, 32).flag(fixedFrameRate);
    out.flag(static_cast<bool>(nalHrd));
    if (nalHrd)
        nalHrd(out);
    out.flag(static_cast<bool>(vclHrd));
    if (vclHrd)
        vclHrd(out);
}

Sps::Fields hrd(unsigned bitRateScale, unsigned cpbSizeScale, std::vector<std::pair<unsigned, unsigned>> rates,
                unsigned delayLength, unsigned timeOffsetLength)
{
    return [=](BitWriter& out) {
        out.ue(static_cast<std::uint32_t>(rates.size() - 1)).bits(bitRateScale, 4).bits(cpbSizeScale, 4);
        for (const auto& [rate, size] : rates)
            out.ue(rate).ue(size).flag(false);
        out.bits(delayLength, 5).bits(23, 5).bits(23, 5).bits(timeOffsetLength, 5);
    };
}

Data nal(std::uint8_t header, const Data& rbsp, bool longStartCode)
{
    Data unit = longStartCode ? Data{0, 0, 0, 1, header} : Data{0, 0, 1, header};
    int zeros = 0;
    for (const std::uint8_t byte : rbsp) {
        if (zeros >= 2 && byte <= 3) {
            unit.push_back(3);
            zeros = 0;
        }
        unit.push_back(byte);
        zeros = byte == 0 ? zeros + 1 : 0;
    }
    return unit;
}

Data accessUnitDelimiter()
{
    return nal(0x09, {0xF0}, true);
}

Data sps(const Sps& fields)
{
    BitWriter out;
    out.bits(fields.profile, 8).bits(0, 8).bits(fields.level, 8).ue(0);
    if (fields.highProfile)
        fields.highProfile(out);
    out.ue(0);  // log2_max_frame_num_minus4
    fields.pictureOrderCount(out);
    out.ue(fields.references).flag(false).ue(fields.widthInMbs - 1).ue(fields.heightInMapUnits - 1);
    out.flag(fields.framesOnly);
    if (!fields.framesOnly)
        out.flag(true);  // mb_adaptive_frame_field_flag
    out.flag(true).flag(fields.cropping);
    if (fields.cropping)
        out.ue(0).ue(1).ue(2).ue(4);
    out.flag(static_cast<bool>(fields.usability));
    if (fields.usability)
        fields.usability(out);
    return nal(0x67, out.trailing().bytes(), true);
}

Data pps(bool cabac)
{
    // The tail makes it longer than the eleven bytes below which a NAL unit is carried on.
    return join({nal(0x68, BitWriter().ue(0).ue(0).flag(cabac).trailing().bytes()), filled(12, 0x55)});
}

Data slice(std::uint32_t firstMacroblock, std::uint32_t type)
{
    return join({nal(0x21, BitWriter().ue(firstMacroblock).ue(type).trailing().bytes()), filled(12, 0x55)});
}

Data mpegVideoPacket(std::uint16_t pid)
{
    return packet({.pid = pid}, pes(0xE0, join({sequenceHeader(), sequenceExtension()}), 90000));
}

Data ac3Packet(std::uint16_t pid)
{
    return packet({.pid = pid}, pes(0xBD, {0x0B, 0x77, 0, 0, 0x1C, 0, 0x40}, 90000));
}

}  // namespace zarnow::test
