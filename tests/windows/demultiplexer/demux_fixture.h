/// @file
/// The demultiplexer between a source that the test drives and two sinks.
#pragma once

#include <bdaiface.h>

#include <cstring>

#include "tests/windows/demultiplexer/packets.h"
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
    PushSource() : CBaseFilter(nullptr, nullptr, &lock, CLSID_NULL) { AddRef(); }  // lives in the fixture
    int GetPinCount() override { return 1; }
    CBasePin* GetPin(int index) override { return index == 0 ? &pin : nullptr; }

    HRESULT push(const Data& bytes, bool discontinuity = false)
    {
        ComPtr<IMediaSample> sample;
        const HRESULT result = pin.GetDeliveryBuffer(sample.GetAddressOf(), nullptr, nullptr, 0);
        if (FAILED(result))
            return result;
        BYTE* data = nullptr;
        sample->GetPointer(&data);
        EXPECT_HRESULT(S_OK, sample->SetActualDataLength(static_cast<long>(bytes.size())));
        std::memcpy(data, bytes.data(), static_cast<std::size_t>(sample->GetActualDataLength()));
        sample->SetDiscontinuity(discontinuity ? TRUE : FALSE);
        return pin.Deliver(sample.Get());
    }

    class Pin final : public CBaseOutputPin
    {
    public:
        explicit Pin(PushSource& source) : CBaseOutputPin(nullptr, &source, &source.lock, nullptr, L"Out") {}
        HRESULT CheckMediaType(const CMediaType*) override { return S_OK; }
        HRESULT GetMediaType(int position, CMediaType* type) override
        {
            return position == 0 ? type->Set(transportStreamType()) : VFW_S_NO_MORE_ITEMS;
        }
        HRESULT DecideBufferSize(IMemAllocator* allocator, ALLOCATOR_PROPERTIES* request) override
        {
            *request = {1, 1 << 20, 1, 0};
            return allocator->SetProperties(request, request);
        }
    };

    CCritSec lock;
    Pin pin{*this};
};

/// Types of output pins, told apart by the sample size.
inline CMediaType pinType(ULONG sampleSize = 1)
{
    return mediaType(MEDIATYPE_Video, MEDIASUBTYPE_MPEG2_VIDEO, sampleSize);
}

class DemuxTest : public FrameworkTest
{
protected:
    DemuxTest()
    {
        EXPECT_HRESULT(S_OK, demux::createDemultiplexer(filter.GetAddressOf()));
        EXPECT_HRESULT(S_OK, filter->QueryInterface(IID_PPV_ARGS(&demultiplexer)));
        input = findPin(*filter.Get(), PINDIR_INPUT);
    }
    ~DemuxTest() override
    {
        stop();
        for (CBasePin* pin : std::initializer_list<CBasePin*>{&source.pin, &first.input, &second.input}) {
            if (IPin* const peer = pin->GetConnected())
                peer->Disconnect();
            pin->Disconnect();
        }
    }

    HRESULT create(const wchar_t* name, ComPtr<IPin>& pin, CMediaType type = pinType())
    {
        return demultiplexer->CreateOutputPin(&type, const_cast<LPWSTR>(name), pin.ReleaseAndGetAddressOf());
    }
    HRESULT remove(const wchar_t* name) { return demultiplexer->DeleteOutputPin(const_cast<LPWSTR>(name)); }
    static ComPtr<IMPEG2PIDMap> mapOf(IPin* pin)
    {
        ComPtr<IMPEG2PIDMap> map;
        EXPECT_HRESULT(S_OK, pin->QueryInterface(IID_PPV_ARGS(&map)));
        return map;
    }
    static void map(IPin* pin, ULONG pid, MEDIA_SAMPLE_CONTENT content = MEDIA_ELEMENTARY_STREAM)
    {
        EXPECT_HRESULT(S_OK, mapOf(pin)->MapPID(1, &pid, content));
    }
    /// A connected pin for one PID.
    ComPtr<IPin> connectPin(const wchar_t* name, ULONG pid, MEDIA_SAMPLE_CONTENT content, SinkFilter& sink)
    {
        ComPtr<IPin> pin;
        EXPECT_HRESULT(S_OK, create(name, pin));
        map(pin.Get(), pid, content);
        EXPECT_HRESULT(S_OK, pin->Connect(&sink.input, nullptr));
        return pin;
    }
    /// Connects the source.
    void play()
    {
        EXPECT_HRESULT(S_OK, source.pin.Connect(input.Get(), nullptr));
        run();
    }
    void run()
    {
        for (IBaseFilter* each : std::initializer_list<IBaseFilter*>{&first, &second, filter.Get(), &source})
            EXPECT_HRESULT(S_OK, each->Run(0));
    }
    void stop()
    {
        for (IBaseFilter* each : std::initializer_list<IBaseFilter*>{&source, filter.Get(), &first, &second})
            EXPECT_HRESULT(S_OK, each->Stop());
    }

    PushSource source;
    SinkFilter first;
    SinkFilter second;
    ComPtr<IBaseFilter> filter;
    ComPtr<IMpeg2Demultiplexer> demultiplexer;
    ComPtr<IPin> input;
};

}  // namespace zarnow::test
