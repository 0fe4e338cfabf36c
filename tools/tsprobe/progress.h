/// @file
/// Tells a waiting person that a long scan is going on.
#pragma once

#include <condition_variable>
#include <mutex>
#include <string>
#include <thread>

namespace tsprobe {

/// Shows a line on a terminal once half a second has passed, and wipes it when it goes away. Says nothing elsewhere.
class Progress
{
public:
    explicit Progress(const std::string& path);
    Progress(const Progress&) = delete;
    Progress& operator=(const Progress&) = delete;
    ~Progress();

private:
    void show(const std::string& path);

    std::mutex mutex_;
    std::condition_variable changed_;
    bool done_ = false;
    std::thread thread_;
};

}  // namespace tsprobe
