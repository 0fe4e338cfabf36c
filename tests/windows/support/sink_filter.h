/// @file
/// A filter that takes what a source delivers, writes it down, and behaves as it is told.
#pragma once

#include <streams.h>
#include <bdaiface.h>

#include <algorithm>
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
    explicit Received(IMediaSample& sample)
        : syncPoint(sample.IsSyncPoint() == S_OK), discontinuity(sample.IsDiscontinuity() == S_OK)
    {
        BYTE* data = nullptr;
        if (SUCCEEDED(sample.GetPointer(&data)))
            bytes.assign(data, data + sample.GetActualDataLength());
        REFERENCE_TIME begin = 0;
        REFERENCE_TIME end = 0;
        if (SUCCEEDED(sample.GetTime(&begin, &end)))
            start = begin;
        AM_MEDIA_TYPE* type = nullptr;
        if (sample.GetMediaType(&type) == S_OK)
            newSampleSize = type->lSampleSize;
        DeleteMediaType(type);
    }

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
    TestAllocator() : CMemAllocator(nullptr, nullptr, nullptr) { AddRef(); }
    STDMETHODIMP SetProperties(ALLOCATOR_PROPERTIES* request, ALLOCATOR_PROPERTIES* actual) override
    {
        ALLOCATOR_PROPERTIES granted = *request;
        granted.cbBuffer = std::min(granted.cbBuffer, mostBytes);
        return FAILED(propertiesResult) ? propertiesResult : CMemAllocator::SetProperties(&granted, actual);
    }
    STDMETHODIMP Commit() override
    {
        onCommit();
        return FAILED(commitResult) ? commitResult : CMemAllocator::Commit();
    }
    STDMETHODIMP GetBuffer(IMediaSample** sample, REFERENCE_TIME* begin, REFERENCE_TIME* end, DWORD flags) override
    {
        onBuffer();
        return FAILED(bufferResult) ? bufferResult : CMemAllocator::GetBuffer(sample, begin, end, flags);
    }
    LONG references() const { return m_cRef; }

    HRESULT propertiesResult = S_OK;
    HRESULT commitResult = S_OK;
    HRESULT bufferResult = S_OK;
    std::function<void()> onCommit = [] {};
    std::function<void()> onBuffer = [] {};
    long mostBytes = 0x7FFFFFFF;  ///< that a buffer gets
};

/// How a sink behaves, and what came.
struct SinkState
{
    IMemAllocator* offeredAllocator = nullptr;  ///< instead of none; not owned
    ALLOCATOR_PROPERTIES requirements = {};     ///< of allocators
    std::vector<CMediaType> proposes;           ///< as preferred types of its own
    std::function<HRESULT(const CMediaType&)> checkType;
    std::function<HRESULT(IMemAllocator&)> onAllocator;  ///< answers NotifyAllocator when it fails
    HRESULT typeResult = S_OK;
    HRESULT connectionResult = S_OK;
    HRESULT receiveResult = S_OK;
    LONG refuseAfter = 0x7FFFFFFF;                    ///< samples, before receiveResult is given
    HANDLE blockUntil = nullptr;                      ///< Receive waits for it
    std::function<HRESULT(IMediaSample*)> onReceive;  ///< answers Receive when the sample is written down
    std::function<HRESULT(IMediaSample*)> receive;    ///< in the place of all that Receive does
    std::function<void()> onEndOfStream;
    std::function<void()> onConfiguration;  ///< when it is asked whether it is a demultiplexer

    ALLOCATOR_PROPERTIES agreed = {};
    std::vector<Received> samples;
    std::atomic<std::size_t> count = 0;  ///< of the samples, for other threads
    std::vector<Segment> segments;
    std::atomic<int> endsOfStream = 0;
    std::string calls;  ///< S sample, E end of stream, B and F begin and end of flush, N new segment
    CAMEvent ended{TRUE};
    CAMEvent receiving{TRUE};  ///< by every sample, before it is kept
};

class SinkInputPin final : public CBaseInputPin
{
public:
    SinkInputPin(CBaseFilter& filter, CCritSec* lock, HRESULT* result, SinkState& state)
        : CBaseInputPin(nullptr, &filter, lock, result, L"In"), sink_(state)
    {
    }

    HRESULT CheckMediaType(const CMediaType* type) override
    {
        return sink_.checkType ? sink_.checkType(*type) : sink_.typeResult;
    }
    HRESULT CompleteConnect(IPin* peer) override
    {
        return FAILED(sink_.connectionResult) ? sink_.connectionResult : CBaseInputPin::CompleteConnect(peer);
    }
    HRESULT GetMediaType(int position, CMediaType* type) override
    {
        const auto index = static_cast<std::size_t>(position);
        return index < sink_.proposes.size() ? type->Set(sink_.proposes[index]) : VFW_S_NO_MORE_ITEMS;
    }
    STDMETHODIMP GetAllocator(IMemAllocator** allocator) override
    {
        *allocator = sink_.offeredAllocator;
        if (*allocator == nullptr)
            return VFW_E_NO_ALLOCATOR;
        (*allocator)->AddRef();
        return S_OK;
    }
    STDMETHODIMP GetAllocatorRequirements(ALLOCATOR_PROPERTIES* properties) override
    {
        *properties = sink_.requirements;
        return S_OK;
    }
    STDMETHODIMP NotifyAllocator(IMemAllocator* allocator, BOOL readOnly) override
    {
        const HRESULT result = sink_.onAllocator ? sink_.onAllocator(*allocator) : S_OK;
        if (FAILED(result))
            return result;
        allocator->GetProperties(&sink_.agreed);
        return CBaseInputPin::NotifyAllocator(allocator, readOnly);
    }
    STDMETHODIMP Receive(IMediaSample* sample) override
    {
        if (sink_.receive)
            return sink_.receive(sample);
        const HRESULT result = CBaseInputPin::Receive(sample);
        if (result != S_OK)
            return result;
        sink_.receiving.Set();
        if (sink_.blockUntil != nullptr)
            WaitForSingleObject(sink_.blockUntil, INFINITE);
        if (static_cast<LONG>(sink_.samples.size()) >= sink_.refuseAfter)
            return sink_.receiveResult;
        sink_.samples.emplace_back(*sample);
        sink_.calls += 'S';
        ++sink_.count;
        return sink_.onReceive ? sink_.onReceive(sample) : S_OK;
    }
    STDMETHODIMP EndOfStream() override
    {
        sink_.calls += 'E';
        ++sink_.endsOfStream;
        sink_.ended.Set();
        if (sink_.onEndOfStream)
            sink_.onEndOfStream();
        return S_OK;
    }
    STDMETHODIMP BeginFlush() override
    {
        sink_.calls += 'B';
        return CBaseInputPin::BeginFlush();
    }
    STDMETHODIMP EndFlush() override
    {
        sink_.calls += 'F';
        return CBaseInputPin::EndFlush();
    }
    STDMETHODIMP NewSegment(REFERENCE_TIME start, REFERENCE_TIME stop, double rate) override
    {
        sink_.calls += 'N';
        sink_.segments.push_back({start, stop, rate});
        return CBaseInputPin::NewSegment(start, stop, rate);
    }

    IMemAllocator* allocator() const { return m_pAllocator; }
    const CMediaType& type() const { return m_mt; }

private:
    SinkState& sink_;
};

/// Lives on the test's stack.
class SinkFilter final : public CBaseFilter, public SinkState
{
public:
    SinkFilter() : CBaseFilter(nullptr, nullptr, &lock, CLSID_NULL) { AddRef(); }
    int GetPinCount() override { return 1; }
    CBasePin* GetPin(int index) override { return index == 0 ? &input : nullptr; }
    STDMETHODIMP NonDelegatingQueryInterface(REFIID riid, void** object) override
    {
        if (onConfiguration && riid == IID_IMpeg2Demultiplexer)
            onConfiguration();
        return CBaseFilter::NonDelegatingQueryInterface(riid, object);
    }

    LONG references() const { return m_cRef; }
    bool waitForEnd() { return ended.Wait(20'000) != FALSE; }
    bool waitForFirst() { return receiving.Wait(10'000) != FALSE; }
    bool waitForSamples(std::size_t atLeast) const
    {
        for (int attempt = 0; count < atLeast && attempt < 1000; ++attempt)
            Sleep(10);
        return count >= atLeast;
    }
    std::vector<BYTE> allBytes() const
    {
        std::vector<BYTE> all;
        for (const Received& sample : samples)
            all.insert(all.end(), sample.bytes.begin(), sample.bytes.end());
        return all;
    }

    CCritSec lock;
    HRESULT created = S_OK;
    SinkInputPin input{*this, &lock, &created, *this};
};

}  // namespace zarnow::test
