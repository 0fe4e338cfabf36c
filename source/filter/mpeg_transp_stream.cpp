#include "filter/mpeg_transp_stream.h"

#include <utility>

#include "filter/mpeg_ts_source.h"
#include "mediatypes/demultiplexer_configuration.h"

namespace zarnow {

namespace {

constexpr long kBufferCount = 4;
constexpr long kBufferAlignment = 16;

}  // namespace

CMPEGTranspStream::CMPEGTranspStream(HRESULT* phr, CMPEGTSSource* source)
    : CSourceStream(nullptr, phr, source, L"TS Out"), analysisMutex(std::make_shared<CSlimMutex>()), filter(*source)
{
    if (readBuffer == nullptr && phr != nullptr)
        *phr = E_OUTOFMEMORY;  // without it no file would ever be analysed
}

/// A pin may be destroyed at any time: a scan on another thread gives up at its next block, and a worker that is
/// still there is ended first.
CMPEGTranspStream::~CMPEGTranspStream()
{
    abortScan = true;
    const CAnalysisLock lastOne(analysisMutex);
    if (ThreadExists())
        Inactive();
}

STDMETHODIMP CMPEGTranspStream::NonDelegatingQueryInterface(REFIID riid, void** ppv)
{
    CheckPointer(ppv, E_POINTER);
    if (riid == IID_ITarnwell)
        return GetInterface(static_cast<ITarnwell*>(this), ppv);
    if (riid == IID_IFileSourceFilter)
        return GetInterface(static_cast<IFileSourceFilter*>(this), ppv);
    if (riid == IID_IMediaPosition)
        return GetInterface(static_cast<IMediaPosition*>(this), ppv);
    return CSourceStream::NonDelegatingQueryInterface(riid, ppv);
}

HRESULT CMPEGTranspStream::Active()
{
    announceSegment();
    return CSourceStream::Active();
}

HRESULT CMPEGTranspStream::Inactive()
{
    const HRESULT result = CSourceStream::Inactive();
    deliverPendingEndFlush();
    return result;
}

HRESULT CMPEGTranspStream::OnThreadDestroy()
{
    deliverPendingEndFlush();
    return S_OK;
}

void CMPEGTranspStream::deliverPendingEndFlush()
{
    CAutoLock lock(&flushLock);
    if (!endFlushPending)
        return;
    DeliverEndFlush();
    endFlushPending = false;
}

HRESULT CMPEGTranspStream::CheckMediaType(const CMediaType* pmt)
{
    CheckPointer(pmt, E_POINTER);
    CAutoLock lock(m_pFilter->pStateLock());
    const bool transport = *pmt->Type() == MEDIATYPE_Stream && *pmt->Subtype() == MEDIASUBTYPE_MPEG2_TRANSPORT;
    return transport ? S_OK : E_INVALIDARG;
}

HRESULT CMPEGTranspStream::GetMediaType(int iPosition, CMediaType* pmt)
{
    CheckPointer(pmt, E_POINTER);
    CAutoLock lock(m_pFilter->pStateLock());
    if (iPosition < 0)
        return E_INVALIDARG;
    if (iPosition > 0)
        return VFW_S_NO_MORE_ITEMS;
    if (!analysed)
        return E_INVALIDARG;
    pmt->SetType(&MEDIATYPE_Stream);
    pmt->SetFormatType(&GUID_NULL);
    pmt->SetSubtype(&MEDIASUBTYPE_MPEG2_TRANSPORT);
    pmt->SetTemporalCompression(TRUE);
    pmt->bFixedSizeSamples = TRUE;
    pmt->lSampleSize = readBufferSize;  // whatever it is: SetSampleSize takes 0 for a variable size
    return S_OK;
}

/// The base has recorded the peer by now, so the demultiplexer is found; what it refuses ends the connection.
HRESULT CMPEGTranspStream::SetMediaType(const CMediaType* pmt)
{
    CAutoLock lock(m_pFilter->pStateLock());
    const HRESULT result = CSourceStream::SetMediaType(pmt);
    return analysed ? ConfigureDemultiplexer() : result;
}

/// Works on copies: the demultiplexer is somebody else's and may want locks whose holders wait for the analysis.
HRESULT CMPEGTranspStream::ConfigureDemultiplexer()
{
    try {
        const auto [video, audio] = [this] {
            const CAnalysisLock lock(analysisMutex);
            return std::pair(videoStreams, audioStreams);
        }();
        return zarnow::ConfigureDemultiplexer(this, {.video = video, .audio = audio}, AvcPresent);
    } catch (...) {
        return E_OUTOFMEMORY;
    }
}

/// Called inside a load or a selection, which report their own results. Without a connection there is nothing to do,
/// and nobody downstream who keeps the pin alive while the lock is given up.
void CMPEGTranspStream::configureDemultiplexer()
{
    if (!IsConnected())
        return;
    const CAnalysisBreak unlocked(analysisMutex);
    ConfigureDemultiplexer();
}

HRESULT CMPEGTranspStream::DecideAllocator(IMemInputPin* pPin, IMemAllocator** ppAlloc)
{
    CheckPointer(pPin, E_POINTER);
    CheckPointer(ppAlloc, E_POINTER);
    *ppAlloc = nullptr;
    ALLOCATOR_PROPERTIES wanted = {};
    pPin->GetAllocatorRequirements(&wanted);
    if (wanted.cbAlign == 0)
        wanted.cbAlign = kBufferAlignment;

    HRESULT result = pPin->GetAllocator(ppAlloc);
    if (SUCCEEDED(result))
        result = tryAllocator(*pPin, *ppAlloc, wanted);
    if (SUCCEEDED(result))
        return S_OK;
    if (*ppAlloc != nullptr)
        (*ppAlloc)->Release();  // the caller's reference, given with the pointer
    *ppAlloc = nullptr;

    result = InitAllocator(ppAlloc);
    if (SUCCEEDED(result))
        result = tryAllocator(*pPin, *ppAlloc, wanted);
    if (FAILED(result) && *ppAlloc != nullptr) {
        (*ppAlloc)->Release();
        *ppAlloc = nullptr;
    }
    return result;
}

HRESULT CMPEGTranspStream::tryAllocator(IMemInputPin& pin, IMemAllocator* allocator, ALLOCATOR_PROPERTIES wanted)
{
    const HRESULT result = DecideBufferSize(allocator, &wanted);
    return SUCCEEDED(result) ? pin.NotifyAllocator(allocator, FALSE) : result;
}

HRESULT CMPEGTranspStream::DecideBufferSize(IMemAllocator* pAlloc, ALLOCATOR_PROPERTIES* pRequest)
{
    CheckPointer(pAlloc, E_POINTER);
    CheckPointer(pRequest, E_POINTER);
    CAutoLock lock(m_pFilter->pStateLock());
    pRequest->cBuffers = kBufferCount;
    pRequest->cbBuffer = static_cast<long>(readBufferSize);
    pRequest->cbAlign = kBufferAlignment;
    ALLOCATOR_PROPERTIES granted = {};
    const HRESULT result = pAlloc->SetProperties(pRequest, &granted);
    if (FAILED(result))
        return result;
    return static_cast<std::uint32_t>(granted.cbBuffer) < readBufferSize ? E_FAIL : S_OK;
}

}  // namespace zarnow
