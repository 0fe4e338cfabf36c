/// @file
/// The demultiplexer between a source that the test drives and two sinks.
#pragma once

#include <bdaiface.h>

#include <algorithm>
#include <map>

#include "tests/windows/demultiplexer/packets.h"
#include "tests/windows/support/framework_test.h"
#include "tests/windows/support/hresult.h"
#include "tests/windows/support/sink_filter.h"
#include "tools/common/find_pin.h"
#include "tools/demultiplexer/demultiplexer.h"

namespace zarnow::test {

/// Delivers what it is given, on the caller's thread.
struct Source final : CBaseOutputPin
{
    explicit Source(SinkFilter& owner) : CBaseOutputPin(nullptr, &owner, &owner.lock, &owner.created, L"Out") {}
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

    HRESULT push(const Data& bytes, bool discontinuity = false)
    {
        ComPtr<IMediaSample> sample;
        const HRESULT result = GetDeliveryBuffer(sample.GetAddressOf(), nullptr, nullptr, 0);
        if (FAILED(result))
            return result;
        BYTE* data = nullptr;
        sample->GetPointer(&data);
        EXPECT_HRESULT(S_OK, sample->SetActualDataLength(static_cast<long>(bytes.size())));
        std::ranges::copy(bytes, data);
        sample->SetDiscontinuity(discontinuity ? TRUE : FALSE);
        return Deliver(sample.Get());
    }
};

/// Types of output pins, told apart by the sample size.
inline CMediaType pinType(ULONG sampleSize = 1)
{
    return mediaType(MEDIATYPE_Video, MEDIASUBTYPE_MPEG2_VIDEO, sampleSize);
}

class Demultiplexer : public FrameworkTest
{
protected:
    Demultiplexer()
    {
        EXPECT_HRESULT(S_OK, demux::createDemultiplexer(filter.GetAddressOf()));
        EXPECT_HRESULT(S_OK, filter->QueryInterface(IID_PPV_ARGS(&demultiplexer)));
        input = findPin(*filter.Get(), PINDIR_INPUT);
    }
    ~Demultiplexer() override
    {
        stop();
        for (CBasePin* pin : std::initializer_list<CBasePin*>{&source, &first.input, &second.input}) {
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
    HRESULT setType(const wchar_t* name, CMediaType type)
    {
        return demultiplexer->SetOutputPinMediaType(const_cast<LPWSTR>(name), &type);
    }
    static ComPtr<IMPEG2PIDMap> mapOf(IPin* pin)
    {
        ComPtr<IMPEG2PIDMap> map;
        EXPECT_HRESULT(S_OK, pin->QueryInterface(IID_PPV_ARGS(&map)));
        return map;
    }
    /// A connected pin for one PID.
    ComPtr<IPin> connectPin(const wchar_t* name, ULONG pid, MEDIA_SAMPLE_CONTENT content, SinkFilter& sink)
    {
        ComPtr<IPin> pin;
        EXPECT_HRESULT(S_OK, create(name, pin));
        EXPECT_HRESULT(S_OK, mapOf(pin.Get())->MapPID(1, &pid, content));
        EXPECT_HRESULT(S_OK, pin->Connect(&sink.input, nullptr));
        return pin;
    }
    /// Connects the source.
    void play()
    {
        EXPECT_HRESULT(S_OK, source.Connect(input.Get(), nullptr));
        run();
    }
    /// A video pin at the first sink, an audio pin at the second, everything running.
    void playBoth()
    {
        connectPin(L"V", kVideo, MEDIA_ELEMENTARY_STREAM, first);
        connectPin(L"A", kAudio, MEDIA_ELEMENTARY_STREAM, second);
        play();
    }
    void run()
    {
        for (IBaseFilter* each : std::initializer_list<IBaseFilter*>{&first, &second, filter.Get()})
            EXPECT_HRESULT(S_OK, each->Run(0));
        source.Active();
    }
    void stop()
    {
        source.Inactive();
        for (IBaseFilter* each : std::initializer_list<IBaseFilter*>{filter.Get(), &first, &second})
            EXPECT_HRESULT(S_OK, each->Stop());
    }
    void push(std::initializer_list<Data> parts) { EXPECT_HRESULT(S_OK, source.push(join(parts))); }
    void end() { EXPECT_HRESULT(S_OK, source.DeliverEndOfStream()); }
    /// In transport packets whose continuity counters go on.
    Data packets(std::uint16_t pid, const Data& unit)
    {
        Data packets = pesPackets(pid, unit);
        for (std::size_t at = 3; at < packets.size(); at += kPacket)
            packets[at] = static_cast<std::uint8_t>(packets[at] | (counters[pid]++ & 0x0F));
        return packets;
    }
    Data v(unsigned seed, unsigned size = 500) { return packets(kVideo, video(seed, size)); }
    Data a(unsigned seed) { return packets(kAudio, audio(seed)); }

    SinkFilter upstream;
    Source source{upstream};
    SinkFilter first;
    SinkFilter second;
    ComPtr<IBaseFilter> filter;
    ComPtr<IMpeg2Demultiplexer> demultiplexer;
    ComPtr<IPin> input;
    std::map<std::uint16_t, std::uint8_t> counters;
};

}  // namespace zarnow::test
