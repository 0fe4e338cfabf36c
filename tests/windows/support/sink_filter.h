/// @file
/// A filter that takes what a source delivers, writes it down, and behaves as it is told.
#pragma once

#include <streams.h>

#include <atomic>
#include <functional>
#include <optional>
#include <string>
#include <vector>

namespace zarnow::test {

struct Segment
{
    REFERENCE_TIME start;
    REFERENCE_TIME stop;
    double rate;
};

struct Received
{
    explicit Received(IMediaSample& sample);

    std::vector<BYTE> bytes;
    std::optional<REFERENCE_TIME> start;
    bool syncPoint;
    bool discontinuity;
    std::optional<DWORD> newSampleSize;  ///< lSampleSize of a media type that came with the sample
};

/// For a sink to offer: behaves as it is told. Lives on the test's stack.
class TestAllocator final : public CMemAllocator
{
public:
    TestAllocator() : CMemAllocator(nullptr, nullptr, &created) { AddRef(); }
    STDMETHODIMP SetProperties(ALLOCATOR_PROPERTIES* request, ALLOCATOR_PROPERTIES* actual) override;
    STDMETHODIMP Commit() override;
    STDMETHODIMP GetBuffer(IMediaSample** sample, REFERENCE_TIME* begin, REFERENCE_TIME* end, DWORD flags) override;
    LONG references() const { return m_cRef; }

    HRESULT created = S_OK;
    HRESULT propertiesResult = S_OK;
    HRESULT commitResult = S_OK;
    HRESULT bufferResult = S_OK;
    std::function<void()> onCommit = [] {};
    std::function<void()> onBuffer = [] {};
    long mostBytes = 0x7FFFFFFF;  ///< that a buffer gets
};

class SinkFilter;

class SinkInputPin final : public CBaseInputPin
{
public:
    SinkInputPin(SinkFilter& sink, CCritSec* lock, HRESULT* result);

    HRESULT CheckMediaType(const CMediaType* type) override;
    HRESULT CompleteConnect(IPin* peer) override;
    STDMETHODIMP ReceiveConnection(IPin* connector, const AM_MEDIA_TYPE* type) override;
    HRESULT GetMediaType(int position, CMediaType* type) override;
    STDMETHODIMP GetAllocator(IMemAllocator** allocator) override;
    STDMETHODIMP GetAllocatorRequirements(ALLOCATOR_PROPERTIES* properties) override;
    STDMETHODIMP NotifyAllocator(IMemAllocator* allocator, BOOL readOnly) override;
    STDMETHODIMP Receive(IMediaSample* sample) override;
    STDMETHODIMP EndOfStream() override;
    STDMETHODIMP BeginFlush() override;
    STDMETHODIMP EndFlush() override;
    STDMETHODIMP NewSegment(REFERENCE_TIME start, REFERENCE_TIME stop, double rate) override;

    IMemAllocator* allocator() const { return m_pAllocator; }
    const CMediaType& type() const { return m_mt; }

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
    STDMETHODIMP NonDelegatingQueryInterface(REFIID riid, void** object) override;

    LONG references() const { return m_cRef; }
    bool waitForEnd() const { return WaitForSingleObject(ended, 20'000) == WAIT_OBJECT_0; }
    bool waitForFirst() const { return WaitForSingleObject(receiving, 10'000) == WAIT_OBJECT_0; }
    bool waitForSamples(std::size_t atLeast) const;
    std::vector<BYTE> allBytes() const;
    /// Whether a sample carried a time, a sync point or a discontinuity.
    bool timed() const;

    CCritSec lock;
    HRESULT created = S_OK;
    SinkInputPin input;

    // How to behave
    IMemAllocator* offeredAllocator = nullptr;  ///< instead of none; not owned
    ALLOCATOR_PROPERTIES requirements = {};     ///< of allocators; none while there is no alignment
    std::vector<CMediaType> proposes;           ///< as preferred types of its own
    std::function<HRESULT(const CMediaType&)> checkType;
    std::function<HRESULT(IMemAllocator&)> onAllocator;  ///< answers NotifyAllocator when it fails
    HRESULT typeResult = S_OK;
    HRESULT connectionResult = S_OK;
    HRESULT completionResult = S_OK;
    HRESULT receiveResult = S_OK;
    LONG refuseAfter = 0x7FFFFFFF;                    ///< samples, before receiveResult is given
    HANDLE blockUntil = nullptr;                      ///< Receive waits for it
    std::function<HRESULT(IMediaSample*)> onReceive;  ///< answers Receive when the sample is written down
    std::function<HRESULT(IMediaSample*)> receive;    ///< in the place of all that Receive does
    std::function<void()> onEndOfStream;
    std::function<void()> onConfiguration;  ///< when it is asked whether it is a demultiplexer

    // What came
    ALLOCATOR_PROPERTIES agreed = {};
    std::vector<Received> samples;
    std::atomic<std::size_t> count = 0;  ///< of the samples, for other threads
    std::vector<Segment> segments;
    std::atomic<int> endsOfStream = 0;
    std::string calls;  ///< S sample, E end of stream, B and F begin and end of flush, N new segment
    HANDLE ended;
    HANDLE receiving;  ///< set by every sample, before it is written down
};

}  // namespace zarnow::test
