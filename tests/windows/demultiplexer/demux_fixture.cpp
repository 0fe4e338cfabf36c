#include "tests/windows/demultiplexer/demux_fixture.h"

#include <cstring>

namespace zarnow::test {

PushSource::PushSource() : CBaseFilter(nullptr, nullptr, &lock, CLSID_NULL)
{
    AddRef();  // lives in the fixture
}

HRESULT PushSource::Pin::GetMediaType(int position, CMediaType* type)
{
    return position == 0 ? type->Set(transportStreamType()) : VFW_S_NO_MORE_ITEMS;
}

HRESULT PushSource::Pin::DecideBufferSize(IMemAllocator* allocator, ALLOCATOR_PROPERTIES* request)
{
    *request = {1, 1 << 20, 1, 0};
    ALLOCATOR_PROPERTIES actual{};
    return allocator->SetProperties(request, &actual);
}

HRESULT PushSource::push(const packets::Bytes& bytes, bool discontinuity)
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

DemuxTest::DemuxTest()
{
    EXPECT_HRESULT(S_OK, demux::createDemultiplexer(filter.GetAddressOf()));
    EXPECT_HRESULT(S_OK, filter->QueryInterface(IID_PPV_ARGS(&demultiplexer)));
    input = findPin(*filter.Get(), PINDIR_INPUT);
}

DemuxTest::~DemuxTest()
{
    stop();
    for (CBasePin* pin : {static_cast<CBasePin*>(&source.pin), static_cast<CBasePin*>(&first.input),
                          static_cast<CBasePin*>(&second.input)}) {
        ComPtr<IPin> peer;
        if (SUCCEEDED(pin->ConnectedTo(peer.GetAddressOf())))
            peer->Disconnect();
        pin->Disconnect();
    }
}

HRESULT DemuxTest::create(const wchar_t* name, ComPtr<IPin>& pin, ULONG sampleSize)
{
    CMediaType type = pinType(sampleSize);
    return demultiplexer->CreateOutputPin(&type, const_cast<LPWSTR>(name), pin.ReleaseAndGetAddressOf());
}

ComPtr<IPin> DemuxTest::createPin(const wchar_t* name)
{
    ComPtr<IPin> pin;
    EXPECT_HRESULT(S_OK, create(name, pin));
    return pin;
}

ComPtr<IMPEG2PIDMap> DemuxTest::mapOf(IPin& pin)
{
    ComPtr<IMPEG2PIDMap> map;
    EXPECT_HRESULT(S_OK, pin.QueryInterface(IID_PPV_ARGS(&map)));
    return map;
}

void DemuxTest::map(IPin& pin, ULONG pid, MEDIA_SAMPLE_CONTENT content)
{
    EXPECT_HRESULT(S_OK, mapOf(pin)->MapPID(1, &pid, content));
}

ComPtr<IPin> DemuxTest::connectPin(const wchar_t* name, ULONG pid, MEDIA_SAMPLE_CONTENT content, SinkFilter& sink)
{
    const ComPtr<IPin> pin = createPin(name);
    map(*pin.Get(), pid, content);
    EXPECT_HRESULT(S_OK, pin->Connect(&sink.input, nullptr));
    return pin;
}

void DemuxTest::play()
{
    EXPECT_HRESULT(S_OK, source.pin.Connect(input.Get(), nullptr));
    run();
}

void DemuxTest::run()
{
    for (IBaseFilter* each : std::initializer_list<IBaseFilter*>{&first, &second, filter.Get(), &source})
        EXPECT_HRESULT(S_OK, each->Run(0));
}

void DemuxTest::stop()
{
    for (IBaseFilter* each : std::initializer_list<IBaseFilter*>{&source, filter.Get(), &first, &second})
        EXPECT_HRESULT(S_OK, each->Stop());
}

}  // namespace zarnow::test
