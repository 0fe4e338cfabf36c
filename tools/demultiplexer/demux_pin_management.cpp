// IMpeg2Demultiplexer of the stand-in: output pins come and go by name.

#include <algorithm>

#include "tools/common/com_boundary.h"
#include "tools/common/com_ptr.h"
#include "tools/demultiplexer/demux_filter.h"

namespace demux {

STDMETHODIMP DemuxFilter::CreateOutputPin(AM_MEDIA_TYPE* type, LPWSTR name, IPin** pin)
{
    if (pin == nullptr)
        return E_POINTER;
    *pin = nullptr;
    if (type == nullptr || name == nullptr)
        return E_POINTER;
    return comBoundary([&] { return addPin(*type, name, pin); });
}

STDMETHODIMP DemuxFilter::SetOutputPinMediaType(LPWSTR name, AM_MEDIA_TYPE* type)
{
    if (type == nullptr || name == nullptr)
        return E_POINTER;
    return comBoundary([&] {
        CAutoLock lock(&stateLock_);
        const std::optional<PinRef> pin = findPin(name);
        return pin ? (*pin)->changeMediaType(*type) : VFW_E_NOT_FOUND;
    });
}

STDMETHODIMP DemuxFilter::DeleteOutputPin(LPWSTR name)
{
    if (name == nullptr)
        return E_POINTER;
    return comBoundary([&] { return removePin(name); });
}

std::optional<PinRef> DemuxFilter::findPin(const wchar_t* name)
{
    CAutoLock lock(&pinsLock_);
    const auto found = std::ranges::find_if(outputs_, [name](const PinRef& pin) { return pin->isNamed(name); });
    return found == outputs_.end() ? std::nullopt : std::optional<PinRef>{*found};
}

HRESULT DemuxFilter::addPin(const AM_MEDIA_TYPE& type, const wchar_t* name, IPin** pin)
{
    CAutoLock lock(&stateLock_);
    if (findPin(name))
        return VFW_E_DUPLICATE_NAME;
    HRESULT result = S_OK;
    const PinRef created{new DemuxOutputPin(*this, stateLock_, name, type, &result)};
    if (FAILED(result))
        return result;
    {
        CAutoLock pins(&pinsLock_);
        outputs_.push_back(created);
    }
    IncrementPinVersion();
    created->AddRef();
    *pin = created.get();
    return S_OK;
}

HRESULT DemuxFilter::removePin(const wchar_t* name)
{
    CAutoLock lock(&stateLock_);
    const std::optional<PinRef> pin = findPin(name);
    if (!pin)
        return VFW_E_NOT_FOUND;
    const HRESULT result = disconnect(*pin->get());
    if (FAILED(result))
        return result;
    (*pin)->markDeleted();
    forget(pin->get());
    IncrementPinVersion();
    routesChanged();
    return S_OK;
}

HRESULT DemuxFilter::disconnect(DemuxOutputPin& pin)
{
    if (!pin.IsConnected())
        return S_OK;
    if (m_State != State_Stopped)
        return VFW_E_NOT_STOPPED;
    const ComPtr<IPin> peer{pin.GetConnected()};
    const HRESULT result = peer->Disconnect();
    return FAILED(result) ? result : pin.Disconnect();
}

void DemuxFilter::forget(const DemuxOutputPin* pin)
{
    CAutoLock lock(&pinsLock_);
    std::erase_if(outputs_, [pin](const PinRef& each) { return each.get() == pin; });
}

}  // namespace demux
