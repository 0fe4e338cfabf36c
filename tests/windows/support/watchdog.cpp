#include "tests/windows/support/watchdog.h"

#include <windows.h>
#include <tlhelp32.h>

#include <chrono>
#include <cstdio>
#include <cstdlib>

namespace zarnow::test {

namespace {

constexpr ULONGLONG kLimitMilliseconds = 60'000;
constexpr int kStackDepth = 24;

/// The program counters up the stack, to be looked up with addr2line.
void printStack(HANDLE thread)
{
    CONTEXT context = {};
    context.ContextFlags = CONTEXT_FULL;
    if (!GetThreadContext(thread, &context))
        return;
    for (int depth = 0; depth < kStackDepth && context.Rip != 0; ++depth) {
        DWORD64 base = 0;
        PRUNTIME_FUNCTION function = RtlLookupFunctionEntry(context.Rip, &base, nullptr);
        std::fprintf(stderr, "    %016llx (module at %016llx)\n", static_cast<unsigned long long>(context.Rip),
                     static_cast<unsigned long long>(base));
        if (function == nullptr && depth > 0)
            return;
        if (function == nullptr) {  // a leaf, such as a system call: its return address is on top
            context.Rip = *reinterpret_cast<DWORD64*>(context.Rsp);
            context.Rsp += sizeof(DWORD64);
            continue;
        }
        void* data = nullptr;
        DWORD64 frame = 0;
        RtlVirtualUnwind(UNW_FLAG_NHANDLER, base, context.Rip, function, &context, &data, &frame, nullptr);
    }
}

void printStacks()
{
    const HANDLE snapshot = CreateToolhelp32Snapshot(TH32CS_SNAPTHREAD, 0);
    THREADENTRY32 entry = {};
    entry.dwSize = sizeof(entry);
    for (BOOL more = Thread32First(snapshot, &entry); more; more = Thread32Next(snapshot, &entry)) {
        if (entry.th32OwnerProcessID != GetCurrentProcessId() || entry.th32ThreadID == GetCurrentThreadId())
            continue;
        const HANDLE thread = OpenThread(THREAD_ALL_ACCESS, FALSE, entry.th32ThreadID);
        std::fprintf(stderr, "  thread %lu\n", entry.th32ThreadID);
        SuspendThread(thread);
        printStack(thread);
        CloseHandle(thread);
    }
    CloseHandle(snapshot);
}

}  // namespace

Watchdog::Watchdog() : thread_([this] { watch(); })
{
    instance_ = this;
}

Watchdog::~Watchdog()
{
    {
        const std::lock_guard lock(mutex_);
        done_ = true;
    }
    changed_.notify_one();
    thread_.join();
}

void Watchdog::OnTestStart(const ::testing::TestInfo& test)
{
    const std::lock_guard lock(mutex_);
    running_ = std::string(test.test_suite_name()) + "." + test.name();
    started_ = GetTickCount64();
}

void Watchdog::OnTestEnd(const ::testing::TestInfo&)
{
    const std::lock_guard lock(mutex_);
    running_.clear();
}

void Watchdog::grantTime()
{
    const std::lock_guard lock(instance_->mutex_);
    instance_->started_ = GetTickCount64();
}

void Watchdog::giveUp(const std::string& what)
{
    std::fprintf(stderr, "%s hangs; the threads:\n", what.c_str());
    printStacks();
    std::_Exit(3);
}

void Watchdog::watch()
{
    std::unique_lock lock(mutex_);
    while (!changed_.wait_for(lock, std::chrono::seconds(1), [this] { return done_; })) {
        if (running_.empty() || GetTickCount64() - started_ < kLimitMilliseconds)
            continue;
        giveUp(running_);
    }
}

}  // namespace zarnow::test
