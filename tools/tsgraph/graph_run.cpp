#include <algorithm>
#include <chrono>

#include "tools/common/utf8.h"
#include "tools/tsgraph/failure.h"
#include "tools/tsgraph/graph.h"

namespace tsgraph {
namespace {

using Clock = std::chrono::steady_clock;

constexpr long kPollMilliseconds = 100;
// How long after the graph has called itself complete a pin may still be without its end of stream.
constexpr std::chrono::seconds kGrace{5};

void requireNoAbort(long code, LONG_PTR reason)
{
    if (code == EC_ERRORABORT)
        throw Failure("playing stopped with an error: " + resultText(static_cast<HRESULT>(reason)));
    if (code == EC_USERABORT)
        throw Failure("playing was stopped from outside");
}

}  // namespace

PlayResult PlayGraph::run(const std::function<void(std::uint64_t bytes)>& onProgress)
{
    ComPtr<IMediaFilter> clocked;
    check(graph_->QueryInterface(IID_IMediaFilter, reinterpret_cast<void**>(clocked.GetAddressOf())),
          "the filter graph has no IMediaFilter");
    check(clocked->SetSyncSource(nullptr), "the graph cannot be run without a clock");
    const Clock::time_point start = Clock::now();
    check(control_->Run(), "the graph cannot be run");
    waitForEnd(onProgress);
    const std::chrono::duration<double> seconds = Clock::now() - start;
    check(control_->Stop(), "the graph cannot be stopped");
    finishWriters();
    return {seconds.count(), meter_->samples(), meter_->bytes(), reachedEnd()};
}

void PlayGraph::waitForEnd(const std::function<void(std::uint64_t bytes)>& onProgress)
{
    Clock::time_point deadline = Clock::time_point::max();
    while (!reachedEnd() && Clock::now() < deadline) {
        if (handleEvents() && deadline == Clock::time_point::max())
            deadline = Clock::now() + kGrace;
        onProgress(meter_->bytes());
    }
}

// Waits a moment for events; true when one of them says that the graph is complete.
bool PlayGraph::handleEvents()
{
    bool complete = false;
    long code = 0;
    LONG_PTR first = 0;
    LONG_PTR second = 0;
    long wait = kPollMilliseconds;
    while (events_->GetEvent(&code, &first, &second, wait) == S_OK) {
        const LONG_PTR reason = first;
        events_->FreeEventParams(code, first, second);
        if (code == EC_ERRORABORT)
            finishWriters();  // an error of a file says more than the event does
        requireNoAbort(code, reason);
        complete = complete || code == EC_COMPLETE;
        wait = 0;
    }
    return complete;
}

bool PlayGraph::reachedEnd() const noexcept
{
    const auto ended = [](const PlayedPin& pin) { return pin.writer->reachedEnd(); };
    return meter_->reachedEnd() && std::ranges::all_of(pins_, ended);
}

void PlayGraph::finishWriters()
{
    control_->Stop();
    for (const PlayedPin& pin : pins_)
        check(pin.writer->finish(), toUtf8(pin.outputFile) + ": cannot be written");
}

}  // namespace tsgraph
