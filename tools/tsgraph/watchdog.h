#pragma once

#include <chrono>
#include <condition_variable>
#include <cstdint>
#include <mutex>
#include <string>
#include <thread>

namespace tsgraph {

/// Ends the process with a message and status 2 when nothing has happened for a while: no call here, and no read of the
/// process, so that a long scan of a large file is not taken for a standstill.
class Watchdog
{
public:
    explicit Watchdog(std::chrono::seconds patience);
    ~Watchdog();
    Watchdog(const Watchdog&) = delete;
    Watchdog& operator=(const Watchdog&) = delete;

    /// Something new begins; the message tells what.
    void enter(std::string step);

    /// Something happened.
    void notice();

private:
    void watch();
    [[noreturn]] void giveUp() const;

    const std::chrono::seconds patience_;
    std::mutex mutex_;
    std::condition_variable wake_;
    std::string step_ = "starting";
    std::uint64_t events_ = 0;
    bool ended_ = false;
    std::thread thread_;
};

}  // namespace tsgraph
