// Filters downstream that refuse, fail, block or go away.

#include <chrono>
#include <future>
#include <list>
#include <optional>
#include <thread>

#include "tests/windows/robustness/graph.h"
#include "tests/windows/support/framework_test.h"

namespace zarnow::test {

class DownstreamTest : public FilterTest
{
protected:
    void SetUp() override
    {
        FilterTest::SetUp();
        ASSERT_HRESULT(S_OK, load(kMpeg2Sample));
    }
    /// Connects and runs as far as is to be expected, and leaves nothing.
    void attempt(SinkFilter& sink, HRESULT connected, HRESULT running, bool toTheEnd = false)
    {
        const HRESULT result = connect(sink);
        EXPECT_HRESULT(connected, result);
        if (SUCCEEDED(result)) {
            FILTER_STATE state = State_Paused;
            sink.Run(0);
            EXPECT_HRESULT(running, filter->Run(0));
            EXPECT_HRESULT(S_OK, filter->GetState(0, &state));
            EXPECT_EQ(SUCCEEDED(running) ? State_Running : State_Stopped, state);
            EXPECT_EQ(toTheEnd, WaitForSingleObject(sink.ended, toTheEnd ? 20'000 : 30) == WAIT_OBJECT_0);
            stop(sink);
            disconnect(sink);
        }
        EXPECT_EQ(1, sink.references());
    }
    /// The filter is none the worse for what has happened.
    void playWhole()
    {
        SinkFilter sink;
        ASSERT_HRESULT(S_OK, connect(sink));
        play(sink);
        EXPECT_EQ(contentOf(kMpeg2Sample), sink.allBytes());
        disconnect(sink);
    }
};

TEST_F(DownstreamTest, RefusalsAreReportedAndLeaveNothing)
{
    const struct
    {
        const char* what;
        HRESULT connected;
        HRESULT running;
        void (*refuse)(SinkFilter&, TestAllocator&);
        bool toTheEnd = false;
    } refusals[] = {
        {"the type", VFW_E_NO_ACCEPTABLE_TYPES, S_OK, [](auto& sink, auto&) { sink.typeResult = S_FALSE; }},
        {"the connection", E_ACCESSDENIED, S_OK, [](auto& sink, auto&) { sink.connectionResult = E_ACCESSDENIED; }},
        {"every allocator", E_UNEXPECTED, S_OK,
         [](auto& sink, auto&) { sink.onAllocator = [](IMemAllocator&) { return E_UNEXPECTED; }; }},
        {"properties of its allocator, for which another one stands in", S_OK, S_OK,
         [](auto&, auto& allocator) { allocator.propertiesResult = E_FAIL; }, true},
        {"to commit its allocator", S_OK, E_OUTOFMEMORY,
         [](auto&, auto& allocator) { allocator.commitResult = E_OUTOFMEMORY; }},
        {"any buffer", S_OK, S_OK, [](auto&, auto& allocator) { allocator.bufferResult = E_OUTOFMEMORY; }},
    };
    for (const auto& refusal : refusals) {
        SCOPED_TRACE(refusal.what);
        TestAllocator allocator;
        SinkFilter sink;
        sink.offeredAllocator = &allocator;
        refusal.refuse(sink, allocator);
        attempt(sink, refusal.connected, refusal.running, refusal.toTheEnd);
        EXPECT_EQ(1, allocator.references());
        playWhole();
    }
}

TEST_F(DownstreamTest, ASampleThatIsNotTakenIsTheLast)
{
    for (const HRESULT result : {S_FALSE, E_FAIL, VFW_E_WRONG_STATE, E_OUTOFMEMORY}) {
        for (const LONG taken : {0, 1, 5}) {
            SCOPED_TRACE(hex(result));
            SinkFilter sink;
            sink.refuseAfter = taken;
            sink.receiveResult = result;
            attempt(sink, S_OK, S_OK);
            EXPECT_EQ(static_cast<std::size_t>(taken), sink.count);
        }
    }
    playWhole();
}

TEST_F(DownstreamTest, MayWaitForAnAnswerOfTheFilterWhileItIsConfigured)
{
    std::list<std::future<HRESULT>> answers;  // of other threads; kept, for to let one go is to wait for it
    int late = 0;
    SinkFilter sink;
    sink.onConfiguration = [&] {
        answers.push_back(std::async(std::launch::async, [&] {
            DWORD count = 0;
            return tarnwell->GetProgramCount(&count);
        }));
        late += answers.back().wait_for(std::chrono::seconds(5)) == std::future_status::ready ? 0 : 1;
    };
    const ComPtr<IPersistStream> persist = query<IPersistStream>(filter.Get());
    ComPtr<IStream> saved;
    ASSERT_HRESULT(S_OK, CreateStreamOnHGlobal(nullptr, TRUE, &saved));
    ASSERT_HRESULT(S_OK, persist->Save(saved.Get(), TRUE));
    saved->Seek({}, STREAM_SEEK_SET, nullptr);
    const std::pair<const char*, std::function<HRESULT()>> operations[] = {
        {"Connect", [&] { return connect(sink); }},
        {"Load", [&] { return load(kTwoProgramsSample); }},
        {"SelectProgram", [&] { return tarnwell->SelectProgram(1); }},
        {"SelectProgramByNumber", [&] { return tarnwell->SelectProgramByNumber(0x1000, 1); }},
        {"IPersistStream::Load", [&] { return persist->Load(saved.Get()); }},
    };
    for (const auto& [name, operation] : operations) {
        SCOPED_TRACE(name);
        answers.clear();
        EXPECT_HRESULT(S_OK, operation());
        EXPECT_LT(0U, answers.size()) << "it was not configured";
        EXPECT_EQ(0, std::exchange(late, 0));
    }
    answers.clear();
    disconnect(sink);
}

/// The lock on the tables is given up while the filter downstream is configured, which a load does for every program.
TEST_F(DownstreamTest, ASelectionInTheMiddleOfALoadCostsNoProgram)
{
    SinkFilter sink;
    ASSERT_HRESULT(S_OK, connect(sink));
    int configurations = 0;
    sink.onConfiguration = [&] {
        if (++configurations == 1)
            std::thread([&] { EXPECT_HRESULT(S_OK, tarnwell->SelectProgram(1)); }).join();
    };
    ASSERT_HRESULT(S_OK, load(kTwoProgramsSample));
    EXPECT_LT(2, configurations);
    DWORD count = 0;
    EXPECT_HRESULT(S_OK, tarnwell->GetProgramCount(&count));
    EXPECT_EQ(2U, count);
    EXPECT_EQ(0U, currentProgram());
    disconnect(sink);
}

/// Receive is blocked; what comes through all the same.
class BlockedTest : public DownstreamTest
{
protected:
    void SetUp() override
    {
        DownstreamTest::SetUp();
        sink.blockUntil = CreateEventW(nullptr, TRUE, FALSE, nullptr);
        ASSERT_HRESULT(S_OK, connect(sink));
        run(sink);
        ASSERT_TRUE(sink.waitForFirst());
        limit.emplace();
        // As a renderer does that is stopped meanwhile.
        renderer = std::jthread([this] {
            Sleep(100);
            SetEvent(sink.blockUntil);
        });
    }
    void TearDown() override
    {
        renderer = {};
        limit.reset();
        EXPECT_EQ(0, sink.endsOfStream);
        FilterTest::TearDown();
        EXPECT_EQ(1, sink.references());
        CloseHandle(sink.blockUntil);
    }

    SinkFilter sink;
    std::jthread renderer;
    std::optional<AtOnce> limit;
};

TEST_F(BlockedTest, StopWaitsForTheSampleOnly)
{
    EXPECT_HRESULT(VFW_E_NOT_STOPPED, pin->Disconnect());
    EXPECT_HRESULT(S_OK, position->put_CurrentPosition(0.0));
    stop(sink);
    EXPECT_GE(2U, sink.count);
    disconnect(sink);
}

TEST_F(BlockedTest, TheFilterGoesWhileItsSampleIsStillDownstream)
{
    loseDownstream(sink);
    EXPECT_EQ(0U, releaseFilter());
}

TEST_F(BlockedTest, APeerThatHasLeftEndsTheDeliveryNotTheFilter)
{
    loseDownstream(sink);
    renderer.join();
    Sleep(20);
    EXPECT_HRESULT(VFW_E_NOT_STOPPED, pin->Disconnect());
    EXPECT_HRESULT(S_OK, filter->Stop());
    EXPECT_HRESULT(S_OK, pin->Disconnect());
    playWhole();
}

TEST_F(DownstreamTest, AFilterTakenOutOfARunningGraph)
{
    for (const bool takeSource : {false, true}) {
        SCOPED_TRACE(takeSource);
        SinkFilter sink;
        const Graph graph;
        graph.connect(*filter.Get(), *pin.Get(), sink, sink.input);
        EXPECT_TRUE(SUCCEEDED(graph.control->Run()));
        const AtOnce limit;
        IBaseFilter* const taken = takeSource ? filter.Get() : &sink;
        // A graph that stops but the one filter cannot disconnect it from the other.
        const HRESULT removed = graph.builder->RemoveFilter(taken);
        EXPECT_HRESULT(S_OK, taken->Stop());
        EXPECT_HRESULT(S_OK, graph.control->Stop());
        EXPECT_HRESULT(S_OK, FAILED(removed) ? graph.builder->RemoveFilter(taken) : S_OK);
        EXPECT_HRESULT(S_OK, graph.builder->RemoveFilter(takeSource ? &sink : filter.Get()));
        pin->Disconnect();
        sink.input.Disconnect();
        EXPECT_EQ(1, sink.references());
    }
    playWhole();
}

TEST_F(DownstreamTest, BufferSizesOfEveryKind)
{
    const TemporaryFile file(smallStream());
    const struct
    {
        DWORD size;
        HRESULT connected;  // with a peer that proposes the type
        HRESULT running;
        std::size_t samples;
    } cases[] = {
        {0, S_OK, VFW_E_SIZENOTSET, 0},
        {1, S_OK, S_OK, 494},  // of 16 bytes, to which an allocator rounds up
        {187, S_OK, S_OK, 42},
        {188, S_OK, S_OK, 42},
        {375, S_OK, S_OK, 21},
        {376, S_OK, S_OK, 21},
        {0xFFFFFFFF, VFW_E_NO_ACCEPTABLE_TYPES, S_OK, 0},
        {33'000, S_OK, S_OK, 42},
    };
    for (const auto& c : cases) {
        SCOPED_TRACE(c.size);
        ASSERT_HRESULT(S_OK, tarnwell->SetBufferSize(c.size));
        ASSERT_HRESULT(S_OK, load(file.path().wstring()));
        SinkFilter sink;
        sink.proposes = {transportStreamType()};
        attempt(sink, c.connected, c.running, c.samples != 0);
        EXPECT_EQ(c.samples, sink.count);
    }
    ASSERT_HRESULT(S_OK, load(kMpeg2Sample));
    playWhole();
}

}  // namespace zarnow::test
