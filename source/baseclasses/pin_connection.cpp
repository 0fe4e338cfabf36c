// How two pins agree on a connection and give it up.

#include "base_pin.h"

#include <utility>

#include "com_ptr.h"

namespace {

/// A type that is refused without a reason of its own.
HRESULT typeRefusal(HRESULT hr)
{
    return SUCCEEDED(hr) || hr == E_FAIL || hr == E_INVALIDARG ? VFW_E_TYPE_NOT_ACCEPTED : hr;
}

bool saysNothing(HRESULT hr)
{
    return hr == E_FAIL || hr == E_INVALIDARG || hr == VFW_E_TYPE_NOT_ACCEPTED || hr == VFW_E_NO_ACCEPTABLE_TYPES;
}

/// Of all refusals, the first that says something is the one to report.
void keepReason(HRESULT& reason, HRESULT refusal)
{
    if (reason == VFW_E_NO_ACCEPTABLE_TYPES && !saysNothing(refusal))
        reason = refusal;
}

}  // namespace

HRESULT CBasePin::checkFree() const
{
    if (m_Connected || m_connecting)
        return VFW_E_ALREADY_CONNECTED;
    return mayChangeConnection() ? S_OK : VFW_E_NOT_STOPPED;
}

void CBasePin::adopt(IPin* peer)
{
    m_Connected = peer;
    m_Connected->AddRef();
}

/// There may be none any more: a peer that is asked for something on the way may answer with a Disconnect first.
void CBasePin::letPeerGo()
{
    if (IPin* const peer = std::exchange(m_Connected, nullptr))
        peer->Release();
}

void CBasePin::abandon()
{
    BreakConnect();
    letPeerGo();
}

STDMETHODIMP CBasePin::Connect(IPin* pReceivePin, const AM_MEDIA_TYPE* pmt)
{
    if (!pReceivePin)
        return E_POINTER;
    CAutoLock lock(m_pLock);
    HRESULT hr = checkFree();
    if (FAILED(hr))
        return hr;
    m_connecting = true;
    hr = connectTo(pReceivePin, pmt);
    m_connecting = false;
    return hr;
}

HRESULT CBasePin::connectTo(IPin* receiver, const AM_MEDIA_TYPE* wanted)
{
    if (!wanted)
        return AgreeMediaType(receiver, nullptr);
    HRESULT hr = S_OK;
    const CMediaType type(*wanted, &hr);
    return FAILED(hr) ? hr : AgreeMediaType(receiver, &type);
}

HRESULT CBasePin::AgreeMediaType(IPin* pReceivePin, const CMediaType* pmt)
{
    if (pmt && !pmt->IsPartiallySpecified())
        return AttemptConnection(pReceivePin, pmt);
    HRESULT reason = VFW_E_NO_ACCEPTABLE_TYPES;
    for (IPin* lister : {pReceivePin, static_cast<IPin*>(this)}) {
        const HRESULT hr = tryTypesOf(lister, pReceivePin, pmt);
        if (SUCCEEDED(hr))
            return hr;
        keepReason(reason, hr);
    }
    return reason;
}

HRESULT CBasePin::tryTypesOf(IPin* lister, IPin* receiver, const CMediaType* wanted)
{
    ComPtr<IEnumMediaTypes> types;
    // A pin without a list is one whose list is empty.
    if (FAILED(lister->EnumMediaTypes(types.put())) || !types)
        return VFW_E_NO_ACCEPTABLE_TYPES;
    return TryMediaTypes(receiver, wanted, types.get());
}

HRESULT CBasePin::TryMediaTypes(IPin* pReceivePin, const CMediaType* pmt, IEnumMediaTypes* pEnum)
{
    const HRESULT reset = pEnum->Reset();
    if (FAILED(reset))
        return reset;
    HRESULT reason = VFW_E_NO_ACCEPTABLE_TYPES;
    for (;;) {
        AM_MEDIA_TYPE* listed = nullptr;
        if (pEnum->Next(1, &listed, nullptr) != S_OK || !listed)
            return reason;
        HRESULT hr = S_OK;
        const CMediaType type(*listed, &hr);
        DeleteMediaType(listed);
        if (SUCCEEDED(hr) && pmt && !type.MatchesPartial(pmt))
            continue;
        if (SUCCEEDED(hr))
            hr = AttemptConnection(pReceivePin, &type);
        if (SUCCEEDED(hr))
            return hr;
        keepReason(reason, hr);
    }
}

HRESULT CBasePin::AttemptConnection(IPin* pReceivePin, const CMediaType* pmt)
{
    HRESULT hr = CheckConnect(pReceivePin);
    if (SUCCEEDED(hr)) {
        hr = CheckMediaType(pmt);
        if (hr == S_OK)
            return connectWith(pReceivePin, pmt);
        hr = typeRefusal(hr);
    }
    BreakConnect();
    return hr;
}

/// The peer is recorded before the type is set: derived classes look for it there.
HRESULT CBasePin::connectWith(IPin* receiver, const CMediaType* type)
{
    adopt(receiver);
    HRESULT hr = SetMediaType(type);
    if (SUCCEEDED(hr))
        hr = receiver->ReceiveConnection(this, type);
    if (SUCCEEDED(hr)) {
        hr = CompleteConnect(receiver);
        if (SUCCEEDED(hr) && m_Connected)
            return hr;
        if (SUCCEEDED(hr))
            hr = VFW_E_NOT_CONNECTED;
        receiver->Disconnect();
    }
    abandon();
    return hr;
}

STDMETHODIMP CBasePin::ReceiveConnection(IPin* pConnector, const AM_MEDIA_TYPE* pmt)
{
    if (!pConnector || !pmt)
        return E_POINTER;
    CAutoLock lock(m_pLock);
    HRESULT hr = checkFree();
    if (FAILED(hr))
        return hr;
    m_connecting = true;
    hr = receive(pConnector, *pmt);
    m_connecting = false;
    return hr;
}

HRESULT CBasePin::receive(IPin* connector, const AM_MEDIA_TYPE& offered)
{
    HRESULT hr = S_OK;
    const CMediaType type(offered, &hr);
    if (SUCCEEDED(hr))
        hr = CheckConnect(connector);
    if (SUCCEEDED(hr)) {
        hr = CheckMediaType(&type);
        if (hr == S_OK)
            return receiveWith(connector, &type);
        hr = typeRefusal(hr);
    }
    BreakConnect();
    return hr;
}

HRESULT CBasePin::receiveWith(IPin* connector, const CMediaType* type)
{
    adopt(connector);
    HRESULT hr = SetMediaType(type);
    if (SUCCEEDED(hr))
        hr = CompleteConnect(connector);
    if (FAILED(hr))
        abandon();
    return hr;
}

STDMETHODIMP CBasePin::Disconnect()
{
    CAutoLock lock(m_pLock);
    if (!mayChangeConnection())
        return VFW_E_NOT_STOPPED;
    if (!m_Connected)
        return S_FALSE;
    const HRESULT hr = BreakConnect();
    if (FAILED(hr))
        return hr;
    letPeerGo();
    return S_OK;
}
