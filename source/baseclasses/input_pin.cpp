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

STDMETHODIMP CBaseInputPin::NotifyAllocator(IMemAllocator* pAllocator, BOOL bReadOnly)
{
    if (!pAllocator)
        return E_POINTER;
    CAutoLock lock(m_pLock);
    pAllocator->AddRef();
    if (IMemAllocator* const old = std::exchange(m_pAllocator, pAllocator))
        old->Release();
    m_bReadOnly = bReadOnly;
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
    hr = readProperties(pSample);
    if (FAILED(hr))
        return hr;
    return m_SampleProps.dwSampleFlags & AM_SAMPLE_TYPECHANGED ? checkTypeChange() : S_OK;
}

HRESULT CBaseInputPin::readProperties(IMediaSample* sample)
{
    const ComPtr<IMediaSample2> sample2 = ComPtr<IMediaSample>(sample).query<IMediaSample2>(IID_IMediaSample2);
    if (sample2)
        return sample2->GetProperties(sizeof m_SampleProps, reinterpret_cast<BYTE*>(&m_SampleProps));
    return readPropertiesSingly(sample);
}

/// For samples of allocators from before IMediaSample2.
HRESULT CBaseInputPin::readPropertiesSingly(IMediaSample* sample)
{
    AM_SAMPLE2_PROPERTIES props{};
    props.cbData = sizeof props;
    props.dwStreamId = AM_STREAM_MEDIA;
    const auto flag = [&props](HRESULT hr, DWORD value) { props.dwSampleFlags |= hr == S_OK ? value : 0; };
    flag(sample->IsDiscontinuity(), AM_SAMPLE_DATADISCONTINUITY);
    flag(sample->IsPreroll(), AM_SAMPLE_PREROLL);
    flag(sample->IsSyncPoint(), AM_SAMPLE_SPLICEPOINT);
    const HRESULT timed = sample->GetTime(&props.tStart, &props.tStop);
    props.dwSampleFlags |= SUCCEEDED(timed) ? AM_SAMPLE_TIMEVALID : 0;
    flag(timed, AM_SAMPLE_STOPVALID);
    AM_MEDIA_TYPE* type = nullptr;
    flag(sample->GetMediaType(&type), AM_SAMPLE_TYPECHANGED);
    if (type) {
        m_changedType.Set(*type);
        props.pMediaType = &m_changedType;
        DeleteMediaType(type);
    }
    props.lActual = sample->GetActualDataLength();
    props.cbBuffer = sample->GetSize();
    const HRESULT hr = sample->GetPointer(&props.pbBuffer);
    m_SampleProps = props;
    return hr;
}

HRESULT CBaseInputPin::checkTypeChange()
{
    if (m_SampleProps.pMediaType) {
        HRESULT copied = S_OK;
        const CMediaType type(*m_SampleProps.pMediaType, &copied);
        if (SUCCEEDED(copied) && CheckMediaType(&type) == S_OK)
            return S_OK;
    }
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

HRESULT CBaseInputPin::PassNotify(Quality& q)
{
    if (m_pQSink)
        return m_pQSink->Notify(m_pFilter, q);
    const auto upstream = ComPtr<IPin>(m_Connected).query<IQualityControl>(IID_IQualityControl);
    return upstream ? upstream->Notify(m_pFilter, q) : VFW_E_NOT_FOUND;
}
