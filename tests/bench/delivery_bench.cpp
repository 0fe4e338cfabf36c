// delivery_bench FILE ROUNDS: how long the filter takes to deliver FILE to a sink that discards, beside a loop of one
// ReadFile of one packet a call over the same file; and, ten times a round, how long it takes from nothing to the first
// sample, beside a thread that opens the file and reads a packet. Each pair is a line of JSON, in microseconds.

#include <chrono>
#include <climits>
#include <cstdio>
#include <future>
#include <memory>

#include "tests/windows/support/filter_fixture.h"

namespace zarnow::test {

namespace {

/// The tests' filter, with a sink that counts and discards.
struct Player : FilterTest
{
    explicit Player(const wchar_t* path)
    {
        sink.receive = [this](IMediaSample*) {
            if (samples++ == 0)
                SetEvent(sink.receiving);
            return S_OK;
        };
        SetUp();
        loaded = load(path) == S_OK && connect(sink) == S_OK;
    }
    Player(const Player&) = delete;
    Player& operator=(const Player&) = delete;
    ~Player() override
    {
        if (loaded)
            disconnect(sink);
    }
    void TestBody() override {}

    /// Up to the first sample.
    void start()
    {
        samples = 0;
        ResetEvent(sink.receiving);
        ResetEvent(sink.ended);
        run(sink);
        WaitForSingleObject(sink.receiving, INFINITE);
    }
    void end() { stop(sink); }

    SinkFilter sink;
    long samples = 0;
    bool loaded = false;
};

template <class Work>
double microsecondsOf(Work work)
{
    const auto begin = std::chrono::steady_clock::now();
    work();
    return std::chrono::duration<double, std::micro>(std::chrono::steady_clock::now() - begin).count();
}

/// Reads so many packets, or all there are.
void readPackets(const wchar_t* path, long most)
{
    const HANDLE file = CreateFileW(path, GENERIC_READ, FILE_SHARE_READ, nullptr, OPEN_EXISTING, 0, nullptr);
    BYTE packet[188];
    DWORD count = 1;
    for (; most > 0 && count > 0 && ReadFile(file, packet, sizeof(packet), &count, nullptr); --most) {
    }
    CloseHandle(file);
}

}  // namespace

}  // namespace zarnow::test

int wmain(int argc, wchar_t** argv)
{
    using namespace zarnow::test;
    CoInitializeEx(nullptr, COINIT_MULTITHREADED);
    if (argc != 3 || !Player(argv[1]).loaded) {
        std::fputs("delivery_bench FILE ROUNDS: the file could not be loaded and connected\n", stderr);
        return 2;
    }
    Player player(argv[1]);
    for (int round = 0; round < _wtoi(argv[2]); ++round) {
        const double reads = microsecondsOf([&] { readPackets(argv[1], LONG_MAX); });
        player.start();  // the thread's start does not count
        const double delivery = microsecondsOf([&] { WaitForSingleObject(player.sink.ended, INFINITE); });
        player.end();
        std::printf("{\"samples\": %ld, \"reads\": %.0f, \"delivery\": %.0f}\n", player.samples, reads, delivery);
        for (int start = 0; start < 10; ++start) {
            const double read = microsecondsOf([&] { std::async(std::launch::async, readPackets, argv[1], 1).wait(); });
            std::unique_ptr<Player> another;
            const double sample = microsecondsOf([&] {
                another = std::make_unique<Player>(argv[1]);
                another->start();
            });
            another->end();
            std::printf("{\"firstRead\": %.0f, \"firstSample\": %.0f}\n", read, sample);
        }
    }
    return 0;
}
