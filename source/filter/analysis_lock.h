/// @file
/// One thread at a time works on the file and the tables.
#pragma once

#include <memory>
#include <mutex>

namespace zarnow {

/// Outlives the pin it belongs to: whoever holds the lock holds a share of it, so that the last thread to leave
/// touches nothing of a pin that is gone.
using AnalysisMutex = std::shared_ptr<std::mutex>;

class CAnalysisLock
{
public:
    explicit CAnalysisLock(AnalysisMutex mutex) : mutex_(std::move(mutex)), lock_(*mutex_) {}

private:
    AnalysisMutex mutex_;  // ahead of the lock, so given up after it
    std::lock_guard<std::mutex> lock_;
};

/// Gives the lock up for a while, inside a scope that holds it.
class CAnalysisBreak
{
public:
    explicit CAnalysisBreak(AnalysisMutex mutex) : mutex_(std::move(mutex)) { mutex_->unlock(); }
    CAnalysisBreak(const CAnalysisBreak&) = delete;
    CAnalysisBreak& operator=(const CAnalysisBreak&) = delete;
    ~CAnalysisBreak() { mutex_->lock(); }

private:
    AnalysisMutex mutex_;
};

}  // namespace zarnow
