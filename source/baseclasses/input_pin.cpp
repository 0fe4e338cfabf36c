#include "input_pin.h"

#include <utility>

#include "allocator.h"
#include "com_ptr.h"

CBaseInputPin::CBaseInputPin(CObjectName pObjectName, CBaseFilter* pFilter, CCritSec* pLock, HRESULT* phr,
                             LPCWSTR pName)
    : CBasePin(pObjectName, pFilter, pLock, phr, pName, PINDIR_INPUT)
{
}

CBaseInputPin::~CBaseInputPin()
{
    CBaseInputPin::BreakConnect();
}

STDMETHODIMP CBaseInputPin::NonDelegatingQueryInterface(REFIID riid, void** ppv)
{
    if (riid == IID_IMemInputPin)
        return GetInterface(static_cast<IMemInputPin*>(this), ppv);
    return CBasePin::NonDelegatingQueryInterface(riid, ppv);
}

STDMETHODIMP CBaseInputPin::GetAllocator(IMemAllocator** ppAllocator)
{
    if (!ppAllocator)
        return E_POINTER;
    *ppAllocator = nullptr;
    CAutoLock lock(m_pLock);
    if (!m_pAllocator) {
        const HRESULT hr = CreateMemoryAllocator(&m_pAllocator);
        if (FAILED(hr))
            return hr;
    }
    *ppAllocator = m_pAllocator;
    m_pAllocator->AddRef();
    return S_OK;
}

STDMETHODIMP CBaseInputPin::NotifyAllocator(IMemAllocator* pAllocator, BOOL)
{
    if (!pAllocator)
        return E_POINTER;
    CAutoLock lock(m_pLock);
    pAllocator->AddRef();
    if (IMemAllocator* const old = std::exchange(m_pAllocator, pAllocator))
        old->Release();
    return S_OK;
}

STDMETHODIMP CBaseInputPin::GetAllocatorRequirements(ALLOCATOR_PROPERTIES*)
{
    return E_NOTIMPL;
}

HRESULT CBaseInputPin::CheckStreaming()
{
    if (!IsConnected())
        return VFW_E_NOT_CONNECTED;
    if (IsStopped())
        return VFW_E_WRONG_STATE;
    if (m_bFlushing)
        return S_FALSE;
    return m_bRunTimeError ? VFW_E_RUNTIME_ERROR : S_OK;
}

STDMETHODIMP CBaseInputPin::Receive(IMediaSample* pSample)
{
    if (!pSample)
        return E_POINTER;
    HRESULT hr = CheckStreaming();
    if (hr != S_OK)
        return hr;
    AM_MEDIA_TYPE* changed = nullptr;
    hr = pSample->GetMediaType(&changed);
    if (hr != S_OK)
        return FAILED(hr) ? hr : S_OK;
    hr = takeTypeChange(*changed);
    DeleteMediaType(changed);
    return hr;
}

HRESULT CBaseInputPin::takeTypeChange(const AM_MEDIA_TYPE& type)
{
    if (QueryAccept(&type) == S_OK)
        return S_OK;
    // Nothing that follows could be understood: the stream ends here.
    m_bRunTimeError = true;
    EndOfStream();
    m_pFilter->NotifyEvent(EC_ERRORABORT, VFW_E_TYPE_NOT_ACCEPTED, 0);
    return VFW_E_INVALIDMEDIATYPE;
}

STDMETHODIMP CBaseInputPin::ReceiveMultiple(IMediaSample** pSamples, long nSamples, long* nSamplesProcessed)
{
    if (!pSamples || !nSamplesProcessed)
        return E_POINTER;
    HRESULT hr = S_OK;
    for (*nSamplesProcessed = 0; *nSamplesProcessed < nSamples; ++*nSamplesProcessed) {
        hr = Receive(pSamples[*nSamplesProcessed]);
        if (hr != S_OK)
            break;
    }
    return hr;
}

namespace {

/// Whether a delivery through this output pin may block; a pin that cannot tell may.
bool mayBlock(CBasePin& output)
{
    ComPtr<IPin> peer;
    if (FAILED(output.ConnectedTo(peer.put())))
        return false;
    const auto transport = peer.query<IMemInputPin>(IID_IMemInputPin);
    return transport && transport->ReceiveCanBlock() != S_FALSE;
}

bool isOutput(CBasePin& pin)
{
    PIN_DIRECTION direction{};
    return SUCCEEDED(pin.QueryDirection(&direction)) && direction == PINDIR_OUTPUT;
}

}  // namespace

STDMETHODIMP CBaseInputPin::ReceiveCanBlock()
{
    int outputs = 0;
    for (int i = 0; i < m_pFilter->GetPinCount(); ++i) {
        CBasePin* const pin = m_pFilter->GetPin(i);
        if (!pin || !isOutput(*pin))
            continue;
        if (mayBlock(*pin))
            return S_OK;
        ++outputs;
    }
    // A filter that keeps the data may do anything with it.
    return outputs == 0 ? S_OK : S_FALSE;
}

STDMETHODIMP CBaseInputPin::BeginFlush()
{
    CAutoLock lock(m_pLock);
    m_bFlushing = TRUE;
    return S_OK;
}

STDMETHODIMP CBaseInputPin::EndFlush()
{
    CAutoLock lock(m_pLock);
    m_bFlushing = FALSE;
    m_bRunTimeError = false;
    return S_OK;
}

HRESULT CBaseInputPin::BreakConnect()
{
    if (IMemAllocator* const allocator = std::exchange(m_pAllocator, nullptr)) {
        allocator->Decommit();
        allocator->Release();
    }
    return S_OK;
}

HRESULT CBaseInputPin::Inactive()
{
    CBasePin::Inactive();
    m_bFlushing = FALSE;
    return m_pAllocator ? m_pAllocator->Decommit() : VFW_E_NO_ALLOCATOR;
}
