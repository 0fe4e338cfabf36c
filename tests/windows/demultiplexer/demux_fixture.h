/// @file
/// The demultiplexer between a source that the test drives and two sinks.
#pragma once

#include <bdaiface.h>

#include "tests/windows/demultiplexer/packet_builder.h"
#include "tests/windows/support/framework_test.h"
#include "tests/windows/support/hresult.h"
#include "tests/windows/support/sink_filter.h"
#include "tools/common/find_pin.h"
#include "tools/demultiplexer/demultiplexer.h"

namespace zarnow::test {

/// Delivers what it is given, on the caller's thread.
class PushSource final : public CBaseFilter
{
public:
    PushSource();
    int GetPinCount() override { return 1; }
    CBasePin* GetPin(int index) override { return index == 0 ? &pin : nullptr; }

    HRESULT push(const packets::Bytes& bytes, bool discontinuity = false);

    class Pin final : public CBaseOutputPin
    {
    public:
        Pin(PushSource& source, HRESULT* result) : CBaseOutputPin(nullptr, &source, &source.lock, result, L"Out") {}
        HRESULT CheckMediaType(const CMediaType*) override { return S_OK; }
        HRESULT GetMediaType(int position, CMediaType* type) override;
        HRESULT DecideBufferSize(IMemAllocator* allocator, ALLOCATOR_PROPERTIES* request) override;
    };

    CCritSec lock;
    HRESULT created = S_OK;
    Pin pin{*this, &created};
};

/// Types of output pins, told apart by the sample size.
inline CMediaType pinType(ULONG sampleSize)
{
    return mediaType(MEDIATYPE_Video, MEDIASUBTYPE_MPEG2_VIDEO, sampleSize);
}

class DemuxTest : public FrameworkTest
{
protected:
    DemuxTest();
    ~DemuxTest() override;

    HRESULT create(const wchar_t* name, ComPtr<IPin>& pin, ULONG sampleSize = 1);
    HRESULT remove(const wchar_t* name) { return demultiplexer->DeleteOutputPin(const_cast<LPWSTR>(name)); }
    ComPtr<IPin> createPin(const wchar_t* name);
    static ComPtr<IMPEG2PIDMap> mapOf(IPin& pin);
    static void map(IPin& pin, ULONG pid, MEDIA_SAMPLE_CONTENT content = MEDIA_ELEMENTARY_STREAM);
    /// A connected pin for one PID.
    ComPtr<IPin> connectPin(const wchar_t* name, ULONG pid, MEDIA_SAMPLE_CONTENT content, SinkFilter& sink);
    /// Connects the source.
    void play();
    void run();
    void stop();

    PushSource source;
    SinkFilter first;
    SinkFilter second;
    ComPtr<IBaseFilter> filter;
    ComPtr<IMpeg2Demultiplexer> demultiplexer;
    ComPtr<IPin> input;
};

}  // namespace zarnow::test
