#include "tools/tsgraph/meter_filter.h"

#include "tools/common/find_pin.h"

namespace tsgraph {
namespace {

// {C1F7304E-92B8-4D6A-8F35-2A6E5B90D718}
constexpr CLSID kClassId{0xc1f7304e, 0x92b8, 0x4d6a, {0x8f, 0x35, 0x2a, 0x6e, 0x5b, 0x90, 0xd7, 0x18}};

// One thread counts, others look: no locked instruction per sample is needed.
void add(std::atomic<std::uint64_t>& counter, std::uint64_t count)
{
    counter.store(counter.load(std::memory_order_relaxed) + count, std::memory_order_relaxed);
}

}  // namespace

MeterFilter::MeterFilter(IBaseFilter& demultiplexer, HRESULT* result)
    : CBaseFilter(TEXT("Meter"), nullptr, &lock_, kClassId), input_(*this, lock_, result), output_(*this, lock_, result)
{
    if (SUCCEEDED(*result))
        *result = findPeer(demultiplexer);
}

HRESULT MeterFilter::findPeer(IBaseFilter& demultiplexer)
{
    const HRESULT result =
        demultiplexer.QueryInterface(IID_IMpeg2Demultiplexer, reinterpret_cast<void**>(demultiplexer_.GetAddressOf()));
    if (FAILED(result))
        return result;
    peerPin_ = findPin(demultiplexer, PINDIR_INPUT);
    if (peerPin_.Get() == nullptr)
        return VFW_E_NOT_FOUND;
    return peerPin_->QueryInterface(IID_IMemInputPin, reinterpret_cast<void**>(peerTransport_.GetAddressOf()));
}

STDMETHODIMP MeterFilter::NonDelegatingQueryInterface(REFIID riid, void** ppv)
{
    if (riid == IID_IMpeg2Demultiplexer)
        return GetInterface(static_cast<IMpeg2Demultiplexer*>(this), ppv);
    return CBaseFilter::NonDelegatingQueryInterface(riid, ppv);
}

CBasePin* MeterFilter::GetPin(int index)
{
    if (index == 0)
        return &input_;
    return index == 1 ? &output_ : nullptr;
}

STDMETHODIMP MeterFilter::CreateOutputPin(AM_MEDIA_TYPE* type, LPWSTR name, IPin** pin)
{
    return demultiplexer_->CreateOutputPin(type, name, pin);
}

STDMETHODIMP MeterFilter::SetOutputPinMediaType(LPWSTR name, AM_MEDIA_TYPE* type)
{
    return demultiplexer_->SetOutputPinMediaType(name, type);
}

STDMETHODIMP MeterFilter::DeleteOutputPin(LPWSTR name)
{
    return demultiplexer_->DeleteOutputPin(name);
}

HRESULT MeterFilter::connectOnwards(const CMediaType& type)
{
    const HRESULT result = type_.Set(type);
    return FAILED(result) ? result : output_.Connect(peerPin_.Get(), nullptr);
}

void MeterFilter::disconnectOnwards()
{
    if (!output_.IsConnected())
        return;
    peerPin_->Disconnect();
    output_.Disconnect();
}

HRESULT MeterFilter::pass(IMediaSample& sample)
{
    const auto length = static_cast<std::uint64_t>(sample.GetActualDataLength());
    const HRESULT result = peerTransport_->Receive(&sample);
    if (result == S_OK) {
        add(samples_, 1);
        add(bytes_, length);
    }
    return result;
}

HRESULT MeterFilter::passEndOfStream()
{
    const HRESULT result = peerPin_->EndOfStream();
    reachedEnd_ = true;
    NotifyEvent(kEndPassed, 0, 0);
    return result;
}

}  // namespace tsgraph
