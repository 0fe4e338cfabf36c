// Files beyond 2 and 4 GiB. Moves in the file are 32 bits wide; what lies further is reached by reading on.

#include "tests/windows/robustness/module_requests.h"
#include "tests/windows/robustness/sparse_file.h"
#include "tests/windows/support/filter_fixture.h"

namespace zarnow::test {

namespace {

constexpr ULONGLONG kAtOnce = 2000;  // ms; reading through the gap takes a minute or two

Data sampleStream()
{
    const std::vector<BYTE> bytes = contentOf(kMpeg2Sample);
    return {bytes.begin(), bytes.end()};
}

/// The file that the module has opened last.
HANDLE openedFile = INVALID_HANDLE_VALUE;

HANDLE WINAPI notedCreateFileW(const wchar_t* name, DWORD access, DWORD sharing, SECURITY_ATTRIBUTES* security,
                               DWORD creation, DWORD flags, HANDLE like)
{
    return openedFile = CreateFileW(name, access, sharing, security, creation, flags, like);
}

}  // namespace

class LargeFileTest : public FilterTest
{
protected:
    double duration() const
    {
        double seconds = -1.0;
        EXPECT_HRESULT(S_OK, position->get_Duration(&seconds));
        return seconds;
    }
    static bool waitForSamples(const SinkFilter& sink, std::size_t count)
    {
        const ULONGLONG begin = GetTickCount64();
        while (sink.count < count && GetTickCount64() - begin < 10'000)
            Sleep(1);
        return sink.count >= count;
    }
    void run(SinkFilter& sink) const
    {
        ASSERT_HRESULT(S_OK, sink.Run(0));
        ASSERT_HRESULT(S_OK, filter->Run(0));
    }
    void stop(SinkFilter& sink) const
    {
        const ULONGLONG begin = GetTickCount64();
        EXPECT_HRESULT(S_OK, filter->Stop());
        EXPECT_GT(kAtOnce, GetTickCount64() - begin);
        EXPECT_HRESULT(S_OK, sink.Stop());
    }
};

TEST_F(LargeFileTest, AGapOfGigabytesHoldsUpNothing)
{
    struct
    {
        std::int64_t end;
        double duration;  // the end beyond 4 GiB is out of reach
    } const cases[] = {{2 * kGiB + 100'000'000, 2.92}, {4 * kGiB + 200'000'000, 0.0}};
    const Data stream = sampleStream();
    const std::size_t packets = stream.size() / kPacket;
    for (const auto& c : cases) {
        SCOPED_TRACE(c.end);
        const SparseFile file({{0, stream}, {c.end, stream}});
        const ULONGLONG begin = GetTickCount64();
        ASSERT_HRESULT(S_OK, load(file.path()));
        EXPECT_GT(kAtOnce, GetTickCount64() - begin);
        EXPECT_DOUBLE_EQ(c.duration, duration());
        SinkFilter sink;
        ASSERT_HRESULT(S_OK, connect(sink));
        run(sink);
        ASSERT_TRUE(waitForSamples(sink, packets));
        for (const double seconds : {2.2e3, 4.4e3, 1.0e9})
            EXPECT_HRESULT(S_OK, position->put_CurrentPosition(seconds));  // remembered only
        Sleep(50);
        EXPECT_EQ(packets, sink.count);
        // Kept: a rewind that comes between the reads of a worker in search of the next packet may get lost.
        for (int attempt = 0; sink.count < 2 * packets && attempt < 100; ++attempt) {
            EXPECT_HRESULT(S_OK, position->put_CurrentPosition(0.0));
            Sleep(100);
        }
        EXPECT_LE(2 * packets, sink.count);
        stop(sink);
        EXPECT_EQ(0, sink.endsOfStream) << "a stop is not the end of the stream";
        const std::size_t before = sink.count;
        run(sink);
        ASSERT_TRUE(waitForSamples(sink, before + packets));
        stop(sink);
        const std::vector<BYTE> delivered = sink.allBytes();
        EXPECT_TRUE(std::equal(stream.rbegin(), stream.rend(), delivered.rbegin()))
            << "it starts from the first packet";
        disconnect(sink);
        load(kMpeg2Sample);  // lets the file go
    }
}

TEST_F(LargeFileTest, TheFilterGoesWhileItsWorkerIsInTheGap)
{
    const Data stream = sampleStream();
    const SparseFile file({{0, stream}, {2 * kGiB, stream}});
    ASSERT_HRESULT(S_OK, load(file.path()));
    SinkFilter sink;
    ASSERT_HRESULT(S_OK, connect(sink));
    run(sink);
    ASSERT_TRUE(waitForSamples(sink, stream.size() / kPacket));
    Sleep(50);
    sink.Stop();
    sink.input.Disconnect();  // so that nobody but the owner holds the filter
    position.Reset();
    tarnwell.Reset();
    source.Reset();
    pin.Reset();
    const ULONGLONG begin = GetTickCount64();
    EXPECT_EQ(0U, filter.Reset());
    EXPECT_GT(kAtOnce, GetTickCount64() - begin);
    EXPECT_EQ(1, sink.references());
}

TEST_F(LargeFileTest, ReadsOnAcross4GiB)
{
    const ImportPatch noteHandle(module.handle(), "CreateFileW", reinterpret_cast<void*>(notedCreateFileW));
    const Data stream = sampleStream();
    const std::int64_t second = 4 * kGiB - 1000 * static_cast<std::int64_t>(kPacket) - 60;
    const SparseFile file({{0, stream}, {second, stream}});
    ASSERT_HRESULT(S_OK, load(file.path()));
    SinkFilter sink;
    sink.blockUntil = CreateEventW(nullptr, TRUE, FALSE, nullptr);
    ASSERT_HRESULT(S_OK, connect(sink));
    run(sink);
    ASSERT_EQ(WAIT_OBJECT_0, WaitForSingleObject(sink.receiving, 10'000));
    LARGE_INTEGER there = {};
    there.QuadPart = second;
    ASSERT_TRUE(SetFilePointerEx(openedFile, there, nullptr, FILE_BEGIN));  // no call of the filter's leads there
    SetEvent(sink.blockUntil);
    ASSERT_TRUE(sink.waitForEnd());
    stop(sink);
    const Data firstPacket = firstBytes(stream, kPacket);
    const std::vector<BYTE> delivered = sink.allBytes();
    EXPECT_EQ(join({firstPacket, stream}), Data(delivered.begin(), delivered.end()));
    disconnect(sink);
    CloseHandle(sink.blockUntil);
    load(kMpeg2Sample);
}

}  // namespace zarnow::test
