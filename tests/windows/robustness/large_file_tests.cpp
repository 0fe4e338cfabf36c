// Files beyond 2 and 4 GiB. Moves in the file are 32 bits wide; what lies further is reached by reading on.

#include <fstream>
#include <thread>

#include "tests/windows/robustness/graph.h"
#include "tests/windows/robustness/module_requests.h"

namespace zarnow::test {

namespace {

constexpr std::int64_t kGiB = std::int64_t{1} << 30;

/// The file that the module has read last.
HANDLE fileRead = INVALID_HANDLE_VALUE;

BOOL WINAPI notedReadFile(HANDLE file, void* buffer, DWORD size, DWORD* count, OVERLAPPED* overlapped)
{
    return ReadFile(fileRead = file, buffer, size, count, overlapped);
}

/// Writes behind a hole, which takes no space where the file system knows them.
void writeAt(const TemporaryFile& file, std::int64_t offset, const Data& data)
{
    std::fstream stream(file.path(), std::ios::binary | std::ios::in | std::ios::out);
    stream.seekp(offset).write(reinterpret_cast<const char*>(data.data()), std::ssize(data));
    EXPECT_TRUE(stream.flush());
}

}  // namespace

class LargeFileTest : public FilterTest
{
protected:
    /// Plays a file with the stream at its start and at `second`.
    void playTwice(std::int64_t second)
    {
        writeAt(file, second, stream);
        const AtOnce limit;  // reading through the gap takes a minute or two
        ASSERT_HRESULT(S_OK, load(file.path().wstring()));
        ASSERT_HRESULT(S_OK, connect(sink));
        run(sink);
        ASSERT_TRUE(sink.waitForFirst());
    }
    void stopAtOnce()
    {
        const AtOnce limit;
        stop(sink);
    }
    const Data stream = contentOf(kMpeg2Sample);
    const std::size_t packets = stream.size() / kPacket;
    const TemporaryFile file{stream};
    SinkFilter sink;
};

class GapTest : public LargeFileTest, public ::testing::WithParamInterface<std::pair<std::int64_t, double>>
{
};

TEST_P(GapTest, HoldsUpNothing)
{
    const auto [second, expectedDuration] = GetParam();
    ASSERT_NO_FATAL_FAILURE(playTwice(second));
    double duration = -1.0;
    EXPECT_HRESULT(S_OK, position->get_Duration(&duration));
    EXPECT_DOUBLE_EQ(expectedDuration, duration);
    ASSERT_TRUE(sink.waitForSamples(packets));
    Sleep(50);
    EXPECT_EQ(packets, sink.count);
    // Kept: a rewind that comes between the reads of a worker in search of the next packet may get lost.
    for (int attempt = 0; sink.count < 2 * packets && attempt < 100; ++attempt) {
        EXPECT_HRESULT(S_OK, position->put_CurrentPosition(0.0));
        Sleep(100);
    }
    EXPECT_LE(2 * packets, sink.count);
    stopAtOnce();
    EXPECT_EQ(0, sink.endsOfStream) << "a stop is not the end of the stream";
    const std::size_t before = sink.count;
    run(sink);
    ASSERT_TRUE(sink.waitForSamples(before + packets));
    Sleep(50);
    loseDownstream(sink);  // so that nobody but the owner holds the filter, whose worker is in the gap
    const AtOnce limit;
    EXPECT_EQ(0U, releaseFilter());
    const Data delivered = sink.allBytes();
    EXPECT_TRUE(std::equal(stream.rbegin(), stream.rend(), delivered.rbegin())) << "it starts from the first packet";
}

INSTANTIATE_TEST_SUITE_P(To, GapTest,
                         ::testing::Values(std::pair(2 * kGiB + 100'000'000, 2.92),
                                           std::pair(4 * kGiB + 200'000'000, 0.0)));  // out of reach from the end

TEST_F(LargeFileTest, TheFilterGoesWhileAScanIsOnAnotherThread)
{
    const TemporaryFile endless(join({patPacket({{1, 0x100}}), nullPackets(1000)}));  // the map never comes
    writeAt(endless, 20 * kGiB, {0});
    const std::wstring path = endless.path().wstring();
    const std::jthread loader([borrowed = source.Get(), &path] { borrowed->Load(path.c_str(), nullptr); });
    Sleep(100);
    const AtOnce limit;
    EXPECT_EQ(0U, releaseFilter());
}

TEST_F(LargeFileTest, ReadsOnAcross4GiB)
{
    replaceImport(module.handle(), "ReadFile", reinterpret_cast<void*>(notedReadFile));
    sink.blockUntil = CreateEventW(nullptr, TRUE, FALSE, nullptr);
    LARGE_INTEGER second = {};
    second.QuadPart = 4 * kGiB - 1000 * static_cast<std::int64_t>(kPacket) - 60;
    ASSERT_NO_FATAL_FAILURE(playTwice(second.QuadPart));
    ASSERT_TRUE(SetFilePointerEx(fileRead, second, nullptr, FILE_BEGIN));  // no call of the filter's leads there
    SetEvent(sink.blockUntil);
    ASSERT_TRUE(sink.waitForEnd());
    stopAtOnce();
    EXPECT_EQ(join({firstBytes(stream, kPacket), stream}), sink.allBytes());
    CloseHandle(sink.blockUntil);
    disconnect(sink);
    load(kMpeg2Sample);  // lets the file go
}

}  // namespace zarnow::test
