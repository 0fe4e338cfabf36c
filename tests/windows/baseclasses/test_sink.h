/// @file
/// A small sink filter with one input pin that records what comes and does what a test wants.

#ifndef ZARNOW_TESTS_BASECLASSES_TEST_SINK_H
#define ZARNOW_TESTS_BASECLASSES_TEST_SINK_H

#include "support.h"

#include <atomic>
#include <functional>

class TestSink;

class TestInputPin : public CBaseInputPin
{
public:
    explicit TestInputPin(TestSink* filter, CCritSec* lock, HRESULT* phr);

    HRESULT CheckMediaType(const CMediaType* type) override;
    HRESULT GetMediaType(int position, CMediaType* type) override;
    HRESULT CompleteConnect(IPin* peer) override;
    STDMETHODIMP GetAllocatorRequirements(ALLOCATOR_PROPERTIES* props) override;
    STDMETHODIMP NotifyAllocator(IMemAllocator* allocator, BOOL readOnly) override;
    STDMETHODIMP Receive(IMediaSample* sample) override;
    STDMETHODIMP EndOfStream() override;
    STDMETHODIMP BeginFlush() override;
    STDMETHODIMP NewSegment(REFERENCE_TIME start, REFERENCE_TIME stop, double rate) override;

    IMemAllocator* allocator() const { return m_pAllocator; }
    const CMediaType& type() const { return m_mt; }

    // What a test sets.
    HRESULT m_typeAnswer = S_OK;
    std::function<bool(const CMediaType&)> m_accepts;
    std::vector<CMediaType> m_offers;
    HRESULT m_completion = S_OK;
    ALLOCATOR_PROPERTIES m_wishes{};
    IMemAllocator* m_insistsOn = nullptr;  ///< refuses every other allocator
    bool m_refusesOwn = false;             ///< refuses the allocator it made itself
    std::function<HRESULT(IMediaSample*)> m_onReceive;

    // What a test reads.
    std::vector<CMediaType> m_checked;
    std::atomic<int> m_received{0};
    std::atomic<int> m_endOfStreams{0};
    std::atomic<int> m_flushes{0};
    REFERENCE_TIME m_segmentStop = 0;
    CAMEvent m_ended{TRUE};    ///< end of stream came
    CAMEvent m_flushed{TRUE};  ///< a flush began
};

class TestSink : public CBaseFilter
{
public:
    TestSink();

    static ComPtr<IBaseFilter> create(TestSink** filter);

    int GetPinCount() override { return 1; }
    CBasePin* GetPin(int n) override { return n == 0 ? &m_pin : nullptr; }

    CCritSec m_lock;
    HRESULT m_hr = S_OK;
    TestInputPin m_pin;
};

#endif
