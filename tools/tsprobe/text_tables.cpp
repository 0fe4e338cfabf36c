#include "tools/tsprobe/text_tables.h"

#include <algorithm>
#include <array>
#include <cmath>
#include <cstdio>

namespace tsprobe {

namespace {

struct Name
{
    std::uint32_t value;
    const char* text;
};

// ISO/IEC 13818-1, table 2-34, and the private values in common use.
constexpr std::array kStreamTypes{
    Name{0x01, "MPEG-1 video"},
    Name{0x02, "MPEG-2 video"},
    Name{0x03, "MPEG-1 audio"},
    Name{0x04, "MPEG-2 audio"},
    Name{0x05, "private sections"},
    Name{0x06, "private PES data"},
    Name{0x0F, "AAC audio"},
    Name{0x10, "MPEG-4 video"},
    Name{0x11, "AAC audio (LATM)"},
    Name{0x15, "metadata"},
    Name{0x1B, "H.264 (AVC) video"},
    Name{0x24, "H.265 (HEVC) video"},
    Name{0x80, "private audio"},
    Name{0x81, "AC-3 audio"},
    Name{0x82, "DTS audio"},
    Name{0x83, "TrueHD audio"},
    Name{0x86, "splice information"},
    Name{0x87, "E-AC-3 audio"},
    Name{0x90, "presentation graphics"},
    Name{0xEA, "VC-1 video"},
};
constexpr std::array kMpegProfiles{Name{1, "High"}, Name{2, "Spatially Scalable"}, Name{3, "SNR Scalable"},
                                   Name{4, "Main"}, Name{5, "Simple"}};
constexpr std::array kMpegLevels{Name{4, "High"}, Name{6, "High 1440"}, Name{8, "Main"}, Name{10, "Low"}};
constexpr std::array kAvcProfiles{
    Name{66, "Baseline"}, Name{77, "Main"},        Name{88, "Extended"},    Name{100, "High"},
    Name{110, "High 10"}, Name{122, "High 4:2:2"}, Name{144, "High 4:4:4"}, Name{244, "High 4:4:4 Predictive"}};

template <class... Arguments>
std::string formatted(const char* format, Arguments... arguments)
{
    std::array<char, 96> text{};
    std::snprintf(text.data(), text.size(), format, arguments...);
    return text.data();
}

/// "Main profile", or "profile 0" of what has no name.
template <class Names>
std::string nameOf(const Names& names, std::uint32_t value, const char* kind)
{
    const auto known = std::find_if(names.begin(), names.end(), [=](const Name& name) { return name.value == value; });
    return known != names.end() ? std::string(known->text) + " " + kind
                                : formatted("%s %u", kind, static_cast<unsigned>(value));
}

/// Up to so many decimals, without trailing zeros.
std::string shortest(double value, int decimals)
{
    std::string text = formatted("%.*f", decimals, value);
    if (text.find('.') != std::string::npos) {
        text.erase(text.find_last_not_of('0') + 1);
        if (text.back() == '.')
            text.pop_back();
    }
    return text;
}

}  // namespace

std::string streamTypeName(std::uint8_t streamType)
{
    const auto known = std::find_if(kStreamTypes.begin(), kStreamTypes.end(),
                                    [=](const Name& name) { return name.value == streamType; });
    return known != kStreamTypes.end() ? known->text
                                       : formatted("stream type 0x%02X", static_cast<unsigned>(streamType));
}

std::string mpegProfileName(std::uint32_t profile)
{
    return nameOf(kMpegProfiles, profile, "profile");
}

std::string mpegLevelName(std::uint32_t level)
{
    return nameOf(kMpegLevels, level, "level");
}

std::string avcProfileName(std::uint32_t profileIdc)
{
    return nameOf(kAvcProfiles, profileIdc, "profile");
}

std::string avcLevelName(std::uint32_t levelIdc)
{
    return formatted("%u.%u", static_cast<unsigned>(levelIdc / 10), static_cast<unsigned>(levelIdc % 10));
}

std::string withSeparators(std::uint64_t number)
{
    std::string text = std::to_string(number);
    for (std::size_t place = text.size(); place > 3; place -= 3)
        text.insert(place - 3, 1, ',');
    return text;
}

std::string durationText(double seconds)
{
    const long long total = std::llround(std::abs(seconds) * 1000.0);
    return formatted("%s%lld:%02lld:%02lld.%03lld", seconds < 0.0 ? "-" : "", total / 3600000, total / 60000 % 60,
                     total / 1000 % 60, total % 1000);
}

std::string bitRateText(double bitsPerSecond)
{
    return bitsPerSecond >= 1.0e6 ? shortest(bitsPerSecond / 1.0e6, 2) + " Mbit/s"
                                  : shortest(bitsPerSecond / 1.0e3, 1) + " kbit/s";
}

std::string frameRateText(double framesPerSecond)
{
    return shortest(framesPerSecond, 3) + " fps";
}

std::string hexPid(std::uint16_t pid)
{
    return formatted("0x%04X", static_cast<unsigned>(pid));
}

std::string counted(std::uint64_t count, const std::string& singular)
{
    return std::to_string(count) + " " + singular + (count == 1 ? "" : "s");
}

}  // namespace tsprobe
