#pragma once

#include <chrono>
#include <cstdint>

namespace tsgraph {

/// Shows on standard error how much of the file was played: one line that is rewritten on a terminal, now and then a
/// plain line elsewhere.
class Progress
{
public:
    /// @param total  bytes of the file
    explicit Progress(std::uint64_t total);
    Progress(const Progress&) = delete;
    Progress& operator=(const Progress&) = delete;

    /// Clears the terminal's line, also ahead of an error message.
    ~Progress();

    void show(std::uint64_t bytes);

private:
    using Clock = std::chrono::steady_clock;

    const std::uint64_t total_;
    const bool onTerminal_;
    bool shown_ = false;
    unsigned lastPercent_ = 0;
    Clock::time_point lastTime_ = Clock::now();
};

}  // namespace tsgraph
