#pragma once

#include <streams.h>

#include <atomic>
#include <cstdint>

#include "tools/common/com_ptr.h"

namespace tsgraph {

class MeterFilter;

class MeterInputPin final : public CBaseInputPin
{
public:
    MeterInputPin(MeterFilter& filter, CCritSec& lock, HRESULT* result);

    HRESULT CheckMediaType(const CMediaType* type) override;
    HRESULT CompleteConnect(IPin* peer) override;
    HRESULT BreakConnect() override;

    STDMETHODIMP GetAllocator(IMemAllocator** allocator) override;
    STDMETHODIMP NotifyAllocator(IMemAllocator* allocator, BOOL readOnly) override;
    STDMETHODIMP GetAllocatorRequirements(ALLOCATOR_PROPERTIES* properties) override;

    STDMETHODIMP Receive(IMediaSample* sample) override;
    STDMETHODIMP EndOfStream() override;
    STDMETHODIMP BeginFlush() override;
    STDMETHODIMP EndFlush() override;
    STDMETHODIMP NewSegment(REFERENCE_TIME start, REFERENCE_TIME stop, double rate) override;

private:
    MeterFilter& filter_;
};

/// Connected from inside the connection of the input pin, with the type of that one; samples do not pass through it.
class MeterOutputPin final : public CBaseOutputPin
{
public:
    MeterOutputPin(MeterFilter& filter, CCritSec& lock, HRESULT* result);

    HRESULT CheckMediaType(const CMediaType*) override { return S_OK; }
    HRESULT GetMediaType(int position, CMediaType* type) override;
    HRESULT DecideAllocator(IMemInputPin*, IMemAllocator**) override { return S_OK; }
    HRESULT DecideBufferSize(IMemAllocator*, ALLOCATOR_PROPERTIES*) override { return S_OK; }
    HRESULT Active() override { return S_OK; }
    HRESULT Inactive() override { return S_OK; }

private:
    MeterFilter& filter_;
};

/// Stands between the source filter and a demultiplexer, the system's or the stand-in, and counts what the source
/// delivers. Both see each other as if it were not there: types, allocators and samples go through as they are, and the
/// demultiplexer's pins are created and deleted through it.
class MeterFilter final : public CBaseFilter, public IMpeg2Demultiplexer
{
public:
    /// Posted to the graph when the end of the stream has gone through.
    static constexpr long kEndPassed = EC_USER + 1;

    /// @param demultiplexer  a filter with IMpeg2Demultiplexer and an unconnected input pin; else *result is an error
    MeterFilter(IBaseFilter& demultiplexer, HRESULT* result);

    DECLARE_IUNKNOWN
    STDMETHODIMP NonDelegatingQueryInterface(REFIID riid, void** ppv) override;

    int GetPinCount() override { return 2; }
    CBasePin* GetPin(int index) override;

    STDMETHODIMP CreateOutputPin(AM_MEDIA_TYPE* type, LPWSTR name, IPin** pin) override;
    STDMETHODIMP SetOutputPinMediaType(LPWSTR name, AM_MEDIA_TYPE* type) override;
    STDMETHODIMP DeleteOutputPin(LPWSTR name) override;

    IPin& input() noexcept { return input_; }
    std::uint64_t samples() const noexcept { return samples_; }
    std::uint64_t bytes() const noexcept { return bytes_; }
    bool reachedEnd() const noexcept { return reachedEnd_; }

    // For the pins:
    IPin& peerPin() const noexcept { return *peerPin_.Get(); }
    IMemInputPin& peerTransport() const noexcept { return *peerTransport_.Get(); }
    const CMediaType& type() const noexcept { return type_; }
    HRESULT connectOnwards(const CMediaType& type);
    void disconnectOnwards();
    HRESULT pass(IMediaSample& sample);
    HRESULT passEndOfStream();

private:
    HRESULT findPeer(IBaseFilter& demultiplexer);

    CCritSec lock_;
    MeterInputPin input_;
    MeterOutputPin output_;
    CMediaType type_;  // of both connections
    ComPtr<IMpeg2Demultiplexer> demultiplexer_;
    ComPtr<IPin> peerPin_;
    ComPtr<IMemInputPin> peerTransport_;
    std::atomic<std::uint64_t> samples_ = 0;
    std::atomic<std::uint64_t> bytes_ = 0;
    std::atomic<bool> reachedEnd_ = false;
};

}  // namespace tsgraph
