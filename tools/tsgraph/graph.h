#pragma once

#include <streams.h>

#include <cstdint>
#include <functional>
#include <string>
#include <vector>

#include "tools/common/com_ptr.h"
#include "tools/tsgraph/meter_filter.h"
#include "tools/tsgraph/pin_facts.h"
#include "tools/tsgraph/writer_filter.h"

namespace tsgraph {

/// One stream at the end of the graph.
struct PlayedPin
{
    PinFacts facts;
    ComPtr<WriterFilter> writer;
    std::wstring outputFile;  ///< empty when nothing is written
};

/// What the graph did.
struct PlayResult
{
    double seconds = 0;
    std::uint64_t samples = 0;  ///< that the source delivered into the demultiplexer
    std::uint64_t bytes = 0;
    bool endOfStream = false;  ///< at the demultiplexer and at each of its pins
};

/// The filter graph: the source, the meter, the demultiplexer (the system's, else the stand-in) and a writer at each of
/// its pins. Every step throws a Failure that says what could not be done.
class PlayGraph
{
public:
    PlayGraph();
    ~PlayGraph();
    PlayGraph(const PlayGraph&) = delete;
    PlayGraph& operator=(const PlayGraph&) = delete;

    /// Connects the source to the demultiplexer, which lets the source configure it.
    void connectSource(IBaseFilter& source, IPin& output);

    /// @param directory  where each writer gets a file; empty for no files
    void connectWriters(const std::wstring& directory);

    /// Runs to the end of the stream, as fast as it goes.
    /// @param onProgress  called every now and then with the bytes played so far
    PlayResult run(const std::function<void(std::uint64_t bytes)>& onProgress);

    const std::vector<PlayedPin>& pins() const noexcept { return pins_; }
    bool usesStandIn() const noexcept { return usesStandIn_; }

private:
    void addDemultiplexer();
    void connectWriter(PinFacts facts, const std::wstring& directory);
    void waitForEnd(const std::function<void(std::uint64_t bytes)>& onProgress);
    bool handleEvents();
    bool reachedEnd() const noexcept;
    void finishWriters();

    ComPtr<IGraphBuilder> graph_;
    ComPtr<IMediaControl> control_;
    ComPtr<IMediaEvent> events_;
    ComPtr<IBaseFilter> demultiplexer_;
    ComPtr<MeterFilter> meter_;
    std::vector<PlayedPin> pins_;
    bool usesStandIn_ = false;
};

}  // namespace tsgraph
