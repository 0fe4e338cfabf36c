#include "tools/tsgraph/graph.h"

#include <algorithm>

#include "tools/common/utf8.h"
#include "tools/demultiplexer/demultiplexer.h"
#include "tools/tsgraph/failure.h"
#include "tools/tsgraph/media_type_text.h"

namespace tsgraph {
namespace {

// {AFB6C280-2C41-11D3-8A60-0000F81E0E4A}: the system's MPEG-2 demultiplexer.
constexpr CLSID kSystemDemultiplexer{0xafb6c280, 0x2c41, 0x11d3, {0x8a, 0x60, 0x00, 0x00, 0xf8, 0x1e, 0x0e, 0x4a}};

template <typename Interface>
void query(IUnknown& object, REFIID iid, ComPtr<Interface>& result, const char* what)
{
    check(object.QueryInterface(iid, reinterpret_cast<void**>(result.ReleaseAndGetAddressOf())), what);
}

// A pin's name goes into a file name; what a file name cannot hold becomes an underscore.
std::wstring fileNameOf(std::wstring pinName)
{
    for (wchar_t& each : pinName) {
        if (each < L' ' || std::wstring_view{L"<>:\"/\\|?*"}.find(each) != std::wstring_view::npos)
            each = L'_';
    }
    return pinName;
}

std::wstring outputPath(const std::wstring& directory, const PinFacts& facts)
{
    const bool ends = directory.ends_with(L'/') || directory.ends_with(L'\\');
    return directory + (ends ? L"" : L"/") + fileNameOf(facts.name) + L"." + fromUtf8(streamExtension(facts.type));
}

}  // namespace

PlayGraph::PlayGraph()
{
    check(CoCreateInstance(CLSID_FilterGraph, nullptr, CLSCTX_INPROC_SERVER, IID_IGraphBuilder,
                           reinterpret_cast<void**>(graph_.GetAddressOf())),
          "the filter graph manager cannot be created");
    query(*graph_.Get(), IID_IMediaControl, control_, "the filter graph has no IMediaControl");
    query(*graph_.Get(), IID_IMediaEvent, events_, "the filter graph has no IMediaEvent");
}

PlayGraph::~PlayGraph()
{
    control_->Stop();
}

void PlayGraph::connectSource(IBaseFilter& source, IPin& output)
{
    check(graph_->AddFilter(&source, L"Source"), "the source filter cannot be added to the graph");
    addDemultiplexer();
    check(graph_->ConnectDirect(&output, &meter_->input(), nullptr),
          "the source cannot be connected to the demultiplexer");
}

void PlayGraph::addDemultiplexer()
{
    usesStandIn_ = FAILED(CoCreateInstance(kSystemDemultiplexer, nullptr, CLSCTX_INPROC_SERVER, IID_IBaseFilter,
                                           reinterpret_cast<void**>(demultiplexer_.ReleaseAndGetAddressOf())));
    if (usesStandIn_)
        check(demux::createDemultiplexer(demultiplexer_.ReleaseAndGetAddressOf()),
              "the demultiplexer cannot be created");
    check(graph_->AddFilter(demultiplexer_.Get(), L"Demultiplexer"), "the demultiplexer cannot be added to the graph");
    HRESULT result = S_OK;
    meter_ = new MeterFilter(*demultiplexer_.Get(), &result);
    check(result, "the demultiplexer cannot be used");
    check(graph_->AddFilter(meter_.Get(), L"Meter"), "the meter cannot be added to the graph");
}

void PlayGraph::connectWriters(const std::wstring& directory)
{
    for (PinFacts& facts : readPins(*demultiplexer_.Get()))
        connectWriter(std::move(facts), directory);
}

void PlayGraph::connectWriter(PinFacts facts, const std::wstring& directory)
{
    using Content = WriterFilter::Content;
    const std::string name = toUtf8(facts.name);
    HRESULT result = S_OK;
    PlayedPin played;
    played.writer =
        new WriterFilter(facts.carriesPesPackets() ? Content::kPesPackets : Content::kElementaryStream, &result);
    check(result, "a writer cannot be created");
    check(graph_->AddFilter(played.writer.Get(), facts.name.c_str()), "a writer cannot be added to the graph");
    check(graph_->ConnectDirect(facts.pin.Get(), &played.writer->input(), nullptr),
          "the demultiplexer's pin " + name + " cannot be connected to its writer");
    if (!directory.empty()) {
        played.outputFile = outputPath(directory, facts);
        check(played.writer->openFile(played.outputFile), toUtf8(played.outputFile) + ": cannot be created");
    }
    played.facts = std::move(facts);
    pins_.push_back(std::move(played));
}

}  // namespace tsgraph
