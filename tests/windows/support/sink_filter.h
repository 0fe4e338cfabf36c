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
    TestAllocator() : CMemAllocator(nullptr, nullptr, &created) { AddRef(); }
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

    HRESULT created = S_OK;
    HRESULT propertiesResult = S_OK;
    HRESULT commitResult = S_OK;
    HRESULT bufferResult = S_OK;
    std::function<void()> onCommit = [] {};
    std::function<void()> onBuffer = [] {};
    long mostBytes = 0x7FFFFFFF;  ///< that a buffer gets
};

/// How the sink behaves.
struct SinkBehaviour
{
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
};

/// What came.
struct SinkRecord
{
    ALLOCATOR_PROPERTIES agreed = {};
    std::vector<Received> samples;
    std::atomic<std::size_t> count = 0;  ///< of the samples, for other threads
    std::vector<Segment> segments;
    std::atomic<int> endsOfStream = 0;
    std::string calls;  ///< S sample, E end of stream, B and F begin and end of flush, N new segment
    const HANDLE ended = CreateEventW(nullptr, TRUE, FALSE, nullptr);
    const HANDLE receiving = CreateEventW(nullptr, TRUE, FALSE, nullptr);  ///< by every sample, before it is kept
};

class SinkInputPin final : public CBaseInputPin
{
public:
    SinkInputPin(CBaseFilter& filter, CCritSec* lock, HRESULT* result, const SinkBehaviour& behaviour,
                 SinkRecord& record)
        : CBaseInputPin(nullptr, &filter, lock, result, L"In"), told_(behaviour), record_(record)
    {
    }

    HRESULT CheckMediaType(const CMediaType* type) override
    {
        return told_.checkType ? told_.checkType(*type) : told_.typeResult;
    }
    HRESULT CompleteConnect(IPin* peer) override
    {
        return FAILED(told_.completionResult) ? told_.completionResult : CBaseInputPin::CompleteConnect(peer);
    }
    STDMETHODIMP ReceiveConnection(IPin* connector, const AM_MEDIA_TYPE* type) override
    {
        return FAILED(told_.connectionResult) ? told_.connectionResult
                                              : CBaseInputPin::ReceiveConnection(connector, type);
    }
    HRESULT GetMediaType(int position, CMediaType* type) override
    {
        const auto index = static_cast<std::size_t>(position);
        return index < told_.proposes.size() ? type->Set(told_.proposes[index]) : VFW_S_NO_MORE_ITEMS;
    }
    STDMETHODIMP GetAllocator(IMemAllocator** allocator) override
    {
        *allocator = told_.offeredAllocator;
        if (*allocator == nullptr)
            return VFW_E_NO_ALLOCATOR;
        (*allocator)->AddRef();
        return S_OK;
    }
    STDMETHODIMP GetAllocatorRequirements(ALLOCATOR_PROPERTIES* properties) override
    {
        *properties = told_.requirements;
        return properties->cbAlign != 0 ? S_OK : CBaseInputPin::GetAllocatorRequirements(properties);
    }
    STDMETHODIMP NotifyAllocator(IMemAllocator* allocator, BOOL readOnly) override
    {
        const HRESULT result = told_.onAllocator ? told_.onAllocator(*allocator) : S_OK;
        if (FAILED(result))
            return result;
        allocator->GetProperties(&record_.agreed);
        return CBaseInputPin::NotifyAllocator(allocator, readOnly);
    }
    STDMETHODIMP Receive(IMediaSample* sample) override
    {
        if (told_.receive)
            return told_.receive(sample);
        const HRESULT result = CBaseInputPin::Receive(sample);
        if (result != S_OK)
            return result;
        SetEvent(record_.receiving);
        if (told_.blockUntil != nullptr)
            WaitForSingleObject(told_.blockUntil, INFINITE);
        if (static_cast<LONG>(record_.samples.size()) >= told_.refuseAfter)
            return told_.receiveResult;
        record_.samples.emplace_back(*sample);
        record_.calls += 'S';
        ++record_.count;
        return told_.onReceive ? told_.onReceive(sample) : S_OK;
    }
    STDMETHODIMP EndOfStream() override
    {
        record_.calls += 'E';
        ++record_.endsOfStream;
        SetEvent(record_.ended);
        if (told_.onEndOfStream)
            told_.onEndOfStream();
        return S_OK;
    }
    STDMETHODIMP BeginFlush() override
    {
        record_.calls += 'B';
        return CBaseInputPin::BeginFlush();
    }
    STDMETHODIMP EndFlush() override
    {
        record_.calls += 'F';
        return CBaseInputPin::EndFlush();
    }
    STDMETHODIMP NewSegment(REFERENCE_TIME start, REFERENCE_TIME stop, double rate) override
    {
        record_.calls += 'N';
        record_.segments.push_back({start, stop, rate});
        return CBaseInputPin::NewSegment(start, stop, rate);
    }

    IMemAllocator* allocator() const { return m_pAllocator; }
    const CMediaType& type() const { return m_mt; }

private:
    const SinkBehaviour& told_;
    SinkRecord& record_;
};

/// Lives on the test's stack.
class SinkFilter final : public CBaseFilter, public SinkBehaviour, public SinkRecord
{
public:
    SinkFilter() : CBaseFilter(nullptr, nullptr, &lock, CLSID_NULL) { AddRef(); }
    ~SinkFilter() override
    {
        CloseHandle(ended);
        CloseHandle(receiving);
    }
    int GetPinCount() override { return 1; }
    CBasePin* GetPin(int index) override { return index == 0 ? &input : nullptr; }
    STDMETHODIMP NonDelegatingQueryInterface(REFIID riid, void** object) override
    {
        if (onConfiguration && riid == IID_IMpeg2Demultiplexer)
            onConfiguration();
        return CBaseFilter::NonDelegatingQueryInterface(riid, object);
    }

    LONG references() const { return m_cRef; }
    bool waitForEnd() const { return WaitForSingleObject(ended, 20'000) == WAIT_OBJECT_0; }
    bool waitForFirst() const { return WaitForSingleObject(receiving, 10'000) == WAIT_OBJECT_0; }
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
    SinkInputPin input{*this, &lock, &created, *this, *this};
};

}  // namespace zarnow::test
