// Filters downstream that refuse, fail, block or go away.

#include <chrono>
#include <future>
#include <list>
#include <thread>

#include "tests/windows/robustness/graph.h"
#include "tests/windows/support/framework_test.h"

namespace zarnow::test {

/// What comes of an attempt to connect and run.
struct Outcome
{
    HRESULT connected = S_OK;
    HRESULT running = S_OK;
    std::size_t samples = 0;
    bool toTheEnd = false;
};

class DownstreamTest : public FilterTest
{
protected:
    void SetUp() override
    {
        FilterTest::SetUp();
        ASSERT_HRESULT(S_OK, load(kMpeg2Sample));
    }
    /// Connects and runs as far as is to be expected, and leaves nothing.
    void attempt(SinkFilter& sink, const Outcome& expected)
    {
        const HRESULT result = connect(sink);
        EXPECT_HRESULT(expected.connected, result);
        if (SUCCEEDED(result)) {
            sink.Run(0);
            EXPECT_HRESULT(expected.running, filter->Run(0));
            EXPECT_TRUE(sink.waitForSamples(expected.samples));
            EXPECT_EQ(expected.toTheEnd,
                      WaitForSingleObject(sink.ended, expected.toTheEnd ? 20'000 : 30) == WAIT_OBJECT_0);
            stop(sink);
            disconnect(sink);
        }
        EXPECT_EQ(expected.samples, sink.count);
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
    const auto refuseSamples = [](LONG from, HRESULT result) {
        return [from, result](SinkFilter& sink, TestAllocator&) {
            sink.refuseAfter = from;
            sink.receiveResult = result;
        };
    };
    const struct
    {
        const char* what;
        Outcome expected;
        std::function<void(SinkFilter&, TestAllocator&)> refuse;
    } refusals[] = {
        {"the type", {VFW_E_NO_ACCEPTABLE_TYPES}, [](auto& sink, auto&) { sink.typeResult = S_FALSE; }},
        {"the connection", {E_ACCESSDENIED}, [](auto& sink, auto&) { sink.connectionResult = E_ACCESSDENIED; }},
        {"allocators",
         {E_UNEXPECTED},
         [](auto& sink, auto&) { sink.onAllocator = [](auto&) { return E_UNEXPECTED; }; }},
        {"properties of its allocator, for which another one stands in",
         {S_OK, S_OK, contentOf(kMpeg2Sample).size() / kPacket, true},
         [](auto&, auto& allocator) { allocator.propertiesResult = E_FAIL; }},
        {"to commit", {S_OK, E_OUTOFMEMORY}, [](auto&, auto& allocator) { allocator.commitResult = E_OUTOFMEMORY; }},
        {"any buffer", {}, [](auto&, auto& allocator) { allocator.bufferResult = E_OUTOFMEMORY; }},
        {"the first sample", {}, refuseSamples(0, E_FAIL)},
        {"the second sample", {S_OK, S_OK, 1}, refuseSamples(1, VFW_E_WRONG_STATE)},
        {"the sixth sample", {S_OK, S_OK, 5}, refuseSamples(5, S_FALSE)},
    };
    for (const auto& refusal : refusals) {
        SCOPED_TRACE(refusal.what);
        TestAllocator allocator;
        SinkFilter sink;
        sink.offeredAllocator = &allocator;
        refusal.refuse(sink, allocator);
        attempt(sink, refusal.expected);
        EXPECT_EQ(1, allocator.references());
        playWhole();
    }
}

TEST_F(DownstreamTest, BufferSizesOfEveryKind)
{
    const TemporaryFile file(smallStream());
    const std::pair<DWORD, Outcome> cases[] = {
        {0, {S_OK, VFW_E_SIZENOTSET}},
        {1, {S_OK, S_OK, 494, true}},  // of 16 bytes, to which an allocator rounds up
        {187, {S_OK, S_OK, 42, true}},
        {188, {S_OK, S_OK, 42, true}},
        {375, {S_OK, S_OK, 21, true}},
        {376, {S_OK, S_OK, 21, true}},
        {0xFFFFFFFF, {VFW_E_NO_ACCEPTABLE_TYPES}},
        {33'000, {S_OK, S_OK, 42, true}},
    };
    for (const auto& [size, expected] : cases) {
        SCOPED_TRACE(size);
        ASSERT_HRESULT(S_OK, tarnwell->SetBufferSize(size));
        ASSERT_HRESULT(S_OK, load(file.path().wstring()));
        SinkFilter sink;
        sink.proposes = {transportStreamType()};
        attempt(sink, expected);
    }
    ASSERT_HRESULT(S_OK, load(kMpeg2Sample));
    playWhole();
}

/// The lock on the tables is given up while the filter downstream is configured, which a load does for every program.
TEST_F(DownstreamTest, MayWaitForTheFilterWhileItIsConfigured)
{
    std::list<std::future<HRESULT>> answers;  // of other threads; kept, for to let one go is to wait for it
    SinkFilter sink;
    DWORD count = 0;
    sink.onConfiguration = [&] {
        const bool selects = answers.empty();  // which configures it in turn where there is such a program
        answers.push_back(std::async(std::launch::async, [&, selects] {
            return selects ? tarnwell->SelectProgram(1) : tarnwell->GetProgramCount(&count);
        }));
        EXPECT_EQ(std::future_status::ready, answers.back().wait_for(std::chrono::seconds(5)));
    };
    const std::pair<const char*, std::function<HRESULT()>> operations[] = {
        {"Connect", [&] { return connect(sink); }},
        {"SelectProgram", [&] { return tarnwell->SelectProgram(0); }},
        {"Load", [&] { return load(kTwoProgramsSample); }},
    };
    for (const auto& [name, operation] : operations) {
        SCOPED_TRACE(name);
        answers.clear();
        EXPECT_HRESULT(S_OK, operation());
        EXPECT_LT(0U, answers.size()) << "it was not configured";
    }
    EXPECT_LT(2U, answers.size()) << "for every program, and for the one selected in the middle";
    EXPECT_HRESULT(S_OK, tarnwell->GetProgramCount(&count));
    EXPECT_EQ(2U, count) << "a selection in the middle of a load costs no program";
    EXPECT_EQ(0U, currentProgram());
    answers.clear();
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
        // As a renderer does that is stopped meanwhile.
        renderer = std::jthread([this] {
            Sleep(100);
            SetEvent(sink.blockUntil);
        });
    }
    void TearDown() override
    {
        renderer = {};
        EXPECT_EQ(0, sink.endsOfStream);
        FilterTest::TearDown();
        EXPECT_EQ(1, sink.references());
        CloseHandle(sink.blockUntil);
    }

    SinkFilter sink;
    std::jthread renderer;
};

TEST_F(BlockedTest, StopWaitsForTheSampleOnly)
{
    const AtOnce limit;
    EXPECT_HRESULT(VFW_E_NOT_STOPPED, pin->Disconnect());
    EXPECT_HRESULT(S_OK, position->put_CurrentPosition(0.0));
    stop(sink);
    EXPECT_GE(2U, sink.count);
    disconnect(sink);
}

TEST_F(BlockedTest, TheFilterGoesWhileItsSampleIsStillDownstream)
{
    const AtOnce limit;
    loseDownstream(sink);
    EXPECT_EQ(0U, releaseFilter());
}

TEST_F(BlockedTest, APeerThatHasLeftEndsTheDeliveryNotTheFilter)
{
    const AtOnce limit;
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

}  // namespace zarnow::test
