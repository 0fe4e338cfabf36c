// How two pins agree on a connection.

#include "streams.h"

namespace {

/// A refusal that says no more than "no".
bool saysNothing(HRESULT result)
{
    return result == E_FAIL || result == E_INVALIDARG || result == VFW_E_TYPE_NOT_ACCEPTED ||
           result == VFW_E_NO_ACCEPTABLE_TYPES;
}

HRESULT asTypeRefusal(HRESULT result)
{
    return SUCCEEDED(result) || result == E_FAIL || result == E_INVALIDARG ? VFW_E_TYPE_NOT_ACCEPTED : result;
}

}  // namespace

HRESULT CBasePin::checkConnectable() const
{
    if (m_Connected != nullptr)
        return VFW_E_ALREADY_CONNECTED;
    return IsStopped() || m_bCanReconnectWhenActive ? S_OK : VFW_E_NOT_STOPPED;
}

STDMETHODIMP CBasePin::Connect(IPin* pReceivePin, const AM_MEDIA_TYPE* pmt)
{
    CheckPointer(pReceivePin, E_POINTER);
    CAutoLock lock(m_pLock);
    if (const HRESULT result = checkConnectable(); FAILED(result))
        return result;
    if (pmt == nullptr)
        return AgreeMediaType(pReceivePin, nullptr);
    const CMediaType type(*pmt);
    return AgreeMediaType(pReceivePin, &type);
}

/// @param pmt  null, or a type; one that leaves something open narrows the search
HRESULT CBasePin::AgreeMediaType(IPin* pReceivePin, const CMediaType* pmt)
{
    if (pmt != nullptr && !pmt->IsPartiallySpecified())
        return AttemptConnection(pReceivePin, pmt);
    IPin* const owners[] = {m_bTryMyTypesFirst ? this : pReceivePin, m_bTryMyTypesFirst ? pReceivePin : this};
    HRESULT refusal = VFW_E_NO_ACCEPTABLE_TYPES;
    for (IPin* owner : owners) {
        const HRESULT result = tryTypesOf(owner, pReceivePin, pmt);
        if (SUCCEEDED(result))
            return S_OK;
        if (refusal == VFW_E_NO_ACCEPTABLE_TYPES && !saysNothing(result))
            refusal = result;
    }
    return refusal;
}

HRESULT CBasePin::tryTypesOf(IPin* owner, IPin* pReceivePin, const CMediaType* pmt)
{
    IEnumMediaTypes* types = nullptr;
    if (FAILED(owner->EnumMediaTypes(&types)) || types == nullptr)
        return VFW_E_NO_ACCEPTABLE_TYPES;
    const HRESULT result = TryMediaTypes(pReceivePin, pmt, types);
    types->Release();
    return result;
}

HRESULT CBasePin::TryMediaTypes(IPin* pReceivePin, const CMediaType* pmt, IEnumMediaTypes* pEnum)
{
    HRESULT refusal = VFW_E_NO_ACCEPTABLE_TYPES;
    pEnum->Reset();
    AM_MEDIA_TYPE* candidate = nullptr;
    for (ULONG count = 0; pEnum->Next(1, &candidate, &count) == S_OK;) {
        const CMediaType type(*candidate);
        DeleteMediaType(candidate);
        if (pmt != nullptr && !type.MatchesPartial(pmt))
            continue;
        const HRESULT result = AttemptConnection(pReceivePin, &type);
        if (SUCCEEDED(result))
            return result;
        if (refusal == VFW_E_NO_ACCEPTABLE_TYPES && !saysNothing(result))
            refusal = result;
    }
    return refusal;
}

HRESULT CBasePin::AttemptConnection(IPin* pReceivePin, const CMediaType* pmt)
{
    HRESULT result = connectWith(pReceivePin, pmt);
    if (FAILED(result))
        return result;
    result = pReceivePin->ReceiveConnection(this, pmt);
    if (SUCCEEDED(result)) {
        result = CompleteConnect(pReceivePin);
        if (SUCCEEDED(result))
            return result;
        pReceivePin->Disconnect();
    }
    dropConnection();
    return result;
}

/// The half of it that both sides do: check the peer and the type, and record them. Leaves nothing behind on failure.
HRESULT CBasePin::connectWith(IPin* pPin, const CMediaType* pmt)
{
    HRESULT result = CheckConnect(pPin);
    if (FAILED(result)) {
        BreakConnect();
        return result;
    }
    result = CheckMediaType(pmt);
    if (result != S_OK) {
        BreakConnect();
        return asTypeRefusal(result);
    }
    m_Connected = pPin;
    m_Connected->AddRef();
    result = SetMediaType(pmt);
    if (FAILED(result))
        dropConnection();
    return result;
}

void CBasePin::dropConnection()
{
    BreakConnect();
    m_Connected->Release();
    m_Connected = nullptr;
}

STDMETHODIMP CBasePin::ReceiveConnection(IPin* pConnector, const AM_MEDIA_TYPE* pmt)
{
    CheckPointer(pConnector, E_POINTER);
    CheckPointer(pmt, E_POINTER);
    CAutoLock lock(m_pLock);
    if (const HRESULT result = checkConnectable(); FAILED(result))
        return result;
    const CMediaType type(*pmt);
    HRESULT result = connectWith(pConnector, &type);
    if (FAILED(result))
        return result;
    result = CompleteConnect(pConnector);
    if (FAILED(result))
        dropConnection();
    return result;
}

STDMETHODIMP CBasePin::Disconnect()
{
    CAutoLock lock(m_pLock);
    return IsStopped() ? DisconnectInternal() : VFW_E_NOT_STOPPED;
}

HRESULT CBasePin::DisconnectInternal()
{
    if (m_Connected == nullptr)
        return S_FALSE;
    if (const HRESULT result = BreakConnect(); FAILED(result))
        return result;
    m_Connected->Release();
    m_Connected = nullptr;
    return S_OK;
}
