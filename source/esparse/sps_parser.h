/// @file
/// Decodes the fields of an AVC sequence parameter set, from profile_idc on.
#pragma once

#include "esparse/bit_reader.h"
#include "esparse/probe_records.h"

namespace zarnow {

/// Every step answers false when the data ended inside it; the fields decoded before stay written.
class CSpsParser
{
public:
    CSpsParser(Bytes data, AvcStreamInfo& info, VideoProbeRecord& stream) noexcept
        : cursor_(data), info_(info), stream_(stream)
    {
    }

    bool parse() noexcept;

private:
    std::uint32_t bits(std::uint32_t n) noexcept { return readBits(cursor_, bitsLeft_, n); }
    std::uint8_t flag() noexcept { return static_cast<std::uint8_t>(bits(1)); }
    void skip(std::uint32_t n) noexcept { bits(n); }
    std::uint32_t ue() noexcept;
    bool inData() const noexcept { return !cursor_.overrun(); }
    bool store(std::uint8_t& field) noexcept;
    bool store(std::uint32_t& field, std::uint32_t value) noexcept;

    bool parseProfile() noexcept;
    void skipHighProfileFields() noexcept;
    void skipPictureOrderCount() noexcept;
    bool parsePictureSize() noexcept;
    bool parseUsability() noexcept;
    bool parseAspectRatio() noexcept;
    bool parseExtendedAspectRatio() noexcept;
    void setAspect(bool wide) noexcept;
    bool parseVideoSignal() noexcept;
    bool parseTiming() noexcept;
    void setFrameRate(std::uint32_t unitsInTick, std::uint32_t timeScale) noexcept;
    bool parseHrd() noexcept;
    bool parseBothHrd() noexcept;

    CBitCursor cursor_;
    std::int32_t bitsLeft_ = 8;
    AvcStreamInfo& info_;
    VideoProbeRecord& stream_;
};

}  // namespace zarnow
