// The graph that tsgraph builds, around a source of the tests that configures the demultiplexer as the filter does.

#include <filesystem>
#include <fstream>

#include "tests/windows/demultiplexer/demux_fixture.h"
#include "tools/tsgraph/failure.h"
#include "tools/tsgraph/graph.h"

namespace {

using namespace graphs;
using packets::operator+;
using packets::Multiplexer;
using packets::pattern;
using packets::Pes;

struct PinPlan
{
    const wchar_t* name;
    ULONG pid;
    MEDIA_SAMPLE_CONTENT content;
};

/// Plays bytes, one transport packet a sample.
class PlayingPin final : public CSourceStream
{
public:
    PlayingPin(HRESULT* result, CSource* filter, Bytes bytes, std::vector<PinPlan> plans)
        : CSourceStream(TEXT("Playing pin"), result, filter, L"Out"), bytes_(std::move(bytes)), plans_(std::move(plans))
    {
    }

    HRESULT GetMediaType(CMediaType* type) override
    {
        *type = transportStreamType();
        return S_OK;
    }

    HRESULT SetMediaType(const CMediaType* type) override
    {
        const HRESULT result = CSourceStream::SetMediaType(type);
        return FAILED(result) ? result : configureDemultiplexer();
    }

    HRESULT DecideBufferSize(IMemAllocator* allocator, ALLOCATOR_PROPERTIES* request) override
    {
        request->cBuffers = 4;
        request->cbBuffer = 188;
        request->cbAlign = 16;
        ALLOCATOR_PROPERTIES actual{};
        return allocator->SetProperties(request, &actual);
    }

    HRESULT FillBuffer(IMediaSample* sample) override
    {
        BYTE* data = nullptr;
        const std::size_t count = std::min<std::size_t>(188, bytes_.size() - position_);
        if (count == 0)
            return S_FALSE;
        sample->GetPointer(&data);
        std::copy_n(bytes_.begin() + static_cast<std::ptrdiff_t>(position_), count, data);
        position_ += count;
        return sample->SetActualDataLength(static_cast<long>(count));
    }

private:
    HRESULT configureDemultiplexer()
    {
        PIN_INFO info{};
        m_Connected->QueryPinInfo(&info);
        ComPtr<IBaseFilter> filter;
        *filter.GetAddressOf() = info.pFilter;  // its reference is ours now
        ComPtr<IMpeg2Demultiplexer> demultiplexer;
        const HRESULT result =
            filter->QueryInterface(IID_IMpeg2Demultiplexer, reinterpret_cast<void**>(demultiplexer.GetAddressOf()));
        for (PinPlan& plan : plans_) {
            CMediaType type = pinType();
            ComPtr<IPin> pin;
            ComPtr<IMPEG2PIDMap> map;
            if (SUCCEEDED(demultiplexer->CreateOutputPin(&type, const_cast<LPWSTR>(plan.name), pin.GetAddressOf())) &&
                SUCCEEDED(pin->QueryInterface(__uuidof(IMPEG2PIDMap), reinterpret_cast<void**>(map.GetAddressOf()))))
                map->MapPID(1, &plan.pid, plan.content);
        }
        return result;
    }

    Bytes bytes_;
    std::vector<PinPlan> plans_;
    std::size_t position_ = 0;
};

class PlayingSource final : public CSource
{
public:
    PlayingSource(Bytes bytes, std::vector<PinPlan> plans) : CSource(TEXT("Playing source"), nullptr, GUID_NULL)
    {
        HRESULT result = S_OK;
        new PlayingPin(&result, this, std::move(bytes), std::move(plans));  // which adds itself to its filter
    }
};

class Graph : public testing::Test
{
protected:
    void SetUp() override
    {
        objectsBefore_ = CBaseObject::ObjectsActive();
        directory_ = std::filesystem::temp_directory_path() / "zarnow graph \u00E4";
        std::filesystem::remove_all(directory_);
        std::filesystem::create_directories(directory_);
    }

    void TearDown() override
    {
        EXPECT_EQ(objectsBefore_, CBaseObject::ObjectsActive()) << "objects are left";
        EXPECT_NO_THROW(std::filesystem::remove_all(directory_)) << "a file is still open";
    }

    static Bytes contentOf(const std::filesystem::path& path)
    {
        std::ifstream file(path, std::ios::binary);
        return {std::istreambuf_iterator<char>(file), {}};
    }

    /// Two streams of 40 packets each, the video one with open lengths.
    void makeStreams()
    {
        Multiplexer multiplexer;
        for (unsigned i = 1; i <= 40; ++i) {
            const Pes video{.openLength = true, .pts = 3600 * i, .payload = pattern(4000, i)};
            const Pes audio{.streamId = 0xC0, .pts = 2160 * i, .payload = pattern(700, i)};
            stream_ = std::move(stream_) + multiplexer.stream(0x100, video.bytes()) +
                      multiplexer.stream(0x101, audio.bytes());
            video_ = std::move(video_) + pattern(4000, i);
            audio_ = std::move(audio_) + pattern(700, i);
        }
    }

    std::filesystem::path directory_;
    Bytes stream_;
    Bytes video_;
    Bytes audio_;

private:
    LONG objectsBefore_ = 0;
};

TEST_F(Graph, WritesElementaryStreamsToFiles)
{
    makeStreams();
    const ComPtr<IBaseFilter> source{
        new PlayingSource(stream_, {{L"V", 0x100, MEDIA_TRANSPORT_PAYLOAD}, {L"A?", 0x101, MEDIA_ELEMENTARY_STREAM}})};
    tsgraph::PlayGraph graph;
    graph.connectSource(*source.Get(), *findPin(*source.Get(), PINDIR_OUTPUT).Get());
    graph.connectWriters(directory_.wstring());
    std::uint64_t seen = 0;
    const tsgraph::PlayResult result = graph.run([&](std::uint64_t bytes) { seen = bytes; });
    EXPECT_TRUE(result.endOfStream);
    EXPECT_EQ(stream_.size(), result.bytes);
    EXPECT_EQ(stream_.size() / 188, result.samples);
    EXPECT_LE(seen, stream_.size());
    ASSERT_EQ(2U, graph.pins().size());
    EXPECT_EQ(video_.size(), graph.pins()[0].writer->bytes());
    EXPECT_TRUE(video_ == contentOf(directory_ / "V.m2v")) << "without PES headers";
    EXPECT_TRUE(audio_ == contentOf(directory_ / "A_.m2v")) << "what a file name cannot hold is replaced";
}

TEST_F(Graph, RunsToTheEndOfTheStreamWithoutPins)
{
    makeStreams();
    const ComPtr<IBaseFilter> source{new PlayingSource(stream_, {})};
    tsgraph::PlayGraph graph;
    graph.connectSource(*source.Get(), *findPin(*source.Get(), PINDIR_OUTPUT).Get());
    graph.connectWriters({});
    const tsgraph::PlayResult result = graph.run([](std::uint64_t) {});
    EXPECT_TRUE(result.endOfStream);
    EXPECT_EQ(stream_.size(), result.bytes);
}

TEST_F(Graph, NamesTheFileThatCannotBeCreated)
{
    const ComPtr<IBaseFilter> source{new PlayingSource({}, {{L"V", 0x100, MEDIA_ELEMENTARY_STREAM}})};
    tsgraph::PlayGraph graph;
    graph.connectSource(*source.Get(), *findPin(*source.Get(), PINDIR_OUTPUT).Get());
    try {
        graph.connectWriters((directory_ / "missing").wstring());
        FAIL() << "the directory does not exist";
    } catch (const tsgraph::Failure& failure) {
        EXPECT_EQ(2, failure.status());
        EXPECT_NE(std::string::npos, std::string(failure.what()).find("V.m2v")) << failure.what();
    }
}

}  // namespace
