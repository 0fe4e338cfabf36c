#include "tools/demultiplexer/demux_output_pin.h"

#include <algorithm>
#include <cstring>
#include <string_view>

#include "tools/common/com_boundary.h"
#include "tools/common/com_ptr.h"
#include "tools/demultiplexer/demux_filter.h"

namespace demux {
namespace {

// Room for the longest PES packet with a length (65541 bytes) in one sample.
constexpr long kSampleSize = 66 * 1024;
constexpr long kSampleCount = 8;

}  // namespace

DemuxOutputPin::DemuxOutputPin(DemuxFilter& filter, CCritSec& stateLock, const wchar_t* name, const AM_MEDIA_TYPE& type,
                               HRESULT* result)
    : CBaseOutputPin(TEXT("Demultiplexer output"), &filter, &stateLock, result, name), filter_(filter)
{
    if (SUCCEEDED(*result))
        *result = type_.Set(type);
}

STDMETHODIMP DemuxOutputPin::NonDelegatingQueryInterface(REFIID riid, void** ppv)
{
    if (riid == __uuidof(IMPEG2PIDMap))
        return GetInterface(static_cast<IMPEG2PIDMap*>(this), ppv);
    return CBaseOutputPin::NonDelegatingQueryInterface(riid, ppv);
}

STDMETHODIMP_(ULONG) DemuxOutputPin::NonDelegatingAddRef()
{
    m_pFilter->AddRef();
    return ++references_;
}

STDMETHODIMP_(ULONG) DemuxOutputPin::NonDelegatingRelease()
{
    CBaseFilter* const filter = m_pFilter;
    const ULONG left = --references_;
    if (left == 0)
        delete this;
    filter->Release();
    return left;
}

void DemuxOutputPin::drop() noexcept
{
    if (--references_ == 0)
        delete this;
}

HRESULT DemuxOutputPin::CheckMediaType(const CMediaType* type)
{
    CAutoLock lock(&settingsLock_);
    return *type == type_ ? S_OK : VFW_E_TYPE_NOT_ACCEPTED;
}

HRESULT DemuxOutputPin::GetMediaType(int position, CMediaType* type)
{
    if (position < 0)
        return E_INVALIDARG;
    if (position > 0)
        return VFW_S_NO_MORE_ITEMS;
    CAutoLock lock(&settingsLock_);
    return type->Set(type_);
}

HRESULT DemuxOutputPin::CheckConnect(IPin* peer)
{
    return deleted_ ? VFW_E_NOT_FOUND : CBaseOutputPin::CheckConnect(peer);
}

HRESULT DemuxOutputPin::DecideBufferSize(IMemAllocator* allocator, ALLOCATOR_PROPERTIES* request)
{
    request->cBuffers = std::max(request->cBuffers, kSampleCount);
    request->cbBuffer = std::max(request->cbBuffer, kSampleSize);
    request->cbAlign = std::max(request->cbAlign, 1L);
    ALLOCATOR_PROPERTIES actual{};
    const HRESULT result = allocator->SetProperties(request, &actual);
    if (FAILED(result))
        return result;
    return actual.cBuffers > 0 && actual.cbBuffer > 0 ? S_OK : E_FAIL;
}

HRESULT DemuxOutputPin::Active()
{
    forgetRefusal();
    return CBaseOutputPin::Active();
}

template <typename Change>
HRESULT DemuxOutputPin::changeMap(ULONG count, const ULONG* pids, Change&& change)
{
    if (pids == nullptr)
        return E_POINTER;
    return comBoundary([&] {
        CAutoLock lock(&settingsLock_);
        const HRESULT result = change(std::span<const ULONG>{pids, count});
        filter_.routesChanged();
        return result;
    });
}

STDMETHODIMP DemuxOutputPin::MapPID(ULONG count, ULONG* pids, MEDIA_SAMPLE_CONTENT content)
{
    return changeMap(count, pids, [&](std::span<const ULONG> list) { return pidMap_.map(list, content); });
}

STDMETHODIMP DemuxOutputPin::UnmapPID(ULONG count, ULONG* pids)
{
    return changeMap(count, pids, [&](std::span<const ULONG> list) { return pidMap_.unmap(list); });
}

STDMETHODIMP DemuxOutputPin::EnumPIDMap(IEnumPIDMap** enumerator)
{
    if (enumerator == nullptr)
        return E_POINTER;
    *enumerator = nullptr;
    return comBoundary([&] { return createPidMapEnumerator(mappedPids(), enumerator); });
}

bool DemuxOutputPin::isNamed(const wchar_t* name) const
{
    return std::wstring_view{m_pName} == name;
}

std::vector<PID_MAP> DemuxOutputPin::mappedPids()
{
    CAutoLock lock(&settingsLock_);
    return pidMap_.entries();
}

HRESULT DemuxOutputPin::changeMediaType(const AM_MEDIA_TYPE& type)
{
    if (m_Connected != nullptr && m_Connected->QueryAccept(&type) != S_OK)
        return VFW_E_TYPE_NOT_ACCEPTED;
    CAutoLock lock(&settingsLock_);
    const HRESULT result = type_.Set(type);
    typeChanged_ = SUCCEEDED(result) && m_Connected != nullptr;
    return result;
}

void DemuxOutputPin::deliver(std::span<const std::uint8_t> bytes, std::optional<REFERENCE_TIME> start,
                             bool discontinuity)
{
    while (!bytes.empty() && refusal_ == S_OK) {
        const HRESULT result = deliverSample(bytes, start, discontinuity);
        start.reset();
        discontinuity = false;
        if (result != S_OK) {
            refusal_ = result;
            filter_.noteRefusal();
        }
    }
}

HRESULT DemuxOutputPin::deliverSample(std::span<const std::uint8_t>& bytes, const std::optional<REFERENCE_TIME>& start,
                                      bool discontinuity)
{
    ComPtr<IMediaSample> sample;
    HRESULT result = GetDeliveryBuffer(sample.GetAddressOf(), nullptr, nullptr, 0);
    if (FAILED(result))
        return result;
    BYTE* data = nullptr;
    const long room = sample->GetSize();
    if (FAILED(sample->GetPointer(&data)) || data == nullptr || room <= 0)
        return VFW_E_BUFFER_NOTSET;
    const std::size_t count = std::min(bytes.size(), static_cast<std::size_t>(room));
    std::memcpy(data, bytes.data(), count);
    bytes = bytes.subspan(count);
    result = sample->SetActualDataLength(static_cast<long>(count));
    if (SUCCEEDED(result))
        result = describe(*sample.Get(), start, discontinuity);
    return FAILED(result) ? result : Deliver(sample.Get());
}

HRESULT DemuxOutputPin::describe(IMediaSample& sample, std::optional<REFERENCE_TIME> start, bool discontinuity)
{
    sample.SetTime(start ? &*start : nullptr, nullptr);
    sample.SetSyncPoint(start ? TRUE : FALSE);
    sample.SetDiscontinuity(discontinuity ? TRUE : FALSE);
    return typeChanged_.exchange(false) ? attachNewType(sample) : S_OK;
}

HRESULT DemuxOutputPin::attachNewType(IMediaSample& sample)
{
    CMediaType type;
    {
        CAutoLock lock(&settingsLock_);
        const HRESULT result = type.Set(type_);
        if (FAILED(result))
            return result;
    }
    m_mt.Set(type);
    return sample.SetMediaType(&type);
}

}  // namespace demux
