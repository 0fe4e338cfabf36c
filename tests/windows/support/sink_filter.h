/// @file
/// A filter that takes what a source delivers, writes it down, and behaves as it is told.
#pragma once

#include <streams.h>

#include <atomic>
#include <vector>

namespace zarnow::test {

struct Segment
{
    REFERENCE_TIME start;
    REFERENCE_TIME stop;
    double rate;
};

class SinkFilter;

class SinkInputPin final : public CBaseInputPin
{
public:
    SinkInputPin(SinkFilter& sink, CCritSec* lock, HRESULT* result);

    HRESULT CheckMediaType(const CMediaType*) override;
    STDMETHODIMP ReceiveConnection(IPin* connector, const AM_MEDIA_TYPE* type) override;
    HRESULT GetMediaType(int position, CMediaType* type) override;
    STDMETHODIMP GetAllocator(IMemAllocator** allocator) override;
    STDMETHODIMP NotifyAllocator(IMemAllocator* allocator, BOOL readOnly) override;
    STDMETHODIMP Receive(IMediaSample* sample) override;
    STDMETHODIMP EndOfStream() override;
    STDMETHODIMP NewSegment(REFERENCE_TIME start, REFERENCE_TIME stop, double rate) override;

private:
    SinkFilter& sink_;
};

class SinkFilter final : public CBaseFilter
{
public:
    SinkFilter();
    ~SinkFilter() override;
    int GetPinCount() override { return 1; }
    CBasePin* GetPin(int index) override { return index == 0 ? &input : nullptr; }

    LONG references() const { return m_cRef; }
    bool waitForEnd() const { return WaitForSingleObject(ended, 20'000) == WAIT_OBJECT_0; }
    std::vector<BYTE> allBytes() const;

    CCritSec lock;
    HRESULT created = S_OK;
    SinkInputPin input;

    // How to behave
    IMemAllocator* offeredAllocator = nullptr;  ///< instead of none; not owned
    bool proposesTransport = false;             ///< as a preferred type of its own
    HRESULT typeResult = S_OK;
    HRESULT connectionResult = S_OK;
    HRESULT allocatorResult = S_OK;
    HRESULT receiveResult = S_OK;
    LONG refuseAfter = 0x7FFFFFFF;  ///< samples, before receiveResult is given
    HANDLE blockUntil = nullptr;    ///< Receive waits for it

    // What came
    ALLOCATOR_PROPERTIES agreed = {};
    std::vector<std::vector<BYTE>> samples;
    std::atomic<std::size_t> count = 0;  ///< of the samples, for other threads
    std::vector<Segment> segments;
    std::atomic<int> endsOfStream = 0;
    bool timed = false;  ///< a sample carried a time, a sync point or a discontinuity
    HANDLE ended;
    HANDLE receiving;  ///< set by the first sample
};

}  // namespace zarnow::test
