/// @file
/// A small source filter whose streams do what a test wants.
#pragma once

#include "tests/windows/support/framework_test.h"

#include <atomic>
#include <functional>
#include <vector>

#include "com_ptr.h"

namespace zarnow::test {

/// Takes the first reference on a new object of a class derived from CUnknown.
template <typename I>
ComPtr<I> take(CUnknown* object, REFIID iid)
{
    ComPtr<I> result;
    object->NonDelegatingAddRef();
    object->NonDelegatingQueryInterface(iid, result.putVoid());
    object->NonDelegatingRelease();
    return result;
}

/// What a stream does.
struct StreamPlan
{
    std::vector<CMediaType> types = {transportStreamType()};
    int samples = 20;       ///< delivered before the end; negative: for ever
    HRESULT end = S_FALSE;  ///< FillBuffer's last result
    HRESULT bufferDecision = S_OK;
    HRESULT threadCreation = S_OK;
    HRESULT typeSetting = S_OK;
    HRESULT activation = S_OK;
    std::function<void()> onFill = [] {};
};

inline const StreamPlan kEndless{.samples = -1};
constexpr LONG kBuffers = 4;

class TestStream : public CSourceStream
{
public:
    TestStream(CSource* filter, HRESULT* result, StreamPlan streamPlan);

    HRESULT CheckMediaType(const CMediaType* type) override;
    HRESULT GetMediaType(int position, CMediaType* type) override;
    HRESULT SetMediaType(const CMediaType* type) override;
    HRESULT DecideBufferSize(IMemAllocator* allocator, ALLOCATOR_PROPERTIES* request) override;
    HRESULT Active() override;
    HRESULT Inactive() override;

    IMemAllocator* allocator() const { return m_pAllocator; }
    const CMediaType& type() const { return m_mt; }
    bool threadExists() const { return ThreadExists(); }

    StreamPlan plan;
    int filled = 0;
    std::atomic<int> threadsDestroyed = 0;
    std::atomic<int> plays = 0;
    int activated = 0;
    int deactivated = 0;
    ALLOCATOR_PROPERTIES requested = {};
    bool peerKnownAtSetMediaType = false;

protected:
    HRESULT FillBuffer(IMediaSample* sample) override;
    HRESULT OnThreadCreate() override { return plan.threadCreation; }
    HRESULT OnThreadDestroy() override;
    HRESULT OnThreadStartPlay() override;
};

class TestSource : public CSource
{
public:
    explicit TestSource(const StreamPlan& plan = {}, int pins = 1, LPUNKNOWN outer = nullptr);
    ~TestSource() override;

    static ComPtr<IBaseFilter> create(TestSource** filter, const StreamPlan& plan = {}, int pins = 1);

    TestStream& stream(int n = 0) { return *static_cast<TestStream*>(GetPin(n)); }

    bool* destroyed = nullptr;  ///< set at the end of the filter's life
};

// {D2E1B0B1-6E4C-4B5A-9B7F-0C1E7E6A9A01}
inline constexpr CLSID CLSID_TestSource = {
    0xd2e1b0b1, 0x6e4c, 0x4b5a, {0x9b, 0x7f, 0x0c, 0x1e, 0x7e, 0x6a, 0x9a, 0x01}};

}  // namespace zarnow::test
