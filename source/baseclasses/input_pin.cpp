#include "streams.h"

CBaseInputPin::CBaseInputPin(LPCTSTR pObjectName, CBaseFilter* pFilter, CCritSec* pLock, HRESULT* phr, LPCWSTR pName)
    : CBasePin(pObjectName, pFilter, pLock, phr, pName, PINDIR_INPUT)
{
}

CBaseInputPin::~CBaseInputPin()
{
    if (m_pAllocator != nullptr)
        m_pAllocator->Release();
}

STDMETHODIMP CBaseInputPin::NonDelegatingQueryInterface(REFIID riid, void** ppv)
{
    if (riid == IID_IMemInputPin)
        return GetInterface(static_cast<IMemInputPin*>(this), ppv);
    return CBasePin::NonDelegatingQueryInterface(riid, ppv);
}

STDMETHODIMP CBaseInputPin::GetAllocator(IMemAllocator** ppAllocator)
{
    CheckPointer(ppAllocator, E_POINTER);
    *ppAllocator = nullptr;
    CAutoLock lock(m_pLock);
    if (m_pAllocator == nullptr) {
        if (const HRESULT result = CreateMemoryAllocator(&m_pAllocator); FAILED(result))
            return result;
    }
    *ppAllocator = m_pAllocator;
    m_pAllocator->AddRef();
    return S_OK;
}

STDMETHODIMP CBaseInputPin::NotifyAllocator(IMemAllocator* pAllocator, BOOL bReadOnly)
{
    CheckPointer(pAllocator, E_POINTER);
    CAutoLock lock(m_pLock);
    pAllocator->AddRef();
    if (m_pAllocator != nullptr)
        m_pAllocator->Release();
    m_pAllocator = pAllocator;
    m_bReadOnly = bReadOnly ? TRUE : FALSE;
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
    if (m_bFlushing)
        return S_FALSE;
    if (IsStopped())
        return VFW_E_WRONG_STATE;
    return m_bRunTimeError ? VFW_E_RUNTIME_ERROR : S_OK;
}

HRESULT CBaseInputPin::readProperties(IMediaSample* pSample)
{
    IMediaSample2* sample = nullptr;
    if (SUCCEEDED(pSample->QueryInterface(IID_IMediaSample2, reinterpret_cast<void**>(&sample)))) {
        const HRESULT result = sample->GetProperties(sizeof(m_SampleProps), reinterpret_cast<BYTE*>(&m_SampleProps));
        sample->Release();
        return result;
    }
    m_SampleProps = {};
    m_SampleProps.cbData = sizeof(m_SampleProps);
    m_SampleProps.dwStreamId = AM_STREAM_MEDIA;
    if (pSample->IsDiscontinuity() == S_OK)
        m_SampleProps.dwSampleFlags |= AM_SAMPLE_DATADISCONTINUITY;
    if (pSample->IsPreroll() == S_OK)
        m_SampleProps.dwSampleFlags |= AM_SAMPLE_PREROLL;
    if (pSample->IsSyncPoint() == S_OK)
        m_SampleProps.dwSampleFlags |= AM_SAMPLE_SPLICEPOINT;
    if (SUCCEEDED(pSample->GetTime(&m_SampleProps.tStart, &m_SampleProps.tStop)))
        m_SampleProps.dwSampleFlags |= AM_SAMPLE_TIMEVALID | AM_SAMPLE_STOPVALID;
    if (pSample->GetMediaType(&m_SampleProps.pMediaType) == S_OK)
        m_SampleProps.dwSampleFlags |= AM_SAMPLE_TYPECHANGED;
    pSample->GetPointer(&m_SampleProps.pbBuffer);
    m_SampleProps.lActual = pSample->GetActualDataLength();
    m_SampleProps.cbBuffer = pSample->GetSize();
    return S_OK;
}

STDMETHODIMP CBaseInputPin::Receive(IMediaSample* pSample)
{
    CheckPointer(pSample, E_POINTER);
    HRESULT result = CheckStreaming();
    if (result != S_OK)
        return result;
    result = readProperties(pSample);
    if (FAILED(result) || (m_SampleProps.dwSampleFlags & AM_SAMPLE_TYPECHANGED) == 0)
        return result;
    const CMediaType type(*m_SampleProps.pMediaType);
    return CheckMediaType(&type) == S_OK ? S_OK : rejectType();
}

/// The stream goes on in a type that cannot be taken: this ends the run.
HRESULT CBaseInputPin::rejectType()
{
    m_bRunTimeError = true;
    EndOfStream();
    m_pFilter->NotifyEvent(EC_ERRORABORT, VFW_E_TYPE_NOT_ACCEPTED, 0);
    return VFW_E_INVALIDMEDIATYPE;
}

STDMETHODIMP CBaseInputPin::ReceiveMultiple(IMediaSample** pSamples, LONG nSamples, LONG* nSamplesProcessed)
{
    CheckPointer(pSamples, E_POINTER);
    CheckPointer(nSamplesProcessed, E_POINTER);
    HRESULT result = S_OK;
    for (*nSamplesProcessed = 0; *nSamplesProcessed < nSamples; ++*nSamplesProcessed) {
        result = Receive(pSamples[*nSamplesProcessed]);
        if (result != S_OK)
            break;
    }
    return result;
}

/// S_FALSE only when no output pin leads to one that blocks.
STDMETHODIMP CBaseInputPin::ReceiveCanBlock()
{
    int outputs = 0;
    for (int i = 0; i < m_pFilter->GetPinCount(); ++i) {
        CBasePin* pin = m_pFilter->GetPin(i);
        PIN_DIRECTION direction = PINDIR_INPUT;
        if (pin == nullptr || FAILED(pin->QueryDirection(&direction)) || direction == PINDIR_INPUT)
            continue;
        ++outputs;
        IMemInputPin* next = nullptr;
        if (!pin->IsConnected() ||
            FAILED(pin->GetConnected()->QueryInterface(IID_IMemInputPin, reinterpret_cast<void**>(&next))))
            return S_OK;
        const HRESULT blocks = next->ReceiveCanBlock();
        next->Release();
        if (blocks != S_FALSE)
            return S_OK;
    }
    return outputs > 0 ? S_FALSE : S_OK;
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
    if (m_pAllocator != nullptr) {
        m_pAllocator->Decommit();
        m_pAllocator->Release();
        m_pAllocator = nullptr;
    }
    return S_OK;
}

HRESULT CBaseInputPin::Inactive()
{
    m_bRunTimeError = false;
    CheckPointer(m_pAllocator, VFW_E_NO_ALLOCATOR);
    m_bFlushing = FALSE;
    return m_pAllocator->Decommit();
}

HRESULT CBaseInputPin::PassNotify(Quality& q)
{
    if (m_pQSink != nullptr)
        return m_pQSink->Notify(m_pFilter, q);
    IQualityControl* upstream = nullptr;
    if (m_Connected == nullptr ||
        FAILED(m_Connected->QueryInterface(IID_IQualityControl, reinterpret_cast<void**>(&upstream))))
        return VFW_E_NOT_FOUND;
    const HRESULT result = upstream->Notify(m_pFilter, q);
    upstream->Release();
    return result;
}
