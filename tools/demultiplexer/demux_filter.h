#pragma once

#include <streams.h>

#include <atomic>
#include <cstdint>
#include <memory>
#include <optional>
#include <vector>

#include "tools/demultiplexer/demux_input_pin.h"
#include "tools/demultiplexer/demux_output_pin.h"
#include "tools/demultiplexer/stream_clock.h"
#include "tools/demultiplexer/stream_splitter.h"

namespace demux {

/// The filter behind createDemultiplexer.
///
/// Locks, outermost first: receiveLock (streaming and its control calls), the filter's state lock, pinsLock_ (the list
/// of pins) and each pin's settings lock. The last two are never held over a call out of the filter.
class DemuxFilter final : public CBaseFilter, public IMpeg2Demultiplexer
{
public:
    explicit DemuxFilter(HRESULT* result);

    DECLARE_IUNKNOWN
    STDMETHODIMP NonDelegatingQueryInterface(REFIID riid, void** ppv) override;

    int GetPinCount() override;
    CBasePin* GetPin(int index) override;
    STDMETHODIMP Stop() override;

    STDMETHODIMP CreateOutputPin(AM_MEDIA_TYPE* type, LPWSTR name, IPin** pin) override;
    STDMETHODIMP SetOutputPinMediaType(LPWSTR name, AM_MEDIA_TYPE* type) override;
    STDMETHODIMP DeleteOutputPin(LPWSTR name) override;

    /// A PID map or the set of pins changed: the streaming thread builds its routes anew with the next sample.
    void routesChanged() noexcept { ++routesVersion_; }

    CCritSec& receiveLock() noexcept { return receiveLock_; }

    // With receiveLock held:
    HRESULT process(IMediaSample& sample);
    HRESULT endStream();
    void endFlush();
    void newSegment(REFERENCE_TIME start, REFERENCE_TIME stop, double rate);
    void noteRefusal() noexcept { refusalNoted_ = true; }

    HRESULT beginFlush();

private:
    std::vector<PinRef> outputPins();
    std::optional<PinRef> findPin(const wchar_t* name);
    HRESULT addPin(const AM_MEDIA_TYPE& type, const wchar_t* name, IPin** pin);
    HRESULT removePin(const wchar_t* name);
    HRESULT disconnect(DemuxOutputPin& pin);
    void forget(const DemuxOutputPin* pin);

    void followRouteChanges();
    std::unique_ptr<StreamRoute> carryOver(StreamRoutes& earlier, const PinRef& pin, const PID_MAP& entry);
    void resetStreaming() noexcept;
    HRESULT verdict() const noexcept;

    CCritSec stateLock_;
    CCritSec receiveLock_;
    CCritSec pinsLock_;
    DemuxInputPin input_;
    std::vector<PinRef> outputs_;
    std::atomic<std::uint32_t> routesVersion_ = 1;

    // Of the streaming thread, under receiveLock_:
    StreamSplitter splitter_;
    StreamClock clock_;
    std::uint32_t routesSeen_ = 0;
    bool refusalNoted_ = false;
};

}  // namespace demux
