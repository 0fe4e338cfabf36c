/// @file
/// One thread at a time works on the file and the tables.
#pragma once

#include <windows.h>

#include <memory>
#include <mutex>

namespace zarnow {

/// Needs nothing from the system, so that locking cannot fail: it is done in destructors, too, and in methods that have
/// no error to return. std::mutex, with winpthreads, is allocated when it is first locked.
class CSlimMutex
{
public:
    void lock() noexcept { AcquireSRWLockExclusive(&lock_); }
    void unlock() noexcept { ReleaseSRWLockExclusive(&lock_); }

private:
    SRWLOCK lock_ = SRWLOCK_INIT;
};

/// Outlives the pin it belongs to: whoever holds the lock holds a share of it, so that the last thread to leave
/// touches nothing of a pin that is gone.
using AnalysisMutex = std::shared_ptr<CSlimMutex>;

class CAnalysisLock
{
public:
    explicit CAnalysisLock(AnalysisMutex mutex) : mutex_(std::move(mutex)), lock_(*mutex_) {}

private:
    AnalysisMutex mutex_;  // ahead of the lock, so given up after it
    std::lock_guard<CSlimMutex> lock_;
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
