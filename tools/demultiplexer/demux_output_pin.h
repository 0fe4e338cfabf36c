#pragma once

#include <streams.h>

#include <atomic>
#include <cstdint>
#include <optional>
#include <span>
#include <utility>
#include <vector>

#include "tools/demultiplexer/pid_map.h"

namespace demux {

class DemuxFilter;

/// One output pin, as created by IMpeg2Demultiplexer::CreateOutputPin.
///
/// It lives on its own count, unlike the pins of the base classes, as it can be deleted from the filter while a client
/// still holds it. A client's reference also holds the filter, which the pin needs; the filter's own references
/// (PinRef) do not, or the two would keep each other alive.
class DemuxOutputPin final : public CBaseOutputPin, public IMPEG2PIDMap
{
public:
    DemuxOutputPin(DemuxFilter& filter, CCritSec& stateLock, const wchar_t* name, const AM_MEDIA_TYPE& type,
                   HRESULT* result);

    DECLARE_IUNKNOWN
    STDMETHODIMP NonDelegatingQueryInterface(REFIID riid, void** ppv) override;
    STDMETHODIMP_(ULONG) NonDelegatingAddRef() override;
    STDMETHODIMP_(ULONG) NonDelegatingRelease() override;

    void retain() noexcept { ++references_; }
    void drop() noexcept;

    HRESULT CheckMediaType(const CMediaType* type) override;
    HRESULT GetMediaType(int position, CMediaType* type) override;
    HRESULT CheckConnect(IPin* peer) override;
    HRESULT DecideBufferSize(IMemAllocator* allocator, ALLOCATOR_PROPERTIES* request) override;
    HRESULT Active() override;

    STDMETHODIMP MapPID(ULONG count, ULONG* pids, MEDIA_SAMPLE_CONTENT content) override;
    STDMETHODIMP UnmapPID(ULONG count, ULONG* pids) override;
    STDMETHODIMP EnumPIDMap(IEnumPIDMap** enumerator) override;

    bool isNamed(const wchar_t* name) const;
    std::vector<PID_MAP> mappedPids();

    /// A connected pin takes the new type with its next sample, when its peer accepts it.
    HRESULT changeMediaType(const AM_MEDIA_TYPE& type);

    /// The filter no longer has the pin: no connection can be made any more.
    void markDeleted() noexcept { deleted_ = true; }

    /// Streaming thread: delivers the bytes in as many samples as they need; only the first one carries the time.
    /// Does nothing once downstream has refused a sample.
    void deliver(std::span<const std::uint8_t> bytes, std::optional<REFERENCE_TIME> start, bool discontinuity);

    /// What downstream answered to the sample that it refused (S_FALSE or an error), S_OK while it takes samples.
    HRESULT refusal() const noexcept { return refusal_; }
    void forgetRefusal() noexcept { refusal_ = S_OK; }

private:
    ~DemuxOutputPin() override = default;

    HRESULT deliverSample(std::span<const std::uint8_t>& bytes, const std::optional<REFERENCE_TIME>& start,
                          bool discontinuity);
    HRESULT describe(IMediaSample& sample, std::optional<REFERENCE_TIME> start, bool discontinuity);
    HRESULT attachNewType(IMediaSample& sample);
    template <typename Change>
    HRESULT changeMap(ULONG count, const ULONG* pids, Change&& change);

    DemuxFilter& filter_;
    std::atomic<ULONG> references_ = 0;
    std::atomic<bool> deleted_ = false;
    std::atomic<bool> typeChanged_ = false;
    std::atomic<HRESULT> refusal_ = S_OK;
    CCritSec settingsLock_;  // innermost: nothing is called while it is held
    CMediaType type_;
    PidMap pidMap_;
};

/// The filter's reference to one of its pins.
class PinRef
{
public:
    explicit PinRef(DemuxOutputPin* pin) noexcept : pin_(pin) { pin_->retain(); }
    PinRef(const PinRef& other) noexcept : PinRef(other.pin_) {}
    PinRef& operator=(PinRef other) noexcept
    {
        std::swap(pin_, other.pin_);
        return *this;
    }
    ~PinRef() { pin_->drop(); }

    DemuxOutputPin* operator->() const noexcept { return pin_; }
    DemuxOutputPin* get() const noexcept { return pin_; }

private:
    DemuxOutputPin* pin_;
};

}  // namespace demux
