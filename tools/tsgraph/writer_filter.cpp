#include "tools/tsgraph/writer_filter.h"

#include <algorithm>

#include "tools/common/com_boundary.h"

namespace tsgraph {
namespace {

// {8D2B61F7-4C0E-4E93-B5A8-60F31C9D7E42}
constexpr CLSID kClassId{0x8d2b61f7, 0x4c0e, 0x4e93, {0xb5, 0xa8, 0x60, 0xf3, 0x1c, 0x9d, 0x7e, 0x42}};

}  // namespace

WriterPin::WriterPin(WriterFilter& filter, CCritSec& lock, HRESULT* result)
    : CBaseInputPin(TEXT("Writer input"), &filter, &lock, result, L"In"), filter_(filter)
{
}

STDMETHODIMP WriterPin::Receive(IMediaSample* sample)
{
    return comBoundary([&] {
        const HRESULT result = CBaseInputPin::Receive(sample);
        return result == S_OK ? filter_.take(*sample) : result;
    });
}

STDMETHODIMP WriterPin::EndOfStream()
{
    return comBoundary([&] {
        const HRESULT result = CheckStreaming();
        return result == S_OK ? filter_.endStream() : result;
    });
}

STDMETHODIMP WriterPin::EndFlush()
{
    filter_.forgetPartialPacket();
    return CBaseInputPin::EndFlush();
}

WriterFilter::WriterFilter(Content content, HRESULT* result)
    : CBaseFilter(TEXT("Stream writer"), nullptr, &lock_, kClassId), input_(*this, lock_, result), content_(content)
{
}

STDMETHODIMP WriterFilter::NonDelegatingQueryInterface(REFIID riid, void** ppv)
{
    if (riid == IID_IAMFilterMiscFlags)
        return GetInterface(static_cast<IAMFilterMiscFlags*>(this), ppv);
    return CBaseFilter::NonDelegatingQueryInterface(riid, ppv);
}

STDMETHODIMP WriterFilter::Pause()
{
    CAutoLock lock(&lock_);
    if (m_State == State_Stopped)
        reachedEnd_ = endReported_ = false;
    return CBaseFilter::Pause();
}

STDMETHODIMP WriterFilter::Run(REFERENCE_TIME start)
{
    const HRESULT result = CBaseFilter::Run(start);
    if (SUCCEEDED(result))
        reportEnd();
    return result;
}

HRESULT WriterFilter::finish() noexcept
{
    const HRESULT closed = file_.close();
    return FAILED(fileResult_) ? fileResult_.load() : closed;
}

HRESULT WriterFilter::take(IMediaSample& sample)
{
    BYTE* data = nullptr;
    const long length = std::min(sample.GetActualDataLength(), sample.GetSize());
    const HRESULT result = sample.GetPointer(&data);
    if (FAILED(result) || data == nullptr || length <= 0)
        return result;
    const std::span<const std::uint8_t> bytes{data, static_cast<std::size_t>(length)};
    if (content_ == Content::kElementaryStream) {
        consume(bytes);
    } else {
        if (sample.IsDiscontinuity() == S_OK)
            packets_.reset();
        packets_.push(bytes, *this);
    }
    return fileResult_;
}

void WriterFilter::consume(std::span<const std::uint8_t> bytes)
{
    bytes_ += bytes.size();
    if (!file_.isOpen() || FAILED(fileResult_))
        return;
    fileResult_ = file_.write(bytes);
    if (FAILED(fileResult_))
        NotifyEvent(EC_ERRORABORT, fileResult_, 0);
}

HRESULT WriterFilter::endStream()
{
    reachedEnd_ = true;
    reportEnd();
    return S_OK;
}

// The graph is told once, and only while it runs: an end that comes while it is paused is reported when it starts.
bool WriterFilter::claimReport()
{
    CAutoLock lock(&lock_);
    if (!reachedEnd_ || endReported_ || m_State != State_Running)
        return false;
    endReported_ = true;
    return true;
}

// Without our lock, as the graph may take its own.
void WriterFilter::reportEnd()
{
    if (claimReport())
        NotifyEvent(EC_COMPLETE, S_OK, reinterpret_cast<LONG_PTR>(static_cast<IBaseFilter*>(this)));
}

}  // namespace tsgraph
