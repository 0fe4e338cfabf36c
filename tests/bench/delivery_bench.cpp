// delivery_bench FILE [ROUNDS]: how long the filter takes to deliver FILE to a sink that discards, beside a loop of one
// ReadFile of one packet a call over the same file. Rounds alternate; medians and their ratio are printed.

#include <streams.h>

#include <algorithm>
#include <cstdio>
#include <cstdlib>
#include <vector>

#include "filter/itarnwell.h"

namespace {

constexpr DWORD kPacket = 188;

double seconds()
{
    LARGE_INTEGER now = {};
    LARGE_INTEGER frequency = {};
    QueryPerformanceCounter(&now);
    QueryPerformanceFrequency(&frequency);
    return static_cast<double>(now.QuadPart) / static_cast<double>(frequency.QuadPart);
}

class NullPin final : public CBaseInputPin
{
public:
    NullPin(CBaseFilter* filter, CCritSec* lock, HRESULT* result)
        : CBaseInputPin(nullptr, filter, lock, result, L"In"), ended(CreateEventW(nullptr, TRUE, FALSE, nullptr))
    {
    }
    HRESULT CheckMediaType(const CMediaType*) override { return S_OK; }
    STDMETHODIMP Receive(IMediaSample*) override
    {
        ++samples;
        return S_OK;
    }
    STDMETHODIMP EndOfStream() override
    {
        SetEvent(ended);
        return S_OK;
    }

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

IBaseFilter* createFilter()
{
    using Function = HRESULT(WINAPI*)(REFCLSID, REFIID, void**);
    const HMODULE module = LoadLibraryW(L"build/windows/ZarnowTSSource.ax");
    const auto get = reinterpret_cast<Function>(reinterpret_cast<void*>(GetProcAddress(module, "DllGetClassObject")));
    IClassFactory* factory = nullptr;
    IBaseFilter* filter = nullptr;
    if (get == nullptr || FAILED(get(CLSID_ZarnowTSSource, IID_IClassFactory, reinterpret_cast<void**>(&factory))))
        return nullptr;
    factory->CreateInstance(nullptr, IID_IBaseFilter, reinterpret_cast<void**>(&filter));
    factory->Release();
    return filter;
}

double timeReads(const wchar_t* path)
{
    const HANDLE file = CreateFileW(path, GENERIC_READ, FILE_SHARE_READ, nullptr, OPEN_EXISTING, 0, nullptr);
    BYTE packet[kPacket];
    DWORD count = 0;
    const double begin = seconds();
    while (ReadFile(file, packet, kPacket, &count, nullptr) && count > 0) {
    }
    const double elapsed = seconds() - begin;
    CloseHandle(file);
    return elapsed;
}

double timeDelivery(IBaseFilter* filter, NullSink& sink)
{
    ResetEvent(sink.input.ended);
    const double begin = seconds();
    sink.Run(0);
    filter->Run(0);
    WaitForSingleObject(sink.input.ended, INFINITE);
    const double elapsed = seconds() - begin;
    filter->Stop();
    sink.Stop();
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
    const int rounds = argc > 2 ? _wtoi(argv[2]) : 9;
    CoInitializeEx(nullptr, COINIT_MULTITHREADED);
    IBaseFilter* filter = createFilter();
    IFileSourceFilter* source = nullptr;
    IPin* pin = nullptr;
    NullSink sink;
    if (argc < 2 || filter == nullptr || FAILED(filter->FindPin(L"1", &pin)) ||
        FAILED(filter->QueryInterface(IID_IFileSourceFilter, reinterpret_cast<void**>(&source))) ||
        FAILED(source->Load(argv[1], nullptr)) || FAILED(pin->Connect(&sink.input, nullptr))) {
        std::fputs("delivery_bench FILE [ROUNDS]: the file could not be loaded and connected\n", stderr);
        return 2;
    }
    std::vector<double> reads;
    std::vector<double> deliveries;
    for (int round = 0; round < rounds; ++round) {
        reads.push_back(timeReads(argv[1]));
        deliveries.push_back(timeDelivery(filter, sink));
    }
    const long samples = sink.input.samples / std::max(rounds, 1);
    std::printf("%ld samples; read loop %.1f ms, delivery %.1f ms, ratio %.3f\n", samples, median(reads) * 1000.0,
                median(deliveries) * 1000.0, median(deliveries) / median(reads));
    pin->Disconnect();
    sink.input.Disconnect();
    source->Release();
    pin->Release();
    filter->Release();
    return 0;
}
