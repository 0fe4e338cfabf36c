// delivery_bench FILE [ROUNDS]: how long the filter takes to deliver FILE to a sink that discards, beside a loop of one
// ReadFile of one packet a call over the same file; and how long it takes from nothing to the first sample, beside a
// thread that opens the file and reads a packet. Rounds alternate; medians are printed as JSON, in microseconds.

#include <streams.h>

#include <algorithm>
#include <cstdio>
#include <cstdlib>
#include <vector>

#include "filter/itarnwell.h"

namespace {

constexpr DWORD kPacket = 188;

double microseconds()
{
    LARGE_INTEGER now = {};
    LARGE_INTEGER frequency = {};
    QueryPerformanceCounter(&now);
    QueryPerformanceFrequency(&frequency);
    return static_cast<double>(now.QuadPart) * 1e6 / static_cast<double>(frequency.QuadPart);
}

class NullPin final : public CBaseInputPin
{
public:
    NullPin(CBaseFilter* filter, CCritSec* lock, HRESULT* result)
        : CBaseInputPin(nullptr, filter, lock, result, L"In"),
          begun(CreateEventW(nullptr, TRUE, FALSE, nullptr)),
          ended(CreateEventW(nullptr, TRUE, FALSE, nullptr))
    {
    }
    HRESULT CheckMediaType(const CMediaType*) override { return S_OK; }
    STDMETHODIMP Receive(IMediaSample*) override
    {
        if (samples++ == 0)
            SetEvent(begun);
        return S_OK;
    }
    STDMETHODIMP EndOfStream() override
    {
        SetEvent(ended);
        return S_OK;
    }

    HANDLE begun;  // with the first sample
    HANDLE ended;
    long samples = 0;
};

class NullSink final : public CBaseFilter
{
public:
    NullSink() : CBaseFilter(nullptr, nullptr, &lock, CLSID_NULL), input(this, &lock, &created) { AddRef(); }
    int GetPinCount() override { return 1; }
    CBasePin* GetPin(int) override { return &input; }

    CCritSec lock;
    HRESULT created = S_OK;
    NullPin input;
};

struct Player
{
    explicit Player(const wchar_t* path)
    {
        using Function = HRESULT(WINAPI*)(REFCLSID, REFIID, void**);
        const HMODULE module = LoadLibraryW(L"build/windows/ZarnowTSSource.ax");
        const auto get =
            reinterpret_cast<Function>(reinterpret_cast<void*>(GetProcAddress(module, "DllGetClassObject")));
        IClassFactory* factory = nullptr;
        if (get == nullptr || FAILED(get(CLSID_ZarnowTSSource, IID_IClassFactory, reinterpret_cast<void**>(&factory))))
            return;
        factory->CreateInstance(nullptr, IID_IBaseFilter, reinterpret_cast<void**>(&filter));
        factory->Release();
        IFileSourceFilter* source = nullptr;
        if (filter == nullptr ||
            FAILED(filter->QueryInterface(IID_IFileSourceFilter, reinterpret_cast<void**>(&source))))
            return;
        loaded = source->Load(path, nullptr) == S_OK && filter->FindPin(L"1", &pin) == S_OK &&
                 pin->Connect(&sink.input, nullptr) == S_OK;
        source->Release();
    }
    Player(const Player&) = delete;
    Player& operator=(const Player&) = delete;
    ~Player()
    {
        if (pin != nullptr) {
            pin->Disconnect();
            sink.input.Disconnect();
            pin->Release();
        }
        if (filter != nullptr)
            filter->Release();
    }

    void run()
    {
        sink.input.samples = 0;
        ResetEvent(sink.input.begun);
        ResetEvent(sink.input.ended);
        sink.Run(0);
        filter->Run(0);
    }
    void stop()
    {
        filter->Stop();
        sink.Stop();
    }

    NullSink sink;
    IBaseFilter* filter = nullptr;
    IPin* pin = nullptr;
    bool loaded = false;
};

HANDLE openFile(const wchar_t* path)
{
    return CreateFileW(path, GENERIC_READ, FILE_SHARE_READ, nullptr, OPEN_EXISTING, 0, nullptr);
}

double timeReads(const wchar_t* path)
{
    const HANDLE file = openFile(path);
    BYTE packet[kPacket];
    DWORD count = 0;
    const double begin = microseconds();
    while (ReadFile(file, packet, kPacket, &count, nullptr) && count > 0) {
    }
    const double elapsed = microseconds() - begin;
    CloseHandle(file);
    return elapsed;
}

/// From the first sample on, so that the thread's start does not count.
double timeDelivery(Player& player)
{
    player.run();
    WaitForSingleObject(player.sink.input.begun, INFINITE);
    const double begin = microseconds();
    WaitForSingleObject(player.sink.input.ended, INFINITE);
    const double elapsed = microseconds() - begin;
    player.stop();
    return elapsed;
}

DWORD WINAPI readOnePacket(void* path)
{
    const HANDLE file = openFile(static_cast<const wchar_t*>(path));
    BYTE packet[kPacket];
    DWORD count = 0;
    ReadFile(file, packet, kPacket, &count, nullptr);
    CloseHandle(file);
    return count;
}

double timeFirstRead(wchar_t* path)
{
    const double begin = microseconds();
    const HANDLE thread = CreateThread(nullptr, 0, readOnePacket, path, 0, nullptr);
    WaitForSingleObject(thread, INFINITE);
    const double elapsed = microseconds() - begin;
    CloseHandle(thread);
    return elapsed;
}

double timeFirstSample(const wchar_t* path)
{
    const double begin = microseconds();
    Player player(path);
    player.run();
    WaitForSingleObject(player.sink.input.begun, INFINITE);
    const double elapsed = microseconds() - begin;
    player.stop();
    return elapsed;
}

double median(std::vector<double> values)
{
    std::sort(values.begin(), values.end());
    return values[values.size() / 2];
}

}  // namespace

int wmain(int argc, wchar_t** argv)
{
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
                player.sink.input.samples, median(reads), median(deliveries), median(firstReads), median(firstSamples));
    return 0;
}
