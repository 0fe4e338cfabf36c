#include <algorithm>
#include <array>

#include "analysis/byte_search.h"
#include "esparse/avc_sequence_header.h"
#include "esparse/gop_scan.h"
#include "esparse/nal_unit.h"

namespace zarnow {

namespace {

constexpr std::size_t kNalBytesNeeded = 11;  // of types 1 to 8; fewer are carried to the next packet

bool isSlice(std::uint8_t type) noexcept
{
    return type == nal_type::kSlice || type == nal_type::kSlicePartitionA || type == nal_type::kIdrSlice;
}

/// A NAL unit that is looked into is carried whole to the next packet when too little of it is here; so is a start code
/// with nothing behind it.
bool goesOnInNextPacket(Bytes nalUnit) noexcept
{
    if (nalUnit.empty())
        return true;
    const std::uint8_t type = nalUnitType(nalUnit[0]);
    return type >= nal_type::kSlice && type <= nal_type::kPictureParameterSet && nalUnit.size() < kNalBytesNeeded;
}

/// A number of SEI syntax (7.3.2.3.1): any 0xFF bytes and one more, added up.
bool readSeiNumber(Bytes& data, std::size_t& number) noexcept
{
    number = 0;
    while (!data.empty()) {
        const std::uint8_t byte = data.front();
        data = data.subspan(1);
        number += byte;
        if (byte != 0xFF)
            return true;
    }
    return false;
}

}  // namespace

bool CGopScanner::scanUnits(Bytes payload)
{
    loadBuffer(payload);
    const std::size_t end = buffer_.size();
    std::size_t position = 0;
    while (position < end && spsCount_ < kSpsWanted) {
        const std::size_t startCode = CStartCode::find(buffer_, position);
        if (startCode == end) {
            carryFrom(end - std::min(end, kBytesCarried));
            break;
        }
        const std::size_t header = startCode + CStartCode::kLength;
        if (goesOnInNextPacket(Bytes(buffer_).subspan(header))) {
            carryFrom(startCode);
            break;
        }
        takeNalUnit(header);
        position = header;
    }
    return spsCount_ >= kSpsWanted;
}

void CGopScanner::loadBuffer(Bytes payload)
{
    const Bytes carried = Bytes(carried_).first(carriedCount_);
    buffer_.assign(carried.begin(), carried.end());
    carry({});
    const std::size_t consumed = appendUnescaped(payload, buffer_);
    buffer_.insert(buffer_.end(), payload.begin() + static_cast<std::ptrdiff_t>(consumed), payload.end());
}

void CGopScanner::carryFrom(std::size_t position) noexcept
{
    carry(Bytes(buffer_).subspan(position));
}

void CGopScanner::carry(Bytes bytes) noexcept
{
    std::copy(bytes.begin(), bytes.end(), carried_.begin());
    carriedCount_ = bytes.size();
    mayJoin_ = !bytes.empty() && (bytes.back() == 0 || CZeroPair::standsIn(bytes));
}

void CGopScanner::takeNalUnit(std::size_t header)
{
    const std::uint8_t type = nalUnitType(buffer_[header]);
    const Bytes data = Bytes(buffer_).subspan(header + 1);
    if (isSlice(type))
        takeSlice(data);
    else if (type == nal_type::kSequenceParameterSet)
        ++spsCount_;
    else if (type == nal_type::kPictureParameterSet)
        takePictureParameterSet(data);
    else if (type == nal_type::kSei && !bufferingPeriodRead_)
        takeSei(data.first(CStartCode::find(data)));
}

void CGopScanner::takeSlice(Bytes data) noexcept
{
    CBitCursor cursor(data);
    std::int32_t bitsLeft = 8;
    std::uint32_t bitsUsed = 0;
    const std::uint32_t firstMacroblock = readUE(cursor, bitsLeft, bitsUsed);
    const std::uint32_t sliceType = readUE(cursor, bitsLeft, bitsUsed);
    if (cursor.overrun())
        return;
    if (firstMacroblock != 0) {
        slicesInFirstPicture_ += firstPictureOpen_ ? 1 : 0;
        return;
    }
    countPicture();
    countBRun(sliceType == 1 || sliceType == 6);
}

void CGopScanner::countPicture() noexcept
{
    ++pictureCount_;
    if (firstPictureDone_)
        return;
    firstPictureDone_ = firstPictureOpen_;
    firstPictureOpen_ = !firstPictureDone_;
    slicesInFirstPicture_ += firstPictureOpen_ ? 1 : 0;
}

void CGopScanner::countBRun(bool bPicture) noexcept
{
    if (bPicture && !bRunDone_) {
        ++bPictureRun_;
        inBRun_ = true;
    } else if (!bPicture && inBRun_) {
        bRunDone_ = true;
        inBRun_ = false;
    }
}

void CGopScanner::takePictureParameterSet(Bytes data) noexcept
{
    CBitCursor cursor(data);
    std::int32_t bitsLeft = 8;
    std::uint32_t bitsUsed = 0;
    readUE(cursor, bitsLeft, bitsUsed);  // pic_parameter_set_id
    readUE(cursor, bitsLeft, bitsUsed);  // seq_parameter_set_id
    const std::uint32_t entropyCodingMode = readBits(cursor, bitsLeft, 1);
    if (!cursor.overrun())
        info_.entropy_coding_mode_flag = static_cast<std::uint8_t>(entropyCodingMode);
}

/// Looks for a buffering period among the messages; @param data  up to the next start code
void CGopScanner::takeSei(Bytes data) noexcept
{
    std::size_t payloadType = 0;
    std::size_t payloadSize = 0;
    while (readSeiNumber(data, payloadType) && readSeiNumber(data, payloadSize)) {
        if (payloadType == 0) {
            takeBufferingPeriod(data);
            return;
        }
        if (payloadSize >= data.size())
            return;
        data = data.subspan(payloadSize);
    }
}

void CGopScanner::takeBufferingPeriod(Bytes data) noexcept
{
    CBitCursor cursor(data);
    std::int32_t bitsLeft = 8;
    std::uint32_t bitsUsed = 0;
    readUE(cursor, bitsLeft, bitsUsed);  // seq_parameter_set_id
    const std::uint32_t delay = readBits(cursor, bitsLeft, info_.initialCpbRemovalDelayLength);
    if (cursor.overrun())
        return;
    info_.initialCpbRemovalDelay = delay;
    bufferingPeriodRead_ = true;
}

void CGopScanner::storeCounts() noexcept
{
    const std::uint32_t picturesPerFrame = info_.frame_mbs_only_flag == 0 ? 2 : 1;
    const auto frames = [=](std::uint32_t pictures) {
        return static_cast<std::uint8_t>(static_cast<std::int32_t>(pictures) /
                                         static_cast<std::int32_t>(picturesPerFrame));
    };
    info_.slicesPerPicture = static_cast<std::uint8_t>(slicesInFirstPicture_);
    info_.bFrameRun = frames(bPictureRun_);
    info_.gopPictureCount = frames(pictureCount_);
}

}  // namespace zarnow
