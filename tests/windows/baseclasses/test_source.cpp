#include "test_source.h"

#include <cstring>
#include <utility>

CMediaType byteStreamType()
{
    CMediaType type(&MEDIATYPE_Stream);
    type.SetSubtype(&MEDIASUBTYPE_MPEG2_TRANSPORT);
    type.SetSampleSize(188);
    return type;
}

TestStream::TestStream(TestSource* filter, HRESULT* phr, StreamPlan plan)
    : CSourceStream(NAME("test stream"), phr, filter, L"Out"), m_plan(std::move(plan))
{
    if (m_plan.types.empty())
        m_plan.types.push_back(byteStreamType());
}

HRESULT TestStream::CheckMediaType(const CMediaType* type)
{
    for (const CMediaType& own : m_plan.types)
        if (own.majortype == type->majortype && own.subtype == type->subtype)
            return S_OK;
    return E_FAIL;
}

HRESULT TestStream::GetMediaType(int position, CMediaType* type)
{
    if (position < 0)
        return E_INVALIDARG;
    if (static_cast<std::size_t>(position) >= m_plan.types.size())
        return VFW_S_NO_MORE_ITEMS;
    return type->Set(m_plan.types[static_cast<std::size_t>(position)]);
}

HRESULT TestStream::SetMediaType(const CMediaType* type)
{
    ComPtr<IPin> peer;
    m_peerKnownAtSetMediaType = SUCCEEDED(ConnectedTo(peer.put()));
    return FAILED(m_plan.typeSetting) ? m_plan.typeSetting : CSourceStream::SetMediaType(type);
}

HRESULT TestStream::DecideBufferSize(IMemAllocator* allocator, ALLOCATOR_PROPERTIES* request)
{
    m_request = *request;
    if (FAILED(m_plan.bufferDecision))
        return m_plan.bufferDecision;
    request->cBuffers = m_plan.buffers;
    request->cbBuffer = m_plan.bufferSize;
    ALLOCATOR_PROPERTIES actual{};
    return allocator->SetProperties(request, &actual);
}

HRESULT TestStream::Active()
{
    ++m_activated;
    return FAILED(m_plan.activation) ? m_plan.activation : CSourceStream::Active();
}

HRESULT TestStream::Inactive()
{
    ++m_deactivated;
    return CSourceStream::Inactive();
}

HRESULT TestStream::FillBuffer(IMediaSample* sample)
{
    if (m_plan.onFill)
        m_plan.onFill();
    if (m_plan.samples >= 0 && m_filled >= m_plan.samples)
        return m_plan.end;
    BYTE* data = nullptr;
    sample->GetPointer(&data);
    std::memset(data, m_filled & 0xFF, static_cast<std::size_t>(sample->GetSize()));
    ++m_filled;
    return sample->SetActualDataLength(188);
}

HRESULT TestStream::OnThreadCreate()
{
    ++m_threadsCreated;
    return m_plan.threadCreation;
}

HRESULT TestStream::OnThreadDestroy()
{
    ++m_threadsDestroyed;
    return S_OK;
}

HRESULT TestStream::OnThreadStartPlay()
{
    ++m_plays;
    return S_OK;
}

TestSource::TestSource(StreamPlan plan, int pins, LPUNKNOWN outer)
    : CSource(NAME("test source"), outer, CLSID_TestSource)
{
    HRESULT hr = S_OK;
    for (int i = 0; i < pins; ++i)
        new TestStream(this, &hr, plan);
}

TestSource::~TestSource()
{
    if (m_destroyed)
        *m_destroyed = true;
}

ComPtr<IBaseFilter> TestSource::create(TestSource** filter, StreamPlan plan, int pins)
{
    *filter = new TestSource(std::move(plan), pins);
    return take<IBaseFilter>(*filter, IID_IBaseFilter);
}

CUnknown* CALLBACK TestSource::CreateInstance(LPUNKNOWN outer, HRESULT*)
{
    return new TestSource({}, 1, outer);
}
