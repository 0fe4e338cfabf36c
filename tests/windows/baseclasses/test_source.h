/// @file
/// A small source filter whose streams do what a test wants.

#ifndef ZARNOW_TESTS_BASECLASSES_TEST_SOURCE_H
#define ZARNOW_TESTS_BASECLASSES_TEST_SOURCE_H

#include "support.h"

#include <atomic>
#include <functional>

/// What a stream does.
struct StreamPlan
{
    std::vector<CMediaType> types;
    int samples = 20;       ///< delivered before the end; negative: for ever
    HRESULT end = S_FALSE;  ///< FillBuffer's last result
    LONG buffers = 4;
    LONG bufferSize = 188;
    HRESULT bufferDecision = S_OK;
    HRESULT threadCreation = S_OK;
    HRESULT typeSetting = S_OK;
    HRESULT activation = S_OK;
    std::function<void()> onFill;
};

/// The type that streams offer unless told otherwise.
CMediaType byteStreamType();

class TestSource;

class TestStream : public CSourceStream
{
public:
    TestStream(TestSource* filter, HRESULT* phr, StreamPlan plan);

    HRESULT CheckMediaType(const CMediaType* type) override;
    HRESULT GetMediaType(int position, CMediaType* type) override;
    HRESULT SetMediaType(const CMediaType* type) override;
    HRESULT DecideBufferSize(IMemAllocator* allocator, ALLOCATOR_PROPERTIES* request) override;
    HRESULT Active() override;
    HRESULT Inactive() override;

    IMemAllocator* allocator() const { return m_pAllocator; }
    const CMediaType& type() const { return m_mt; }
    bool threadExists() const { return ThreadExists(); }

    StreamPlan m_plan;
    std::atomic<int> m_filled{0};
    std::atomic<int> m_threadsCreated{0};
    std::atomic<int> m_threadsDestroyed{0};
    std::atomic<int> m_plays{0};
    int m_activated = 0;
    int m_deactivated = 0;
    ALLOCATOR_PROPERTIES m_request{};
    bool m_peerKnownAtSetMediaType = false;

protected:
    HRESULT FillBuffer(IMediaSample* sample) override;
    HRESULT OnThreadCreate() override;
    HRESULT OnThreadDestroy() override;
    HRESULT OnThreadStartPlay() override;
};

class TestSource : public CSource
{
public:
    explicit TestSource(StreamPlan plan = {}, int pins = 1, LPUNKNOWN outer = nullptr);
    ~TestSource() override;

    static ComPtr<IBaseFilter> create(TestSource** filter, StreamPlan plan = {}, int pins = 1);
    /// For class factories.
    static CUnknown* CALLBACK CreateInstance(LPUNKNOWN outer, HRESULT* phr);

    TestStream* stream(int n = 0) { return static_cast<TestStream*>(GetPin(n)); }
    IReferenceClock* clock() const { return m_pClock; }

    bool* m_destroyed = nullptr;  ///< set at the end of the filter's life
};

// {D2E1B0B1-6E4C-4B5A-9B7F-0C1E7E6A9A01}
inline constexpr CLSID CLSID_TestSource = {
    0xd2e1b0b1, 0x6e4c, 0x4b5a, {0x9b, 0x7f, 0x0c, 0x1e, 0x7e, 0x6a, 0x9a, 0x01}};

#endif
