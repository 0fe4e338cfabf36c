/// @file
/// tsprobe's command line.
#pragma once

#include <array>
#include <cstdint>
#include <optional>
#include <string>
#include <vector>

namespace tsprobe {

/// Exit statuses.
inline constexpr int kAnalysed = 0;
inline constexpr int kNotAnalysed = 1;
inline constexpr int kFailed = 2;

struct Arguments
{
    std::vector<std::string> files;  ///< UTF-8; on POSIX systems the bytes as given
    bool json = false;
    std::optional<std::uint32_t> program;
    std::optional<std::uint32_t> bufferSize;
    std::optional<std::array<std::uint16_t, 5>> defaultPids;  ///< PMT, video, video type, audio, audio type
};

/// What to do instead of inspecting: help, version, or a usage error.
struct Ending
{
    std::string text;
    bool failed = false;
};

/// @return whether there is something to inspect; otherwise `ending` is filled
bool parseArguments(std::vector<std::string> words, Arguments& arguments, Ending& ending);

}  // namespace tsprobe
