#include "test_source.h"

#include <algorithm>
#include <cstring>

namespace zarnow::test {

TestStream::TestStream(CSource* filter, HRESULT* result, StreamPlan streamPlan)
    : CSourceStream(nullptr, result, filter, L"Out"), plan(std::move(streamPlan))
{
}

HRESULT TestStream::CheckMediaType(const CMediaType* type)
{
    const bool known = std::ranges::any_of(plan.types, [&](const CMediaType& own) {
        return own.majortype == type->majortype && own.subtype == type->subtype;
    });
    return known ? S_OK : E_FAIL;
}

HRESULT TestStream::GetMediaType(int position, CMediaType* type)
{
    const auto index = static_cast<std::size_t>(position);
    return index < plan.types.size() ? type->Set(plan.types[index]) : VFW_S_NO_MORE_ITEMS;
}

HRESULT TestStream::SetMediaType(const CMediaType* type)
{
    peerKnownAtSetMediaType = IsConnected() != FALSE;
    return FAILED(plan.typeSetting) ? plan.typeSetting : CSourceStream::SetMediaType(type);
}

HRESULT TestStream::DecideBufferSize(IMemAllocator* allocator, ALLOCATOR_PROPERTIES* request)
{
    requested = *request;
    if (FAILED(plan.bufferDecision))
        return plan.bufferDecision;
    request->cBuffers = kBuffers;
    request->cbBuffer = 188;
    ALLOCATOR_PROPERTIES actual{};
    return allocator->SetProperties(request, &actual);
}

HRESULT TestStream::Active()
{
    ++activated;
    return FAILED(plan.activation) ? plan.activation : CSourceStream::Active();
}

HRESULT TestStream::Inactive()
{
    ++deactivated;
    return CSourceStream::Inactive();
}

HRESULT TestStream::FillBuffer(IMediaSample* sample)
{
    plan.onFill();
    if (plan.samples >= 0 && filled >= plan.samples)
        return plan.end;
    ++filled;
    return sample->SetActualDataLength(188);
}

HRESULT TestStream::OnThreadDestroy()
{
    ++threadsDestroyed;
    return S_OK;
}

HRESULT TestStream::OnThreadStartPlay()
{
    ++plays;
    return S_OK;
}

TestSource::TestSource(const StreamPlan& plan, int pins, LPUNKNOWN outer) : CSource(nullptr, outer, CLSID_TestSource)
{
    HRESULT result = S_OK;
    for (int i = 0; i < pins; ++i)
        new TestStream(this, &result, plan);  // which adds itself to its filter
}

TestSource::~TestSource()
{
    if (destroyed != nullptr)
        *destroyed = true;
}

ComPtr<IBaseFilter> TestSource::create(TestSource** filter, const StreamPlan& plan, int pins)
{
    *filter = new TestSource(plan, pins);
    return take<IBaseFilter>(*filter, IID_IBaseFilter);
}

}  // namespace zarnow::test
