#include "tools/demultiplexer/demux_filter.h"

#include <algorithm>
#include <memory>

#include "tools/common/com_boundary.h"
#include "tools/demultiplexer/demultiplexer.h"

namespace demux {
namespace {

// {5E0C6A93-7B1D-4C52-9A6F-1D84B7E3C250}: the stand-in's own, it does not pass for the system's demultiplexer.
constexpr CLSID kClassId{0x5e0c6a93, 0x7b1d, 0x4c52, {0x9a, 0x6f, 0x1d, 0x84, 0xb7, 0xe3, 0xc2, 0x50}};

}  // namespace

DemuxFilter::DemuxFilter(HRESULT* result)
    : CBaseFilter(TEXT("Stand-in demultiplexer"), nullptr, &stateLock_, kClassId), input_(*this, stateLock_, result)
{
}

STDMETHODIMP DemuxFilter::NonDelegatingQueryInterface(REFIID riid, void** ppv)
{
    if (riid == IID_IMpeg2Demultiplexer)
        return GetInterface(static_cast<IMpeg2Demultiplexer*>(this), ppv);
    return CBaseFilter::NonDelegatingQueryInterface(riid, ppv);
}

int DemuxFilter::GetPinCount()
{
    CAutoLock lock(&pinsLock_);
    return 1 + static_cast<int>(outputs_.size());
}

CBasePin* DemuxFilter::GetPin(int index)
{
    CAutoLock lock(&pinsLock_);
    if (index == 0)
        return &input_;
    const auto output = static_cast<std::size_t>(index) - 1;
    return index > 0 && output < outputs_.size() ? outputs_[output].get() : nullptr;
}

STDMETHODIMP DemuxFilter::Stop()
{
    const HRESULT result = CBaseFilter::Stop();
    CAutoLock lock(&receiveLock_);
    resetStreaming();
    splitter_.takeRoutes();
    routesSeen_ = routesVersion_ - 1;  // connections may change now
    return result;
}

std::vector<PinRef> DemuxFilter::outputPins()
{
    CAutoLock lock(&pinsLock_);
    return outputs_;
}

HRESULT createDemultiplexer(IBaseFilter** filter) noexcept
{
    if (filter == nullptr)
        return E_POINTER;
    *filter = nullptr;
    return comBoundary([filter] {
        HRESULT result = S_OK;
        auto object = std::make_unique<DemuxFilter>(&result);
        if (FAILED(result))
            return result;
        object->AddRef();
        *filter = object.release();
        return S_OK;
    });
}

}  // namespace demux
