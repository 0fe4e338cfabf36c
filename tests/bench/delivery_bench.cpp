// delivery_bench FILE [ROUNDS]: how long the filter takes to deliver FILE to a sink that discards, beside a loop of one
// ReadFile of one packet a call over the same file; and how long it takes from nothing to the first sample, beside a
// thread that opens the file and reads a packet. Rounds alternate; medians are printed as JSON, in microseconds.

#include <algorithm>
#include <chrono>
#include <cstdio>
#include <vector>

#include "filter/itarnwell.h"
#include "tests/windows/support/filter_module.h"
#include "tests/windows/support/sink_filter.h"

namespace zarnow::test {

namespace {

using Clock = std::chrono::steady_clock;

double microsecondsSince(Clock::time_point begin)
{
    return std::chrono::duration<double, std::micro>(Clock::now() - begin).count();
}

struct Player
{
    explicit Player(const wchar_t* path)
    {
        sink.receive = [this](IMediaSample*) {
            if (samples++ == 0)
                SetEvent(sink.receiving);
            return S_OK;
        };
        ComPtr<IFileSourceFilter> source;
        loaded = SUCCEEDED(module.create(CLSID_ZarnowTSSource, IID_PPV_ARGS(&filter))) &&
                 SUCCEEDED(filter->QueryInterface(IID_PPV_ARGS(&source))) && source->Load(path, nullptr) == S_OK &&
                 filter->FindPin(L"1", &pin) == S_OK && pin->Connect(&sink.input, nullptr) == S_OK;
    }
    Player(const Player&) = delete;
    Player& operator=(const Player&) = delete;
    ~Player()
    {
        if (pin)
            pin->Disconnect();
        sink.input.Disconnect();
    }

    /// Up to the first sample.
    void run()
    {
        samples = 0;
        ResetEvent(sink.receiving);
        ResetEvent(sink.ended);
        sink.Run(0);
        filter->Run(0);
        WaitForSingleObject(sink.receiving, INFINITE);
    }
    void stop()
    {
        filter->Stop();
        sink.Stop();
    }

    Module module;
    SinkFilter sink;
    ComPtr<IBaseFilter> filter;
    ComPtr<IPin> pin;
    long samples = 0;
    bool loaded = false;
};

HANDLE openFile(const wchar_t* path)
{
    return CreateFileW(path, GENERIC_READ, FILE_SHARE_READ, nullptr, OPEN_EXISTING, 0, nullptr);
}

/// @return how many bytes came
DWORD readPacket(HANDLE file)
{
    BYTE packet[188];
    DWORD count = 0;
    return ReadFile(file, packet, sizeof(packet), &count, nullptr) ? count : 0;
}

double timeReads(const wchar_t* path)
{
    const HANDLE file = openFile(path);
    const Clock::time_point begin = Clock::now();
    while (readPacket(file) > 0) {
    }
    const double elapsed = microsecondsSince(begin);
    CloseHandle(file);
    return elapsed;
}

/// From the first sample on, so that the thread's start does not count.
double timeDelivery(Player& player)
{
    player.run();
    const Clock::time_point begin = Clock::now();
    WaitForSingleObject(player.sink.ended, INFINITE);
    const double elapsed = microsecondsSince(begin);
    player.stop();
    return elapsed;
}

DWORD WINAPI readOnePacket(void* path)
{
    const HANDLE file = openFile(static_cast<const wchar_t*>(path));
    readPacket(file);
    return CloseHandle(file) ? 0 : 1;
}

double timeFirstRead(wchar_t* path)
{
    const Clock::time_point begin = Clock::now();
    const HANDLE thread = CreateThread(nullptr, 0, readOnePacket, path, 0, nullptr);
    WaitForSingleObject(thread, INFINITE);
    const double elapsed = microsecondsSince(begin);
    CloseHandle(thread);
    return elapsed;
}

double timeFirstSample(const wchar_t* path)
{
    const Clock::time_point begin = Clock::now();
    Player player(path);
    player.run();
    const double elapsed = microsecondsSince(begin);
    player.stop();
    return elapsed;
}

double median(std::vector<double> values)
{
    std::sort(values.begin(), values.end());
    return values[values.size() / 2];
}

}  // namespace

}  // namespace zarnow::test

int wmain(int argc, wchar_t** argv)
{
    using namespace zarnow::test;
    const int rounds = argc > 2 ? std::max(_wtoi(argv[2]), 1) : 9;
    CoInitializeEx(nullptr, COINIT_MULTITHREADED);
    if (argc < 2 || !Player(argv[1]).loaded) {
        std::fputs("delivery_bench FILE [ROUNDS]: the file could not be loaded and connected\n", stderr);
        return 2;
    }
    Player player(argv[1]);
    std::vector<double> reads;
    std::vector<double> deliveries;
    for (int round = 0; round < rounds; ++round) {
        reads.push_back(timeReads(argv[1]));
        deliveries.push_back(timeDelivery(player));
    }
    std::vector<double> firstReads;
    std::vector<double> firstSamples;
    for (int round = 0; round < 10 * rounds; ++round) {
        firstReads.push_back(timeFirstRead(argv[1]));
        firstSamples.push_back(timeFirstSample(argv[1]));
    }
    std::printf(R"({"samples": %ld, "reads": %.0f, "delivery": %.0f, "firstRead": %.0f, "firstSample": %.0f})",
                player.samples, median(reads), median(deliveries), median(firstReads), median(firstSamples));
    return 0;
}
