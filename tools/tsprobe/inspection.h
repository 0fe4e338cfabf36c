/// @file
/// One file, loaded as the filter would load it.
#pragma once

#include <optional>
#include <span>
#include <stdexcept>

#include "esparse/program_selection.h"
#include "tools/tsprobe/arguments.h"

namespace tsprobe {

/// The file could not be loaded, or the arguments do not fit it.
class InspectionError : public std::runtime_error
{
public:
    using std::runtime_error::runtime_error;
};

class Inspection
{
public:
    /// Loads the file and selects the program that the arguments ask for.
    Inspection(const std::string& path, const Arguments& arguments);

    const std::string& path() const { return path_; }
    const zarnow::CProgramSelection& state() const { return state_; }

    /// The filled records; none when the file could not be analysed.
    std::span<const zarnow::VideoProbeRecord> video() const;
    std::span<const zarnow::AudioProbeRecord> audio() const;
    const std::optional<zarnow::AvcStreamInfo>& avc() const { return avc_; }
    std::optional<std::uint32_t> currentIndex() const;

    /// Why the file could not be analysed, and what to try.
    std::string reason();

private:
    void select(std::uint32_t index);

    std::string path_;
    zarnow::CProgramSelection state_;
    std::optional<zarnow::AvcStreamInfo> avc_;
};

}  // namespace tsprobe
